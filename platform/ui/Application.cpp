#include "platform/ui/Application.h"

#include <algorithm>
#include <any>

#include "foundation/SingletonReset.h"
#include "platform/PlatformLog.h"
#include "platform/ui/Event.h"
#include "platform/ui/Notifications.h"
#include "platform/ui/Runtime.h"
#include "platform/ui/Screen.h"
#include "platform/ui/Touch.h"
#include "platform/ui/Window.h"

namespace bdx::ui {

namespace {

std::shared_ptr<Application>& applicationInstance() {
    static std::shared_ptr<Application> application;
    return application;
}

// The transfer machinery reaches the application from its own queues.
std::mutex& applicationMutex() {
    static std::mutex mutex;
    return mutex;
}

}  // namespace

std::shared_ptr<Application> Application::sharedApplication() {
    std::lock_guard lock(applicationMutex());
    auto& application = applicationInstance();
    if (!application) {
        application = std::make_shared<Application>();
        registerSingletonReset(&Application::reset);
    }
    return application;
}

void Application::reset() {
    std::shared_ptr<Application> dropped;
    {
        std::lock_guard lock(applicationMutex());
        dropped = std::move(applicationInstance());
    }
}

Application::Application() : Responder("UIApplication", "UIApplication") {}

std::vector<std::shared_ptr<Window>> Application::windows() const {
    return Window::allWindows();
}

void Application::sendEvent(const std::shared_ptr<Event>& event) {
    Runtime::shared()->send(shared_from_this(), "sendEvent:", {event});
}

void Application::deliver(const std::shared_ptr<Event>& event) {
    if (event->type() != EventType::Touches) {
        if (auto key = keyWindow()) {
            key->sendEvent(event);
        }
        return;
    }
    std::vector<std::shared_ptr<Window>> targets;
    for (const auto& touch : event->allTouches()) {
        auto window = touch->window();
        if (window && std::find(targets.begin(), targets.end(), window) == targets.end()) {
            targets.push_back(window);
        }
    }
    for (const auto& window : targets) {
        window->sendEvent(event);
    }
}

bool Application::sendAction(const std::string& action, const std::shared_ptr<Responder>& target) {
    auto runtime = Runtime::shared();
    if (target) {
        if (!target->respondsToSelector(action)) {
            return false;
        }
        runtime->send(target, action);
        return true;
    }
    for (auto responder = firstResponder(); responder; responder = responder->nextResponder()) {
        if (responder->respondsToSelector(action)) {
            runtime->send(responder, action);
            return true;
        }
    }
    return false;
}

void Application::post(const char* name) {
    postNotification(name, std::static_pointer_cast<Application>(shared_from_this()));
}

void Application::becomeActive() {
    state_ = ApplicationState::Active;
    post(UIApplicationDidBecomeActiveNotification);
}

void Application::resignActive() {
    post(UIApplicationWillResignActiveNotification);
    state_ = ApplicationState::Inactive;
}

void Application::enterBackground() {
    state_ = ApplicationState::Background;
    post(UIApplicationDidEnterBackgroundNotification);
}

void Application::enterForeground() {
    post(UIApplicationWillEnterForegroundNotification);
    state_ = ApplicationState::Inactive;
}

void Application::terminate() {
    post(UIApplicationWillTerminateNotification);
}

void Application::receiveMemoryWarning() {
    post(UIApplicationDidReceiveMemoryWarningNotification);
}

void Application::protectedDataDidBecomeAvailable() {
    protectedDataAvailable_ = true;
    post(UIApplicationProtectedDataDidBecomeAvailable);
}

void Application::protectedDataWillBecomeUnavailable() {
    post(UIApplicationProtectedDataWillBecomeUnavailable);
    protectedDataAvailable_ = false;
}

void Application::showKeyboard(const gfx::Rect& frame) {
    keyboardVisible_ = true;
    keyboardFrame_ = frame;
    postNotification(UIKeyboardWillShowNotification, nullptr, {{UIKeyboardFrameEndUserInfoKey, frame}});
    postNotification(UIKeyboardDidChangeFrameNotification, nullptr, {{UIKeyboardFrameEndUserInfoKey, frame}});
}

void Application::hideKeyboard() {
    // The keyboard slides out below the screen.
    const auto screen = Screen::mainScreen()->bounds();
    keyboardFrame_ = {keyboardFrame_.origin.x, screen.maxY(), keyboardFrame_.size.width,
                      keyboardFrame_.size.height};
    keyboardVisible_ = false;
    postNotification(UIKeyboardWillHideNotification, nullptr,
                     {{UIKeyboardFrameEndUserInfoKey, keyboardFrame_}});
    postNotification(UIKeyboardDidChangeFrameNotification, nullptr,
                     {{UIKeyboardFrameEndUserInfoKey, keyboardFrame_}});
}

void Application::changeKeyboardFrame(const gfx::Rect& frame) {
    keyboardFrame_ = frame;
    postNotification(UIKeyboardDidChangeFrameNotification, nullptr, {{UIKeyboardFrameEndUserInfoKey, frame}});
}

void Application::setNetworkActivityIndicatorVisible(bool visible) {
    // Serialised so that observers hear changes in the order they were made.
    std::lock_guard lock(indicatorMutex_);
    const bool old = networkActivityIndicatorVisible_.exchange(visible);
    if (old != visible) {
        notifyObservers(kNetworkActivityIndicatorVisibleKey, old, visible);
    }
}

std::any Application::valueForKey(const std::string& key) const {
    if (key == kNetworkActivityIndicatorVisibleKey) {
        return isNetworkActivityIndicatorVisible();
    }
    return {};
}

BackgroundTaskIdentifier Application::beginBackgroundTaskWithName(const std::string& name,
                                                                  std::function<void()> expirationHandler) {
    std::lock_guard lock(backgroundTasksMutex_);
    const BackgroundTaskIdentifier identifier = nextTask_++;
    backgroundTasks_[identifier] = BackgroundTask{name, std::move(expirationHandler), false};
    return identifier;
}

void Application::endBackgroundTask(BackgroundTaskIdentifier identifier) {
    std::unique_lock lock(backgroundTasksMutex_);
    if (backgroundTasks_.erase(identifier) == 0) {
        lock.unlock();
        platformLog("ui", "endBackgroundTask: no running background task " + std::to_string(identifier));
    }
}

bool Application::isBackgroundTaskRunning(BackgroundTaskIdentifier identifier) const {
    std::lock_guard lock(backgroundTasksMutex_);
    return backgroundTasks_.contains(identifier);
}

std::vector<BackgroundTaskIdentifier> Application::runningBackgroundTasks() const {
    std::lock_guard lock(backgroundTasksMutex_);
    std::vector<BackgroundTaskIdentifier> running;
    for (const auto& [identifier, task] : backgroundTasks_) {
        running.push_back(identifier);
    }
    return running;
}

void Application::expireBackgroundTasks() {
    // Handlers usually end their task, which changes the table: walk a list of identifiers, and call
    // each handler without the lock held.
    for (BackgroundTaskIdentifier identifier : runningBackgroundTasks()) {
        std::function<void()> handler;
        {
            std::lock_guard lock(backgroundTasksMutex_);
            auto task = backgroundTasks_.find(identifier);
            if (task == backgroundTasks_.end() || task->second.expired) {
                continue;
            }
            task->second.expired = true;
            handler = task->second.expirationHandler;
        }
        if (handler) {
            handler();
        }
    }
}

void Application::installDefaultMethods(Runtime& runtime) {
    runtime.addMethod(
        "UIApplication", "sendEvent:",
        [](const std::shared_ptr<RuntimeObject>& self, const std::string&, const Arguments& arguments) {
            auto application = std::dynamic_pointer_cast<Application>(self);
            const auto* event =
                arguments.empty() ? nullptr : std::any_cast<std::shared_ptr<Event>>(&arguments[0]);
            if (application && event && *event) {
                application->deliver(*event);
            }
            return std::any();
        });
}

}  // namespace bdx::ui
