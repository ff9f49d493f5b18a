// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <vector>

#include "platform/ui/View.h"

namespace bdx::ui {

enum class LayoutConstraintAxis { Horizontal = 0, Vertical = 1 };

// A stack view: its arranged subviews (which are also subviews) and its axis. It draws nothing of its
// own; the model does not lay the arranged views out.
class StackView : public View {
  public:
    explicit StackView(std::string className = "UIStackView", std::string_view kindOf = "UIStackView")
        : View(std::move(className), kindOf) {}

    LayoutConstraintAxis axis() const { return axis_; }
    void setAxis(LayoutConstraintAxis axis) { axis_ = axis; }
    // The arranged views that are still subviews of the stack, in order.
    std::vector<std::shared_ptr<View>> arrangedSubviews() const;
    void addArrangedSubview(const std::shared_ptr<View>& view);
    void removeArrangedSubview(const std::shared_ptr<View>& view);

  private:
    LayoutConstraintAxis axis_ = LayoutConstraintAxis::Horizontal;
    std::vector<std::weak_ptr<View>> arranged_;
};

}  // namespace bdx::ui
