// Public header: installed with the library for hosts to include.
#pragma once

#include "platform/ui/View.h"

namespace bdx::ui {

// A scroll view. Its content offset is the origin of its bounds, so scrolling moves what its
// subviews show without moving them.
class ScrollView : public View {
  public:
    explicit ScrollView(std::string className = "UIScrollView", std::string_view kindOf = "UIScrollView")
        : View(std::move(className), kindOf) {}

    gfx::Point contentOffset() const { return bounds().origin; }
    void setContentOffset(gfx::Point offset) {
        auto b = bounds();
        b.origin = offset;
        setBounds(b);
    }
    gfx::Size contentSize() const { return contentSize_; }
    void setContentSize(gfx::Size size) { contentSize_ = size; }

  private:
    gfx::Size contentSize_;
};

}  // namespace bdx::ui
