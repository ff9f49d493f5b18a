#pragma once

#include "platform/gfx/Geometry.h"
#include "platform/ui/View.h"

namespace bdx::gfx {
class ImageContext;
}

namespace bdx::ui {

// Draws a view tree into an image context as the screen composes it: each view in its superview's
// space (position, anchor point, transform), its background and own drawing (always inside its
// bounds, as the view's own content has a backing store of that size), then its subviews in order
// (reaching past the bounds unless the view clips). A half-transparent view is composed on its own
// first and then laid down at its alpha, so its subtree fades as one picture.
class ViewRenderer {
  public:
    // Draws `view` in its own bounds coordinates: the caller has put the context in that space.
    // A hidden or fully transparent view draws nothing.
    static void render(gfx::ImageContext& context, View& view, LayerTree tree);

    // The bounding box, in the space `toTarget` maps the view's bounds coordinates to, of everything
    // the view and its visible subtree can cover (clipped where views clip).
    static gfx::Rect extent(const View& view, LayerTree tree, const gfx::AffineTransform& toTarget);

  private:
    static void drawContents(gfx::ImageContext& context, View& view, LayerTree tree);
};

}  // namespace bdx::ui
