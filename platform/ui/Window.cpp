#include "platform/ui/Window.h"

#include <algorithm>
#include <any>

#include "foundation/Singleton.h"
#include "platform/PlatformLog.h"
#include "platform/ui/Application.h"
#include "platform/ui/Event.h"
#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/Notifications.h"
#include "platform/ui/Runtime.h"
#include "platform/ui/Touch.h"
#include "platform/ui/ViewController.h"

namespace bdx::ui {

namespace {

// Every window that exists, as the application's list; windows add and remove themselves.
std::vector<Window*>& liveWindows() {
    return neverDestroyed<std::vector<Window*>, Window>();
}

unsigned long long nextOrder = 0;

template <class T>
void addOnce(std::vector<std::shared_ptr<T>>& list, const std::shared_ptr<T>& item) {
    if (item && std::find(list.begin(), list.end(), item) == list.end()) {
        list.push_back(item);
    }
}

}  // namespace

std::shared_ptr<Window> Window::make(const gfx::Rect& frame, const std::string& className,
                                     const std::string& kindOf) {
    auto view = View::make(className, kindOf.empty() ? "UIWindow" : kindOf);
    auto window = std::dynamic_pointer_cast<Window>(view);
    if (!window) {
        platformLog("ui", "class " + className + " is not a kind of UIWindow; made a UIWindow instead");
        window = std::make_shared<Window>();
    }
    window->setFrame(frame);
    return window;
}

Window::Window(std::string className, std::string_view kindOf)
    : View(std::move(className), kindOf), order_(++nextOrder) {
    View::setHidden(true);
    liveWindows().push_back(this);
}

Window::~Window() {
    std::erase(liveWindows(), this);
}

std::vector<std::shared_ptr<Window>> Window::allWindows() {
    std::vector<std::shared_ptr<Window>> windows;
    for (Window* window : liveWindows()) {
        // A window still being made or already going away is not owned by anyone yet or any more.
        if (auto owned = window->weak_from_this().lock()) {
            windows.push_back(std::static_pointer_cast<Window>(owned));
        }
    }
    std::stable_sort(windows.begin(), windows.end(), [](const auto& a, const auto& b) {
        return a->windowLevel_ != b->windowLevel_ ? a->windowLevel_ < b->windowLevel_ : a->order_ < b->order_;
    });
    return windows;
}

void Window::orderFront() {
    order_ = ++nextOrder;
}

bool Window::isKeyWindow() const {
    return Application::sharedApplication()->keyWindow().get() == this;
}

void Window::makeKeyWindow() {
    auto self = std::static_pointer_cast<Window>(shared_from_this());
    auto previous = Application::sharedApplication()->keyWindow();
    if (previous == self) {
        return;
    }
    if (previous) {
        previous->resignKeyWindow();
    }
    becomeKeyWindow();
}

void Window::makeKeyAndVisible() {
    if (isHidden()) {
        setHidden(false);
    } else {
        orderFront();
    }
    makeKeyWindow();
}

void Window::becomeKeyWindow() {
    Runtime::shared()->send(shared_from_this(), "becomeKeyWindow");
}

void Window::resignKeyWindow() {
    Runtime::shared()->send(shared_from_this(), "resignKeyWindow");
}

void Window::setRootViewController(const std::shared_ptr<ViewController>& controller) {
    if (controller == rootViewController_) {
        return;
    }
    auto previous = std::exchange(rootViewController_, controller);
    if (previous) {
        if (auto view = previous->viewIfLoaded(); view && view->superview().get() == this) {
            view->removeFromSuperview();
        }
    }
    if (!controller) {
        return;
    }
    auto view = controller->view();
    view->setFrame(bounds());
    addSubview(view);
    if (!isHidden()) {
        controller->viewDidAppear(false);
    }
}

void Window::sendEvent(const std::shared_ptr<Event>& event) {
    Runtime::shared()->send(shared_from_this(), "sendEvent:", {event});
}

void Window::setHidden(bool hidden) {
    if (hidden == isHidden()) {
        return;
    }
    auto self = std::static_pointer_cast<Window>(shared_from_this());
    if (hidden) {
        if (isKeyWindow()) {
            resignKeyWindow();
        }
        View::setHidden(true);
        postNotification(UIWindowDidBecomeHiddenNotification, self);
        return;
    }
    View::setHidden(false);
    orderFront();
    postNotification(UIWindowDidBecomeVisibleNotification, self);
    if (rootViewController_) {
        rootViewController_->viewDidAppear(false);
    }
}

std::optional<gfx::Point> Window::convertPointFromScreen(gfx::Point point) const {
    // A window is a root: its own geometry places it on the screen.
    const gfx::AffineTransform toScreen = transformToSuperview();
    if (!toScreen.isInvertible()) {
        return std::nullopt;
    }
    return toScreen.inverted().apply(point);
}

std::shared_ptr<Window> Window::window() const {
    return std::static_pointer_cast<Window>(std::const_pointer_cast<RuntimeObject>(weak_from_this().lock()));
}

std::shared_ptr<Responder> Window::nextResponder() const {
    if (auto controller = viewController()) {
        return controller;
    }
    return Application::sharedApplication();
}

void Window::deliver(const std::shared_ptr<Event>& event) {
    if (event->type() != EventType::Touches) {
        if (event->type() != EventType::Motion) {
            return;
        }
        std::shared_ptr<Responder> target = Application::sharedApplication()->firstResponder();
        auto targetView = std::dynamic_pointer_cast<View>(target);
        if (!target || (targetView && targetView->window().get() != this)) {
            target = std::static_pointer_cast<Responder>(shared_from_this());
        }
        target->motionEnded(event);
        return;
    }
    const TouchList mine = event->touchesForWindow(*this);
    for (TouchPhase phase :
         {TouchPhase::Began, TouchPhase::Moved, TouchPhase::Ended, TouchPhase::Cancelled}) {
        TouchList inPhase;
        std::vector<std::shared_ptr<GestureRecognizer>> recognizers;
        std::vector<std::shared_ptr<View>> views;
        for (const auto& touch : mine) {
            if (touch->phase() != phase) {
                continue;
            }
            inPhase.push_back(touch);
            for (const auto& recognizer : touch->gestureRecognizers()) {
                addOnce(recognizers, recognizer);
            }
            addOnce(views, touch->view());
        }
        // Recognizers see the touches before the views do, as on the platform.
        for (const auto& recognizer : recognizers) {
            if (!recognizer->isEnabled()) {
                continue;
            }
            TouchList followed;
            for (const auto& touch : inPhase) {
                const auto& list = touch->gestureRecognizers();
                if (std::find(list.begin(), list.end(), recognizer) != list.end()) {
                    followed.push_back(touch);
                }
            }
            switch (phase) {
                case TouchPhase::Began:
                    recognizer->touchesBegan(followed, event);
                    break;
                case TouchPhase::Moved:
                    recognizer->touchesMoved(followed, event);
                    break;
                case TouchPhase::Ended:
                    recognizer->touchesEnded(followed, event);
                    break;
                default:
                    recognizer->touchesCancelled(followed, event);
                    break;
            }
        }
        for (const auto& view : views) {
            TouchList own;
            for (const auto& touch : inPhase) {
                if (touch->view() == view) {
                    own.push_back(touch);
                }
            }
            switch (phase) {
                case TouchPhase::Began:
                    view->touchesBegan(own, event);
                    break;
                case TouchPhase::Moved:
                    view->touchesMoved(own, event);
                    break;
                case TouchPhase::Ended:
                    view->touchesEnded(own, event);
                    break;
                default:
                    view->touchesCancelled(own, event);
                    break;
            }
        }
    }
}

void Window::installDefaultMethods(Runtime& runtime) {
    runtime.addMethod("UIWindow", "becomeKeyWindow",
                      [](const std::shared_ptr<RuntimeObject>& self, const std::string&, const Arguments&) {
                          if (auto window = std::dynamic_pointer_cast<Window>(self)) {
                              Application::sharedApplication()->setKeyWindow(window);
                              postNotification(UIWindowDidBecomeKeyNotification, window);
                          }
                          return std::any();
                      });
    runtime.addMethod("UIWindow", "resignKeyWindow",
                      [](const std::shared_ptr<RuntimeObject>& self, const std::string&, const Arguments&) {
                          if (auto window = std::dynamic_pointer_cast<Window>(self)) {
                              auto application = Application::sharedApplication();
                              if (application->keyWindow() == window) {
                                  application->setKeyWindow(nullptr);
                              }
                              postNotification(UIWindowDidResignKeyNotification, window);
                          }
                          return std::any();
                      });
    runtime.addMethod(
        "UIWindow", "sendEvent:",
        [](const std::shared_ptr<RuntimeObject>& self, const std::string&, const Arguments& arguments) {
            auto window = std::dynamic_pointer_cast<Window>(self);
            const auto* event =
                arguments.empty() ? nullptr : std::any_cast<std::shared_ptr<Event>>(&arguments[0]);
            if (window && event && *event) {
                window->deliver(*event);
            }
            return std::any();
        });
}

}  // namespace bdx::ui
