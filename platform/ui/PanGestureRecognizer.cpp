#include "platform/ui/PanGestureRecognizer.h"

#include "platform/ui/View.h"

namespace bdx::ui {

namespace {

// A vector (not a point) carried from one coordinate space to the other: the difference of two
// converted points, so translations cancel and only rotation and scale act.
gfx::Point toWindowVector(gfx::Point vector, const View& view) {
    const auto a = view.convertPoint({0, 0}, nullptr);
    const auto b = view.convertPoint(vector, nullptr);
    return {b.x - a.x, b.y - a.y};
}

gfx::Point fromWindowVector(gfx::Point vector, const View& view) {
    const auto a = view.convertPointFromView({0, 0}, nullptr);
    const auto b = view.convertPointFromView(vector, nullptr);
    return {b.x - a.x, b.y - a.y};
}

}  // namespace

gfx::Point PanGestureRecognizer::translationInView(const std::shared_ptr<View>& view) const {
    return view ? fromWindowVector(translationInWindow_, *view) : translationInWindow_;
}

void PanGestureRecognizer::setTranslation(gfx::Point translation, const std::shared_ptr<View>& view) {
    translationInWindow_ = view ? toWindowVector(translation, *view) : translation;
}

}  // namespace bdx::ui
