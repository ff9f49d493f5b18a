// Public header: installed with the library for hosts to include.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/KeyValueObservable.h"
#include "platform/gfx/Geometry.h"
#include "platform/ui/Responder.h"

namespace bdx::ui {

class Event;
class Runtime;
class Touch;
class View;
class Window;

// The platform's values.
enum class ApplicationState { Active = 0, Inactive = 1, Background = 2 };
enum class InterfaceOrientation {
    Unknown = 0,
    Portrait = 1,
    PortraitUpsideDown = 2,
    LandscapeRight = 3,
    LandscapeLeft = 4,
};
enum class StatusBarStyle { Default = 0, LightContent = 1, DarkContent = 3 };

using BackgroundTaskIdentifier = unsigned long;
inline constexpr BackgroundTaskIdentifier UIBackgroundTaskInvalid = 0;

// The application of the host model: its windows, key window and first responder, its state and
// the life-cycle notifications, the status bar, background tasks and the network activity
// indicator. The host (or a toolkit adapter, or a test) drives it: it reports the life cycle and the
// keyboard through the calls below, which post the platform's notifications, and it sends events
// with sendEvent, which goes through the method table ("sendEvent:") so that hooks see every event.
//
// Main thread only, like the rest of the model, except background tasks and the network activity
// indicator, which the transfer machinery drives from its own queues: those are safe from any thread.
//
// Background tasks on Linux: no system grants or withdraws background time, so a task runs until it
// is ended; its expiration handler runs only when the host calls expireBackgroundTasks (say, when its
// own shutdown deadline is near).
//
// The indicator is observable: observers of kNetworkActivityIndicatorVisibleKey hear each change of
// its value (the old and new bool), on the thread that set it.
class Application : public Responder, public KeyValueObservable {
  public:
    static constexpr const char* kNetworkActivityIndicatorVisibleKey = "networkActivityIndicatorVisible";

    static std::shared_ptr<Application> sharedApplication();
    // Drops the shared instance (tests).
    static void destroy();

    Application();

    // Windows, back to front (see Window::allWindows).
    std::vector<std::shared_ptr<Window>> windows() const;
    std::shared_ptr<Window> keyWindow() const { return keyWindow_.lock(); }
    // The window of the application delegate, when the delegate has one.
    std::shared_ptr<Window> delegateWindow() const { return delegateWindow_; }
    void setDelegateWindow(std::shared_ptr<Window> window) { delegateWindow_ = std::move(window); }

    // Sends "sendEvent:" to the application. The default implementation passes a touch event to the
    // windows of its touches, and any other event to the key window.
    void sendEvent(const std::shared_ptr<Event>& event);

    // Where a point of the screen lands: the visible windows are asked front to back (the higher
    // level first, within a level the one brought forward last), each with hitTest in its own
    // coordinates. A window whose hitTest answers nothing lets the point through to the window
    // below, as overlay windows do outside their buttons. All empty when no window takes it.
    struct ScreenHit {
        std::shared_ptr<Window> window;
        std::shared_ptr<View> view;
        gfx::Point locationInWindow;
    };
    ScreenHit hitTestScreenPoint(gfx::Point point, const std::shared_ptr<Event>& event = nullptr) const;
    // A scripted tap: a finger goes down at the point of the screen (Touch::beganOnScreen) and lifts
    // there, each phase sent as a touches event through sendEvent, so that whatever replaced the
    // application's and the windows' "sendEvent:" sees both. The touch is returned, ended.
    std::shared_ptr<Touch> tapAtScreenPoint(gfx::Point point);
    // Sends an action message ("resignFirstResponder", say) to the target, or with no target to the
    // first responder and on along its chain to the first that answers it. True when one answered.
    bool sendAction(const std::string& action, const std::shared_ptr<Responder>& target);

    std::shared_ptr<Responder> firstResponder() const { return firstResponder_.lock(); }

    // Life cycle. Each sets the state as the platform has it while its notification is delivered.
    ApplicationState applicationState() const { return state_; }
    void becomeActive();          // Active; UIApplicationDidBecomeActiveNotification
    void resignActive();          // UIApplicationWillResignActiveNotification; then Inactive
    void enterBackground();       // Background; UIApplicationDidEnterBackgroundNotification
    void enterForeground();       // UIApplicationWillEnterForegroundNotification; then Inactive
    void terminate();             // UIApplicationWillTerminateNotification
    void receiveMemoryWarning();  // UIApplicationDidReceiveMemoryWarningNotification
    bool isProtectedDataAvailable() const { return protectedDataAvailable_; }
    void protectedDataDidBecomeAvailable();     // true; UIApplicationProtectedDataDidBecomeAvailable
    void protectedDataWillBecomeUnavailable();  // UIApplicationProtectedDataWillBecomeUnavailable; false

    // Keyboard, with its end frame in screen coordinates. Showing posts UIKeyboardWillShowNotification
    // and hiding UIKeyboardWillHideNotification, each followed by UIKeyboardDidChangeFrameNotification;
    // a move alone posts the last.
    void showKeyboard(const gfx::Rect& frame);
    void hideKeyboard();
    void changeKeyboardFrame(const gfx::Rect& frame);
    bool isKeyboardVisible() const { return keyboardVisible_; }
    gfx::Rect keyboardFrame() const { return keyboardFrame_; }

    // Status bar.
    InterfaceOrientation statusBarOrientation() const { return orientation_; }
    void setStatusBarOrientation(InterfaceOrientation orientation) { orientation_ = orientation; }
    StatusBarStyle statusBarStyle() const { return statusBarStyle_; }
    void setStatusBarStyle(StatusBarStyle style) { statusBarStyle_ = style; }
    bool isStatusBarHidden() const { return statusBarHidden_; }
    void setStatusBarHidden(bool hidden) { statusBarHidden_ = hidden; }

    bool isNetworkActivityIndicatorVisible() const { return networkActivityIndicatorVisible_.load(); }
    void setNetworkActivityIndicatorVisible(bool visible);
    std::any valueForKey(const std::string& key) const override;

    // Background tasks: begin gives a new identifier (never UIBackgroundTaskInvalid); end with an
    // identifier that is not running is logged and ignored.
    BackgroundTaskIdentifier beginBackgroundTaskWithName(const std::string& name,
                                                         std::function<void()> expirationHandler);
    void endBackgroundTask(BackgroundTaskIdentifier identifier);
    bool isBackgroundTaskRunning(BackgroundTaskIdentifier identifier) const;
    std::vector<BackgroundTaskIdentifier> runningBackgroundTasks() const;
    // The system's allowance ran out: every running task's expiration handler is called, once. The
    // task stays running until it is ended.
    void expireBackgroundTasks();

    // Set by the default implementations of the key-window and first-responder messages.
    void setKeyWindow(const std::shared_ptr<Window>& window) { keyWindow_ = window; }
    void setFirstResponder(const std::shared_ptr<Responder>& responder) { firstResponder_ = responder; }

    static void installDefaultMethods(Runtime& runtime);

  private:
    struct BackgroundTask {
        std::string name;
        std::function<void()> expirationHandler;
        bool expired = false;
    };

    void post(const char* name);
    void deliver(const std::shared_ptr<Event>& event);

    std::weak_ptr<Window> keyWindow_;
    std::shared_ptr<Window> delegateWindow_;
    std::weak_ptr<Responder> firstResponder_;
    ApplicationState state_ = ApplicationState::Inactive;
    bool protectedDataAvailable_ = false;
    bool keyboardVisible_ = false;
    gfx::Rect keyboardFrame_;
    InterfaceOrientation orientation_ = InterfaceOrientation::Portrait;
    StatusBarStyle statusBarStyle_ = StatusBarStyle::Default;
    bool statusBarHidden_ = false;
    std::atomic<bool> networkActivityIndicatorVisible_{false};
    std::recursive_mutex indicatorMutex_;
    mutable std::mutex backgroundTasksMutex_;
    BackgroundTaskIdentifier nextTask_ = 1;
    std::map<BackgroundTaskIdentifier, BackgroundTask> backgroundTasks_;
};

}  // namespace bdx::ui
