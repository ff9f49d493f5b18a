// Public header: installed with the library for hosts to include.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/gfx/Geometry.h"
#include "platform/ui/Responder.h"
#include "platform/ui/RuntimeObject.h"

namespace bdx::ui {

class View;

// The platform's recognizer states and values; Recognized is Ended.
enum class GestureRecognizerState {
    Possible = 0,
    Began = 1,
    Changed = 2,
    Ended = 3,
    Cancelled = 4,
    Failed = 5
};
inline constexpr GestureRecognizerState GestureRecognizerStateRecognized = GestureRecognizerState::Ended;

// A gesture recognizer of the host model: class name and kind, state, the view it is attached to
// and the touches it follows. Recognition itself is the host's: the host (or a test) moves the
// state, and the recognizer calls its actions as the platform does, on began, changed, ended and
// cancelled. Touches of a window's events reach the recognizers of the views under them before the
// views themselves.
//
// Main thread only, like the rest of the model.
class GestureRecognizer : public RuntimeObject {
  public:
    using Action = std::function<void(const std::shared_ptr<GestureRecognizer>& recognizer)>;

    // A recognizer of the class, registered as a kind of `kindOf` ("UIGestureRecognizer" when empty)
    // if new; of the model type of its nearest platform kind (a pan recognizer for every kind of
    // "UIPanGestureRecognizer", for example).
    static std::shared_ptr<GestureRecognizer> make(const std::string& className = "UIGestureRecognizer",
                                                   const std::string& kindOf = "");

    explicit GestureRecognizer(std::string className = "UIGestureRecognizer",
                               std::string_view kindOf = "UIGestureRecognizer");

    GestureRecognizerState state() const { return state_; }
    // Moves to the state and calls the actions for began, changed, ended and cancelled.
    void setState(GestureRecognizerState state);
    // A disabled recognizer gets no touches; disabling one in the middle of a gesture cancels it.
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);
    std::shared_ptr<View> view() const { return view_.lock(); }
    // The touches being followed; the host may also state the number outright.
    unsigned long numberOfTouches() const { return numberOfTouches_; }
    void setNumberOfTouches(unsigned long count) { numberOfTouches_ = count; }
    // The centroid of the followed touches (their last place when none is left), in the view's
    // coordinates; a null view stands for the window's.
    gfx::Point locationInView(const std::shared_ptr<View>& view) const;

    void addAction(Action action) { actions_.push_back(std::move(action)); }
    // This recognizer waits for the other to fail before it recognizes (kept for the host's logic).
    void requireGestureRecognizerToFail(const std::shared_ptr<GestureRecognizer>& other);
    std::vector<std::shared_ptr<GestureRecognizer>> failureRequirements() const;

    // Touches reaching the recognizer. The defaults follow the touches and, at the start of a new
    // sequence, put a finished recognizer back to Possible.
    virtual void touchesBegan(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesMoved(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesEnded(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesCancelled(const TouchList& touches, const std::shared_ptr<Event>& event);
    // Back to Possible; called when a new touch sequence starts after an end, cancel or failure.
    virtual void reset();

  private:
    friend class View;

    void forget(const TouchList& touches);

    GestureRecognizerState state_ = GestureRecognizerState::Possible;
    bool enabled_ = true;
    unsigned long numberOfTouches_ = 0;
    std::weak_ptr<View> view_;
    std::vector<std::weak_ptr<Touch>> touches_;
    gfx::Point lastLocationInWindow_;
    std::weak_ptr<View> lastWindow_;
    std::vector<Action> actions_;
    std::vector<std::weak_ptr<GestureRecognizer>> failureRequirements_;
};

}  // namespace bdx::ui
