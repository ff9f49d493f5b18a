#include "platform/ui/TabBarController.h"

#include "platform/ui/Screen.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"

namespace bdx::ui {

namespace {

constexpr double kTabBarHeight = 49;

}  // namespace

void TabBarController::loadView() {
    const auto bounds = Screen::mainScreen()->bounds();
    auto container = View::make(bounds, "UILayoutContainerView", "UIView");
    auto transition = View::make(bounds, "UITransitionView", "UIView");
    auto bar = View::make(gfx::Rect(0, bounds.size.height - kTabBarHeight, bounds.size.width, kTabBarHeight),
                          "UITabBar", "UIView");
    container->addSubview(transition);
    container->addSubview(bar);
    transition_ = transition;
    tabBar_ = bar;
    setView(container);
    showSelected(false);
}

std::shared_ptr<View> TabBarController::tabBar() {
    view();
    return tabBar_.lock();
}

void TabBarController::setViewControllers(const std::vector<std::shared_ptr<ViewController>>& controllers) {
    auto transition = transition_.lock();
    for (const auto& child : std::vector(childViewControllers())) {
        if (auto childView = child->viewIfLoaded(); childView && childView->superview() == transition) {
            childView->removeFromSuperview();
        }
        child->removeFromParentViewController();
    }
    for (const auto& controller : controllers) {
        addChildViewController(controller);
    }
    selectedIndex_ = 0;
    showSelected(true);
}

void TabBarController::setSelectedIndex(unsigned long index) {
    if (index >= childViewControllers().size()) {
        return;
    }
    selectedIndex_ = index;
    showSelected(true);
}

std::shared_ptr<ViewController> TabBarController::selectedViewController() const {
    const auto& children = childViewControllers();
    return selectedIndex_ < children.size() ? children[selectedIndex_] : nullptr;
}

void TabBarController::showSelected(bool appear) {
    auto transition = transition_.lock();
    auto selected = selectedViewController();
    if (!transition || !selected) {
        return;
    }
    for (const auto& shown : std::vector(transition->subviews())) {
        shown->removeFromSuperview();
    }
    auto selectedView = selected->view();
    selectedView->setFrame(transition->bounds());
    transition->addSubview(selectedView);
    if (appear && transition->window() && !transition->window()->isHidden()) {
        selected->viewDidAppear(false);
    }
}

}  // namespace bdx::ui
