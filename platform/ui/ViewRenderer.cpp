#include "platform/ui/ViewRenderer.h"

#include <cmath>
#include <memory>
#include <vector>

#include "platform/gfx/ImageContext.h"

namespace bdx::ui {

namespace {

bool isDrawn(const View& view) {
    return !view.isHidden() && view.alpha() > 0;
}

}  // namespace

void ViewRenderer::render(gfx::ImageContext& context, View& view, LayerTree tree) {
    if (!isDrawn(view)) {
        return;
    }
    if (view.alpha() < 1 && !view.subviews().empty()) {
        renderGroup(context, view, tree);
        return;
    }
    context.saveGState();
    if (view.alpha() < 1) {
        // A view alone: its own drawing takes the alpha directly.
        context.setAlpha(view.alpha());
    }
    drawContents(context, view, tree);
    context.restoreGState();
}

void ViewRenderer::drawContents(gfx::ImageContext& context, View& view, LayerTree tree) {
    const gfx::Rect bounds = view.bounds(tree);
    if (view.clipsToBounds()) {
        context.clipToRect(bounds);
    }
    if (const auto& background = view.backgroundColor(); background && background->a > 0) {
        context.setFillColor(*background);
        context.fillRect(bounds);
    }
    context.saveGState();
    view.drawRect(context, bounds);
    context.restoreGState();
    // A copy, so that drawing code that changes the tree cannot pull the list from under the loop.
    const std::vector<std::shared_ptr<View>> subviews = view.subviews();
    for (const auto& subview : subviews) {
        if (!isDrawn(*subview)) {
            continue;
        }
        context.saveGState();
        context.concatCTM(subview->transformToSuperview(tree));
        render(context, *subview, tree);
        context.restoreGState();
    }
}

void ViewRenderer::renderGroup(gfx::ImageContext& context, View& view, LayerTree tree) {
    // The subtree is drawn opaque-as-it-is into a bitmap covering just the pixels it can reach,
    // aligned on the context's pixels, and laid down once at the view's alpha.
    const gfx::AffineTransform toPoints = context.getCTM();
    const double scale = context.scale();
    gfx::Rect reach = extent(view, tree, toPoints)
                          .intersection(toPoints.apply(context.clipBoundingBox()))
                          .intersection({{0, 0}, context.size()});
    if (reach.isEmpty()) {
        return;
    }
    const gfx::Rect pixels = gfx::Rect(reach.origin.x * scale, reach.origin.y * scale,
                                       reach.size.width * scale, reach.size.height * scale)
                                 .integral();
    gfx::ImageContext group({pixels.size.width, pixels.size.height}, false, 1.0);
    if (!group.isValid()) {
        return;
    }
    group.setShouldAntialias(context.shouldAntialias());
    group.translateCTM(-pixels.origin.x, -pixels.origin.y);
    group.scaleCTM(scale, scale);
    group.concatCTM(toPoints);
    drawContents(group, view, tree);

    context.saveGState();
    context.concatCTM(toPoints.inverted());
    context.scaleCTM(1 / scale, 1 / scale);
    context.drawImage(group.imageFromCurrentContext(), pixels, gfx::BlendMode::Normal, view.alpha());
    context.restoreGState();
}

gfx::Rect ViewRenderer::extent(const View& view, LayerTree tree, const gfx::AffineTransform& toTarget) {
    const gfx::Rect own = toTarget.apply(view.bounds(tree));
    gfx::Rect reach = own;
    for (const auto& subview : view.subviews()) {
        if (!isDrawn(*subview)) {
            continue;
        }
        gfx::Rect sub = extent(*subview, tree, subview->transformToSuperview(tree).concat(toTarget));
        if (view.clipsToBounds()) {
            sub = sub.intersection(own);
        }
        reach = reach.unionWith(sub);
    }
    return reach;
}

}  // namespace bdx::ui
