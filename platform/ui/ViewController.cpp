#include "platform/ui/ViewController.h"

#include <algorithm>
#include <any>

#include "platform/PlatformLog.h"
#include "platform/ui/NavigationController.h"
#include "platform/ui/Runtime.h"
#include "platform/ui/Screen.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"

namespace bdx::ui {

std::shared_ptr<ViewController> ViewController::make(const std::string& className,
                                                     const std::string& kindOf) {
    auto runtime = Runtime::shared();
    if (!runtime->isClassRegistered(className)) {
        runtime->registerClass(className, kindOf.empty() ? "UIViewController" : kindOf);
    }
    if (runtime->isSubclassOf(className, "UINavigationController")) {
        return std::make_shared<NavigationController>(className);
    }
    if (runtime->isSubclassOf(className, "UITabBarController")) {
        return std::make_shared<TabBarController>(className);
    }
    if (!runtime->isSubclassOf(className, "UIViewController")) {
        platformLog("ui",
                    "class " + className + " is not a kind of UIViewController; made a UIViewController");
        return std::make_shared<ViewController>();
    }
    return std::make_shared<ViewController>(className);
}

ViewController::ViewController(std::string className, std::string_view kindOf)
    : Responder(std::move(className), kindOf) {}

ViewController::~ViewController() = default;

std::shared_ptr<View> ViewController::view() {
    if (!view_) {
        loadView();
        if (!view_) {
            setView(View::make(Screen::mainScreen()->bounds()));
        }
        viewDidLoad();
    }
    return view_;
}

void ViewController::setView(const std::shared_ptr<View>& view) {
    if (view_ && view_->viewController().get() == this) {
        view_->setViewController(nullptr);
    }
    view_ = view;
    if (view_) {
        view_->setViewController(std::static_pointer_cast<ViewController>(shared_from_this()));
    }
}

void ViewController::loadView() {
    setView(View::make(Screen::mainScreen()->bounds()));
}

void ViewController::viewDidAppear(bool animated) {
    Runtime::shared()->send(shared_from_this(), "viewDidAppear:", {animated});
}

void ViewController::forwardAppearance(bool animated) {
    if (!view_ || !view_->window()) {
        return;
    }
    for (const auto& child : std::vector(children_)) {
        auto childView = child->viewIfLoaded();
        if (childView && childView->isDescendantOfView(*view_)) {
            child->viewDidAppear(animated);
        }
    }
}

void ViewController::addChildViewController(const std::shared_ptr<ViewController>& child) {
    if (!child || child.get() == this) {
        return;
    }
    if (child->parentViewController().get() == this) {
        return;
    }
    child->removeFromParentViewController();
    children_.push_back(child);
    child->parent_ = std::static_pointer_cast<ViewController>(shared_from_this());
}

void ViewController::removeFromParentViewController() {
    auto parent = parentViewController();
    if (!parent) {
        return;
    }
    auto self = std::static_pointer_cast<ViewController>(shared_from_this());
    std::erase(parent->children_, self);
    parent_.reset();
}

void ViewController::presentViewController(const std::shared_ptr<ViewController>& controller, bool animated,
                                           std::function<void()> completion) {
    if (!controller) {
        return;
    }
    if (presented_) {
        platformLog("ui", "presentViewController: " + description() + " is already presenting " +
                              presented_->description());
        return;
    }
    auto window = view_ ? view_->window() : nullptr;
    if (!window) {
        platformLog("ui", "presentViewController: the view of " + description() + " is not in a window");
        return;
    }
    presented_ = controller;
    controller->presenting_ = std::static_pointer_cast<ViewController>(shared_from_this());
    auto presentedView = controller->view();
    presentedView->setFrame(window->bounds());
    window->addSubview(presentedView);
    controller->viewDidAppear(animated);
    if (completion) {
        completion();
    }
}

void ViewController::tearDownPresentation() {
    if (presented_) {
        presented_->tearDownPresentation();
        presented_.reset();
    }
    if (view_) {
        view_->removeFromSuperview();
    }
    presenting_.reset();
}

void ViewController::dismissViewControllerAnimated(bool, std::function<void()> completion) {
    std::shared_ptr<ViewController> presenter =
        presented_ ? std::static_pointer_cast<ViewController>(shared_from_this())
                   : presentingViewController();
    if (!presenter || !presenter->presented_) {
        return;
    }
    auto dismissed = std::move(presenter->presented_);
    presenter->presented_.reset();
    dismissed->tearDownPresentation();
    if (completion) {
        completion();
    }
}

std::shared_ptr<NavigationController> ViewController::navigationController() const {
    for (auto parent = parentViewController(); parent; parent = parent->parentViewController()) {
        if (auto navigation = std::dynamic_pointer_cast<NavigationController>(parent)) {
            return navigation;
        }
    }
    return nullptr;
}

std::shared_ptr<TabBarController> ViewController::tabBarController() const {
    for (auto parent = parentViewController(); parent; parent = parent->parentViewController()) {
        if (auto tabs = std::dynamic_pointer_cast<TabBarController>(parent)) {
            return tabs;
        }
    }
    return nullptr;
}

std::shared_ptr<Responder> ViewController::nextResponder() const {
    return view_ ? view_->superview() : nullptr;
}

void ViewController::installDefaultMethods(Runtime& runtime) {
    runtime.addMethod(
        "UIViewController", "viewDidAppear:",
        [](const std::shared_ptr<RuntimeObject>& self, const std::string&, const Arguments& arguments) {
            auto controller = std::dynamic_pointer_cast<ViewController>(self);
            const auto* animated = arguments.empty() ? nullptr : std::any_cast<bool>(&arguments[0]);
            if (controller) {
                controller->forwardAppearance(animated && *animated);
            }
            return std::any();
        });
}

}  // namespace bdx::ui
