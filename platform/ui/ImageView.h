// Public header: installed with the library for hosts to include.
#pragma once

#include "platform/gfx/Image.h"
#include "platform/ui/View.h"

namespace bdx::ui {

// A view showing an image stretched to its bounds.
class ImageView : public View {
  public:
    explicit ImageView(std::string className = "UIImageView", std::string_view kindOf = "UIImageView")
        : View(std::move(className), kindOf) {}

    const gfx::Image& image() const { return image_; }
    void setImage(gfx::Image image) { image_ = std::move(image); }

    void drawRect(gfx::ImageContext& context, const gfx::Rect& rect) override;

  private:
    gfx::Image image_;
};

}  // namespace bdx::ui
