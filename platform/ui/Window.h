// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ui/View.h"

namespace bdx::ui {

class Runtime;
class ViewController;

// The platform's window levels: windows of a higher level cover those of a lower one.
inline constexpr double UIWindowLevelNormal = 0;
inline constexpr double UIWindowLevelStatusBar = 1000;
inline constexpr double UIWindowLevelAlert = 2000;

// A window: the root of a view tree shown on the screen, with a level, key status and a root view
// controller. It starts hidden, as on the platform. Its frame is in screen coordinates.
//
// A window belongs to the application's list while it exists; the application does not keep it
// alive (whoever made it does). Becoming and resigning key, and sending events, are messages of
// the method table ("becomeKeyWindow", "resignKeyWindow", "sendEvent:"): the default
// implementations update the key window and post the window notifications, and deliver an event's
// touches to their gesture recognizers and views.
//
// Main thread only, like the rest of the model.
class Window : public View {
  public:
    // A window of the class (registered as a kind of `kindOf`, "UIWindow" when empty, if new) with
    // the frame.
    static std::shared_ptr<Window> make(const gfx::Rect& frame, const std::string& className = "UIWindow",
                                        const std::string& kindOf = "");

    explicit Window(std::string className = "UIWindow", std::string_view kindOf = "UIWindow");
    ~Window() override;

    double windowLevel() const { return windowLevel_; }
    void setWindowLevel(double level) { windowLevel_ = level; }

    bool isKeyWindow() const;
    // Makes this the key window: the previous key window is sent "resignKeyWindow", then this one
    // "becomeKeyWindow". Nothing happens when it is key already.
    void makeKeyWindow();
    // Shows the window in front of the others of its level and makes it key.
    void makeKeyAndVisible();
    // Send the messages themselves (the platform calls them on the way through makeKeyWindow).
    void becomeKeyWindow();
    void resignKeyWindow();

    std::shared_ptr<ViewController> rootViewController() const { return rootViewController_; }
    // The controller's view (loaded if needed) fills the window; the previous root's view leaves.
    // A visible window tells the new root that its view appeared.
    void setRootViewController(const std::shared_ptr<ViewController>& controller);

    // Sends "sendEvent:" to this window.
    void sendEvent(const std::shared_ptr<Event>& event);

    // Hiding posts UIWindowDidBecomeHiddenNotification (and a key window resigns first); showing
    // brings the window in front of its level, posts UIWindowDidBecomeVisibleNotification and tells
    // the root controller that its view appeared.
    void setHidden(bool hidden) override;

    // A point of the screen in the window's coordinates; nothing when the window is scaled to
    // nothing and no point of it lies there.
    std::optional<gfx::Point> convertPointFromScreen(gfx::Point point) const;

    std::shared_ptr<Window> window() const override;
    // A window hands on what it does not handle to the application.
    std::shared_ptr<Responder> nextResponder() const override;

    // Every existing window, back to front: by level, and within a level in the order they were made
    // or last brought to the front.
    static std::vector<std::shared_ptr<Window>> allWindows();

    static void installDefaultMethods(Runtime& runtime);

  private:
    void orderFront();
    void deliver(const std::shared_ptr<Event>& event);

    double windowLevel_ = UIWindowLevelNormal;
    unsigned long long order_ = 0;
    std::shared_ptr<ViewController> rootViewController_;
};

}  // namespace bdx::ui
