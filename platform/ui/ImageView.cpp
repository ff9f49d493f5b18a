#include "platform/ui/ImageView.h"

#include "platform/gfx/ImageContext.h"

namespace bdx::ui {

void ImageView::drawRect(gfx::ImageContext& context, const gfx::Rect& rect) {
    context.drawImage(image_, bounds());
    View::drawRect(context, rect);
}

}  // namespace bdx::ui
