#include "platform/ui/ReusableCell.h"

namespace bdx::ui {

std::shared_ptr<View> ReusableCell::contentView() {
    if (auto existing = contentView_.lock(); existing && existing->superview().get() == this) {
        return existing;
    }
    auto content = View::make(gfx::Rect(0, 0, bounds().size.width, bounds().size.height),
                              contentViewClassName_, "UIView");
    insertSubview(content, 0);
    contentView_ = content;
    return content;
}

}  // namespace bdx::ui
