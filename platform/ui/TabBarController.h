// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ui/ViewController.h"

namespace bdx::ui {

// A tab bar controller: its controllers (its children), of which the selected one is shown. Its view
// is a "UILayoutContainerView" holding a "UITransitionView" around the selected controller's view,
// and a "UITabBar" along the bottom.
class TabBarController : public ViewController {
  public:
    explicit TabBarController(std::string className = "UITabBarController",
                              std::string_view kindOf = "UITabBarController")
        : ViewController(std::move(className), kindOf) {}

    std::vector<std::shared_ptr<ViewController>> viewControllers() const { return childViewControllers(); }
    // Selects the first controller.
    void setViewControllers(const std::vector<std::shared_ptr<ViewController>>& controllers);
    unsigned long selectedIndex() const { return selectedIndex_; }
    // The selected controller's view replaces the previous one and, when on screen, is told that it
    // appeared. An index out of range is ignored.
    void setSelectedIndex(unsigned long index);
    std::shared_ptr<ViewController> selectedViewController() const;

    std::shared_ptr<View> tabBar();

    void loadView() override;

  private:
    void showSelected(bool appear);

    unsigned long selectedIndex_ = 0;
    std::weak_ptr<View> transition_;
    std::weak_ptr<View> tabBar_;
};

}  // namespace bdx::ui
