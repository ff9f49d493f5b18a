#include "platform/ui/StackView.h"

#include <algorithm>

namespace bdx::ui {

std::vector<std::shared_ptr<View>> StackView::arrangedSubviews() const {
    std::vector<std::shared_ptr<View>> views;
    for (const auto& weak : arranged_) {
        auto view = weak.lock();
        if (view && view->superview().get() == this) {
            views.push_back(std::move(view));
        }
    }
    return views;
}

void StackView::addArrangedSubview(const std::shared_ptr<View>& view) {
    if (!view) {
        return;
    }
    removeArrangedSubview(view);
    arranged_.push_back(view);
    addSubview(view);
}

void StackView::removeArrangedSubview(const std::shared_ptr<View>& view) {
    std::erase_if(arranged_, [&](const std::weak_ptr<View>& weak) {
        auto held = weak.lock();
        return !held || held == view;
    });
}

}  // namespace bdx::ui
