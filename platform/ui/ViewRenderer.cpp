#include "platform/ui/ViewRenderer.h"

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
    context.saveGState();
    if (view.alpha() < 1) {
        // The view and its subtree are composed as one picture and laid down at its alpha, so that
        // overlapping parts do not show through each other. The layer only needs to cover what the
        // subtree can reach (with a point to spare for antialiased edges).
        context.clipToRect(extent(view, tree, gfx::AffineTransform()).insetBy(-1, -1));
        context.setAlpha(view.alpha());
        context.beginTransparencyLayer();
        drawContents(context, view, tree);
        context.endTransparencyLayer();
    } else {
        drawContents(context, view, tree);
    }
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
    // The view's own content lives in a backing store the size of its bounds: only its subviews
    // may reach past them.
    context.saveGState();
    if (!view.clipsToBounds()) {
        context.clipToRect(bounds);
    }
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
