// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ui/ViewController.h"

namespace bdx::ui {

// A navigation controller: a stack of controllers (its children) of which the top one is shown.
// Its view is built as the platform builds it: a "UILayoutContainerView" holding a
// "UINavigationTransitionView" with a "UIViewControllerWrapperView" around the top controller's
// view, and a "UINavigationBar".
class NavigationController : public ViewController {
  public:
    static std::shared_ptr<NavigationController> initWithRootViewController(
        const std::shared_ptr<ViewController>& root);

    explicit NavigationController(std::string className = "UINavigationController",
                                  std::string_view kindOf = "UINavigationController")
        : ViewController(std::move(className), kindOf) {}

    std::vector<std::shared_ptr<ViewController>> viewControllers() const { return childViewControllers(); }
    void setViewControllers(const std::vector<std::shared_ptr<ViewController>>& controllers);
    std::shared_ptr<ViewController> topViewController() const;
    // What the navigation shows: a controller it presents, or else its top controller.
    std::shared_ptr<ViewController> visibleViewController() const;

    // The pushed controller becomes the top and, when on screen, is told that it appeared.
    void pushViewController(const std::shared_ptr<ViewController>& controller, bool animated);
    // Takes the top controller off (never the root) and returns it; the new top appears.
    std::shared_ptr<ViewController> popViewControllerAnimated(bool animated);

    std::shared_ptr<View> navigationBar();

    void loadView() override;

  private:
    void showTop(bool animated);

    std::weak_ptr<View> wrapper_;
    std::weak_ptr<View> navigationBar_;
};

}  // namespace bdx::ui
