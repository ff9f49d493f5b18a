// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ui/RuntimeObject.h"

namespace bdx::ui {

class Event;
class Runtime;
class Touch;

using TouchList = std::vector<std::shared_ptr<Touch>>;

// An object of the responder chain: the application, views, windows and view controllers. Touches
// a responder does not handle go on to its next responder, as on the platform. Becoming and
// resigning first responder are messages of the method table.
//
// Main thread only, like the rest of the model.
class Responder : public RuntimeObject {
  public:
    // The responder that gets what this one does not handle; nullptr at the end of the chain.
    virtual std::shared_ptr<Responder> nextResponder() const { return nullptr; }

    // Whether the responder may take the focus. False unless a kind says otherwise (text fields and
    // text views) or the host set it for a class of its own.
    virtual bool canBecomeFirstResponder() const { return canBecomeFirstResponder_; }
    void setCanBecomeFirstResponder(bool can) { canBecomeFirstResponder_ = can; }
    virtual bool canResignFirstResponder() const { return true; }
    // Sends "becomeFirstResponder" / "resignFirstResponder". The default implementations make this
    // responder the application's first responder (after the previous one resigned), and give the
    // focus up; each answers whether it happened.
    bool becomeFirstResponder();
    bool resignFirstResponder();
    bool isFirstResponder() const;

    // Touches delivered to this responder; by default passed on to the next responder.
    virtual void touchesBegan(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesMoved(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesEnded(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesCancelled(const TouchList& touches, const std::shared_ptr<Event>& event);
    // A motion (a shake) that ended; by default passed on to the next responder.
    virtual void motionEnded(const std::shared_ptr<Event>& event);

    // Puts the default implementations of this class's messages in the table.
    static void installDefaultMethods(Runtime& runtime);

  protected:
    Responder(std::string className, std::string_view kindOf) : RuntimeObject(std::move(className), kindOf) {}

    // Whether this responder may take the focus right now (a view must be in a window).
    virtual bool canTakeFocusNow() const { return true; }

  private:
    bool canBecomeFirstResponder_ = false;
};

}  // namespace bdx::ui
