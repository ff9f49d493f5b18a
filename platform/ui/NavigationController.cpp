#include "platform/ui/NavigationController.h"

#include "platform/ui/Screen.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"

namespace bdx::ui {

namespace {

constexpr double kNavigationBarHeight = 44;

}  // namespace

std::shared_ptr<NavigationController> NavigationController::initWithRootViewController(
    const std::shared_ptr<ViewController>& root) {
    auto navigation = std::make_shared<NavigationController>();
    navigation->setViewControllers({root});
    return navigation;
}

void NavigationController::loadView() {
    const auto bounds = Screen::mainScreen()->bounds();
    auto container = View::make(bounds, "UILayoutContainerView", "UIView");
    auto transition = View::make(bounds, "UINavigationTransitionView", "UIView");
    auto wrapper = View::make(bounds, "UIViewControllerWrapperView", "UIView");
    auto bar =
        View::make(gfx::Rect(0, 0, bounds.size.width, kNavigationBarHeight), "UINavigationBar", "UIView");
    transition->addSubview(wrapper);
    container->addSubview(transition);
    container->addSubview(bar);
    wrapper_ = wrapper;
    navigationBar_ = bar;
    setView(container);
    showTop(false);
}

std::shared_ptr<View> NavigationController::navigationBar() {
    view();
    return navigationBar_.lock();
}

void NavigationController::setViewControllers(
    const std::vector<std::shared_ptr<ViewController>>& controllers) {
    for (const auto& child : std::vector(childViewControllers())) {
        if (auto childView = child->viewIfLoaded(); childView && childView->superview() == wrapper_.lock()) {
            childView->removeFromSuperview();
        }
        child->removeFromParentViewController();
    }
    for (const auto& controller : controllers) {
        addChildViewController(controller);
    }
    showTop(false);
}

std::shared_ptr<ViewController> NavigationController::topViewController() const {
    const auto& stack = childViewControllers();
    return stack.empty() ? nullptr : stack.back();
}

std::shared_ptr<ViewController> NavigationController::visibleViewController() const {
    if (auto presented = presentedViewController()) {
        return presented;
    }
    return topViewController();
}

void NavigationController::pushViewController(const std::shared_ptr<ViewController>& controller,
                                              bool animated) {
    if (!controller) {
        return;
    }
    addChildViewController(controller);
    showTop(animated);
}

std::shared_ptr<ViewController> NavigationController::popViewControllerAnimated(bool animated) {
    if (childViewControllers().size() < 2) {
        return nullptr;
    }
    auto popped = topViewController();
    if (auto poppedView = popped->viewIfLoaded(); poppedView && poppedView->superview() == wrapper_.lock()) {
        poppedView->removeFromSuperview();
    }
    popped->removeFromParentViewController();
    showTop(animated);
    return popped;
}

void NavigationController::showTop(bool animated) {
    auto wrapper = wrapper_.lock();
    auto top = topViewController();
    if (!wrapper || !top) {
        return;
    }
    for (const auto& shown : std::vector(wrapper->subviews())) {
        shown->removeFromSuperview();
    }
    auto topView = top->view();
    topView->setFrame(wrapper->bounds());
    wrapper->addSubview(topView);
    if (wrapper->window() && !wrapper->window()->isHidden()) {
        top->viewDidAppear(animated);
    }
}

}  // namespace bdx::ui
