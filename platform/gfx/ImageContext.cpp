#include "platform/gfx/ImageContext.h"

#include <cairo.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <new>
#include <optional>
#include <string>

#include "platform/PlatformLog.h"

namespace bdx::gfx {

namespace {

std::atomic<double> gMainScreenScale{1.0};

// Bitmaps beyond this many pixels (about 1 GB) are refused rather than allocated.
constexpr double kMaxPixels = double(1 << 28);

cairo_operator_t cairoOperator(BlendMode mode) {
    switch (mode) {
        case BlendMode::Normal:
            return CAIRO_OPERATOR_OVER;
        case BlendMode::Multiply:
            return CAIRO_OPERATOR_MULTIPLY;
        case BlendMode::Screen:
            return CAIRO_OPERATOR_SCREEN;
        case BlendMode::Overlay:
            return CAIRO_OPERATOR_OVERLAY;
        case BlendMode::Darken:
            return CAIRO_OPERATOR_DARKEN;
        case BlendMode::Lighten:
            return CAIRO_OPERATOR_LIGHTEN;
        case BlendMode::ColorDodge:
            return CAIRO_OPERATOR_COLOR_DODGE;
        case BlendMode::ColorBurn:
            return CAIRO_OPERATOR_COLOR_BURN;
        case BlendMode::SoftLight:
            return CAIRO_OPERATOR_SOFT_LIGHT;
        case BlendMode::HardLight:
            return CAIRO_OPERATOR_HARD_LIGHT;
        case BlendMode::Difference:
            return CAIRO_OPERATOR_DIFFERENCE;
        case BlendMode::Exclusion:
            return CAIRO_OPERATOR_EXCLUSION;
        case BlendMode::Hue:
            return CAIRO_OPERATOR_HSL_HUE;
        case BlendMode::Saturation:
            return CAIRO_OPERATOR_HSL_SATURATION;
        case BlendMode::Color:
            return CAIRO_OPERATOR_HSL_COLOR;
        case BlendMode::Luminosity:
            return CAIRO_OPERATOR_HSL_LUMINOSITY;
        case BlendMode::Clear:
            return CAIRO_OPERATOR_CLEAR;
        case BlendMode::Copy:
            return CAIRO_OPERATOR_SOURCE;
        case BlendMode::SourceIn:
            return CAIRO_OPERATOR_IN;
        case BlendMode::SourceOut:
            return CAIRO_OPERATOR_OUT;
        case BlendMode::SourceAtop:
            return CAIRO_OPERATOR_ATOP;
        case BlendMode::DestinationOver:
            return CAIRO_OPERATOR_DEST_OVER;
        case BlendMode::DestinationIn:
            return CAIRO_OPERATOR_DEST_IN;
        case BlendMode::DestinationOut:
            return CAIRO_OPERATOR_DEST_OUT;
        case BlendMode::DestinationAtop:
            return CAIRO_OPERATOR_DEST_ATOP;
        case BlendMode::XOR:
            return CAIRO_OPERATOR_XOR;
        case BlendMode::PlusLighter:
            return CAIRO_OPERATOR_ADD;
        case BlendMode::PlusDarker:
            break;
    }
    static std::atomic<bool> told{false};
    if (!told.exchange(true)) {
        platformLog("gfx", "blend mode plus-darker is not available; drawing as normal");
    }
    return CAIRO_OPERATOR_OVER;
}

// Operators that would also clear what lies outside the drawn shape; the platform confines every
// blend mode to the area drawn, so these are applied through a clip to that area.
bool clearsOutsideShape(cairo_operator_t op) {
    return op == CAIRO_OPERATOR_IN || op == CAIRO_OPERATOR_OUT || op == CAIRO_OPERATOR_DEST_IN ||
           op == CAIRO_OPERATOR_DEST_ATOP;
}

cairo_line_cap_t cairoCap(LineCap cap) {
    switch (cap) {
        case LineCap::Round:
            return CAIRO_LINE_CAP_ROUND;
        case LineCap::Square:
            return CAIRO_LINE_CAP_SQUARE;
        case LineCap::Butt:
            break;
    }
    return CAIRO_LINE_CAP_BUTT;
}

cairo_line_join_t cairoJoin(LineJoin join) {
    switch (join) {
        case LineJoin::Round:
            return CAIRO_LINE_JOIN_ROUND;
        case LineJoin::Bevel:
            return CAIRO_LINE_JOIN_BEVEL;
        case LineJoin::Miter:
            break;
    }
    return CAIRO_LINE_JOIN_MITER;
}

cairo_fill_rule_t cairoFillRule(FillRule rule) {
    return rule == FillRule::EvenOdd ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING;
}

cairo_filter_t cairoFilter(InterpolationQuality q) {
    switch (q) {
        case InterpolationQuality::None:
            return CAIRO_FILTER_NEAREST;
        case InterpolationQuality::Low:
            return CAIRO_FILTER_BILINEAR;
        default:
            return CAIRO_FILTER_GOOD;
    }
}

cairo_matrix_t toCairo(const AffineTransform& t) {
    cairo_matrix_t m;
    cairo_matrix_init(&m, t.a, t.b, t.c, t.d, t.tx, t.ty);
    return m;
}

AffineTransform fromCairo(const cairo_matrix_t& m) {
    return {m.xx, m.yx, m.xy, m.yy, m.x0, m.y0};
}

// Stored pixel space (u, v) to display space of an image shown in the orientation.
AffineTransform orientationTransform(ImageOrientation o, double w, double h) {
    switch (o) {
        case ImageOrientation::Up:
            return {};
        case ImageOrientation::UpMirrored:
            return {-1, 0, 0, 1, w, 0};
        case ImageOrientation::Down:
            return {-1, 0, 0, -1, w, h};
        case ImageOrientation::DownMirrored:
            return {1, 0, 0, -1, 0, h};
        case ImageOrientation::LeftMirrored:
            return {0, 1, 1, 0, 0, 0};
        case ImageOrientation::Right:
            return {0, 1, -1, 0, h, 0};
        case ImageOrientation::RightMirrored:
            return {0, -1, -1, 0, h, w};
        case ImageOrientation::Left:
            return {0, -1, 1, 0, 0, w};
    }
    return {};
}

void appendPathToCairo(cairo_t* cr, const Path& path) {
    Point cur{};
    Point start{};
    for (const Path::Element& e : path.elements()) {
        switch (e.type) {
            case Path::ElementType::MoveToPoint:
                cairo_move_to(cr, e.points[0].x, e.points[0].y);
                cur = start = e.points[0];
                break;
            case Path::ElementType::AddLineToPoint:
                cairo_line_to(cr, e.points[0].x, e.points[0].y);
                cur = e.points[0];
                break;
            case Path::ElementType::AddQuadCurveToPoint: {
                const Point c = e.points[0];
                const Point end = e.points[1];
                const double c1x = cur.x + (c.x - cur.x) * 2.0 / 3.0, c1y = cur.y + (c.y - cur.y) * 2.0 / 3.0;
                const double c2x = end.x + (c.x - end.x) * 2.0 / 3.0, c2y = end.y + (c.y - end.y) * 2.0 / 3.0;
                cairo_curve_to(cr, c1x, c1y, c2x, c2y, end.x, end.y);
                cur = end;
                break;
            }
            case Path::ElementType::AddCurveToPoint:
                cairo_curve_to(cr, e.points[0].x, e.points[0].y, e.points[1].x, e.points[1].y, e.points[2].x,
                               e.points[2].y);
                cur = e.points[2];
                break;
            case Path::ElementType::CloseSubpath:
                cairo_close_path(cr);
                cur = start;
                break;
        }
    }
}

struct GState {
    Color fill = Color::black();
    Color stroke = Color::black();
    double alpha = 1.0;
    BlendMode blend = BlendMode::Normal;
    bool antialias = true;
    InterpolationQuality interpolation = InterpolationQuality::Default;
    // This state opened a transparency layer: only endTransparencyLayer may pop it.
    bool opensLayer = false;
    // The layer was opened inside a state of its own (for its clip), which ends with it.
    bool closesWithParent = false;
    double layerAlpha = 1.0;
    BlendMode layerBlend = BlendMode::Normal;
    // The transform (user space to pixels) when it cannot be inverted or holds a number that is not
    // finite. Cairo refuses such a matrix, and stops drawing for good once it has one, so it is
    // kept here instead and the context draws nothing until a restore takes this state away.
    std::optional<AffineTransform> singularCTM;
};

bool isFinite(const AffineTransform& t) {
    return std::isfinite(t.a) && std::isfinite(t.b) && std::isfinite(t.c) && std::isfinite(t.d) &&
           std::isfinite(t.tx) && std::isfinite(t.ty);
}

}  // namespace

void setMainScreenScale(double scale) {
    if (!(scale > 0) || !std::isfinite(scale)) {
        platformLog("gfx", "main screen scale " + std::to_string(scale) + " ignored");
        return;
    }
    gMainScreenScale.store(scale);
}

double mainScreenScale() {
    return gMainScreenScale.load();
}

struct ImageContext::Impl {
    // The bitmap's pixels, owned here so that takeImage can hand them over without a copy.
    std::vector<std::uint32_t> buffer;
    cairo_surface_t* surface = nullptr;
    cairo_t* cr = nullptr;
    Size size;
    double scale = 1.0;
    bool opaque = false;
    int pixelWidth = 0;
    int pixelHeight = 0;
    std::vector<GState> states{GState{}};
    // Whether the current path holds anything, so that the rectangle and ellipse shortcuts only
    // pay for keeping it when there is something to keep.
    bool pathInUse = false;

    ~Impl() {
        if (cr) {
            cairo_destroy(cr);
        }
        if (surface) {
            cairo_surface_destroy(surface);
        }
    }

    GState& state() { return states.back(); }
    const GState& state() const { return states.back(); }

    // Whether drawing reaches the bitmap: not under a transform that cannot be inverted.
    bool paints() const { return !state().singularCTM; }

    // Applies `t` before the current transform. A result that cannot be inverted (or whose inverse
    // is not finite) is not handed to Cairo: it makes the state singular.
    void transformCTM(const AffineTransform& t) {
        GState& s = state();
        if (s.singularCTM) {
            s.singularCTM = t.concat(*s.singularCTM);
            return;
        }
        cairo_matrix_t m;
        cairo_get_matrix(cr, &m);
        const AffineTransform next = t.concat(fromCairo(m));
        if (!isFinite(next) || !next.isInvertible() || !isFinite(next.inverted())) {
            // A zero scale is an ordinary state (a view popping in from nothing); a number that
            // is not finite is a caller's mistake.
            if (!isFinite(t)) {
                platformLog("gfx",
                            "transform with a number that is not finite; nothing is drawn until "
                            "the matching restore");
            }
            s.singularCTM = next;
            return;
        }
        const cairo_matrix_t n = toCairo(next);
        cairo_set_matrix(cr, &n);
    }

    void setSource(const Color& c) {
        cairo_set_source_rgba(cr, c.r, c.g, c.b, std::clamp(c.a, 0.0, 1.0) * state().alpha);
    }

    // Fills the current path in the fill colour under the blend mode, and consumes it.
    void fillCurrentPath(FillRule rule) {
        const cairo_operator_t op = cairoOperator(state().blend);
        cairo_save(cr);
        cairo_set_fill_rule(cr, cairoFillRule(rule));
        cairo_set_operator(cr, op);
        setSource(state().fill);
        if (clearsOutsideShape(op)) {
            cairo_clip(cr);
            cairo_paint(cr);
        } else {
            cairo_fill(cr);
        }
        cairo_restore(cr);
        pathInUse = false;
    }

    void strokeCurrentPath() {
        cairo_save(cr);
        cairo_set_operator(cr, cairoOperator(state().blend));
        setSource(state().stroke);
        cairo_stroke(cr);
        cairo_restore(cr);
        pathInUse = false;
    }

    void dropCurrentPath() {
        cairo_new_path(cr);
        pathInUse = false;
    }

    // Runs `draw` on a fresh current path and puts the previous one back afterwards.
    template <typename F>
    void withOwnPath(F&& draw) {
        cairo_path_t* kept = pathInUse ? cairo_copy_path(cr) : nullptr;
        const bool wasInUse = pathInUse;
        cairo_new_path(cr);
        draw();
        cairo_new_path(cr);
        if (kept) {
            cairo_append_path(cr, kept);
            cairo_path_destroy(kept);
        }
        pathInUse = wasInUse;
    }

    void drawImage(const Image& image, const Rect& rect, BlendMode mode, double alpha) {
        if (!paints() || image.isNull() || rect.isNull() || rect.size.width == 0 || rect.size.height == 0) {
            return;
        }
        const Size shown = image.size();
        const double dw = shown.width * image.scale();
        const double dh = shown.height * image.scale();
        const AffineTransform forward =
            orientationTransform(image.orientation(), image.width(), image.height())
                .concat(AffineTransform::makeScale(rect.size.width / dw, rect.size.height / dh))
                .concat(AffineTransform::makeTranslation(rect.origin.x, rect.origin.y));
        if (!forward.isInvertible()) {
            return;
        }
        // Cairo only reads a source surface; the pixels stay immutable.
        auto* data = reinterpret_cast<unsigned char*>(const_cast<std::uint32_t*>(image.pixels()));
        cairo_surface_t* src = cairo_image_surface_create_for_data(
            data, CAIRO_FORMAT_ARGB32, image.width(), image.height(), static_cast<int>(image.stride()));
        cairo_pattern_t* pattern = cairo_pattern_create_for_surface(src);
        const cairo_matrix_t m = toCairo(forward.inverted());
        cairo_pattern_set_matrix(pattern, &m);
        cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
        cairo_pattern_set_filter(pattern, cairoFilter(state().interpolation));

        const double a = std::clamp(alpha, 0.0, 1.0) * state().alpha;
        const cairo_operator_t op = cairoOperator(mode);
        withOwnPath([&] {
            cairo_save(cr);
            cairo_rectangle(cr, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
            cairo_clip(cr);
            if (a < 1.0 && op != CAIRO_OPERATOR_OVER) {
                // The alpha belongs to the source, not to the coverage: fade the image first, then
                // composite it under the blend mode.
                cairo_push_group(cr);
                cairo_set_source(cr, pattern);
                cairo_paint_with_alpha(cr, a);
                cairo_pop_group_to_source(cr);
                cairo_set_operator(cr, op);
                cairo_paint(cr);
            } else {
                cairo_set_operator(cr, op);
                cairo_set_source(cr, pattern);
                cairo_paint_with_alpha(cr, a);
            }
            cairo_restore(cr);
        });
        cairo_pattern_destroy(pattern);
        cairo_surface_finish(src);
        cairo_surface_destroy(src);
    }
};

ImageContext::ImageContext(Size size, bool opaque, double scale) : impl_(std::make_unique<Impl>()) {
    if (scale == 0) {
        scale = mainScreenScale();
    }
    impl_->size = size;
    impl_->scale = scale;
    impl_->opaque = opaque;
    if (!(scale > 0) || !std::isfinite(scale) || !(size.width > 0) || !(size.height > 0) ||
        !std::isfinite(size.width) || !std::isfinite(size.height)) {
        platformLog("gfx", "image context of " + std::to_string(size.width) + "x" +
                               std::to_string(size.height) + " at scale " + std::to_string(scale) +
                               " has no pixels; nothing will be drawn");
        return;
    }
    // Whole pixels, rounded up; a hair of tolerance keeps 390 * 3 from becoming 1171.
    const double pw = std::ceil(size.width * scale - 1e-9);
    const double ph = std::ceil(size.height * scale - 1e-9);
    if (pw * ph > kMaxPixels || pw > 32767 || ph > 32767) {
        platformLog("gfx", "image context of " + std::to_string(pw) + "x" + std::to_string(ph) +
                               " pixels is too large; nothing will be drawn");
        return;
    }
    const int w = static_cast<int>(pw);
    const int h = static_cast<int>(ph);
    try {
        impl_->buffer.assign(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), 0u);
    } catch (const std::bad_alloc&) {
        platformLog("gfx", "no memory for an image context of " + std::to_string(w) + "x" +
                               std::to_string(h) + " pixels; nothing will be drawn");
        return;
    }
    cairo_surface_t* surface =
        cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(impl_->buffer.data()),
                                            opaque ? CAIRO_FORMAT_RGB24 : CAIRO_FORMAT_ARGB32, w, h, w * 4);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        platformLog(
            "gfx", std::string("image context of ") + std::to_string(w) + "x" + std::to_string(h) +
                       " pixels could not be made: " + cairo_status_to_string(cairo_surface_status(surface)));
        cairo_surface_destroy(surface);
        return;
    }
    impl_->surface = surface;
    impl_->cr = cairo_create(surface);
    impl_->pixelWidth = w;
    impl_->pixelHeight = h;
    cairo_scale(impl_->cr, scale, scale);
    // The platform's defaults: a 1-point butt-capped, miter-joined black line and a black fill.
    cairo_set_line_width(impl_->cr, 1.0);
    cairo_set_line_cap(impl_->cr, CAIRO_LINE_CAP_BUTT);
    cairo_set_line_join(impl_->cr, CAIRO_LINE_JOIN_MITER);
    cairo_set_miter_limit(impl_->cr, 10.0);
}

ImageContext::~ImageContext() = default;
ImageContext::ImageContext(ImageContext&&) noexcept = default;
ImageContext& ImageContext::operator=(ImageContext&&) noexcept = default;

bool ImageContext::isValid() const {
    return impl_ && impl_->cr;
}
Size ImageContext::size() const {
    return impl_ ? impl_->size : Size{};
}
double ImageContext::scale() const {
    return impl_ ? impl_->scale : 1.0;
}
bool ImageContext::isOpaque() const {
    return impl_ && impl_->opaque;
}
int ImageContext::pixelWidth() const {
    return impl_ ? impl_->pixelWidth : 0;
}
int ImageContext::pixelHeight() const {
    return impl_ ? impl_->pixelHeight : 0;
}

void ImageContext::saveGState() {
    if (!isValid()) {
        return;
    }
    cairo_save(impl_->cr);
    GState copy = impl_->state();
    copy.opensLayer = false;
    copy.closesWithParent = false;
    impl_->states.push_back(copy);
}

void ImageContext::restoreGState() {
    if (!isValid()) {
        return;
    }
    if (impl_->states.size() <= 1 || impl_->state().opensLayer) {
        platformLog("gfx", "restoreGState without a matching saveGState ignored");
        return;
    }
    // Cairo keeps the current path across restore; so does the platform.
    cairo_restore(impl_->cr);
    impl_->states.pop_back();
}

void ImageContext::beginTransparencyLayer() {
    if (!isValid()) {
        return;
    }
    GState inner = impl_->state();
    inner.opensLayer = true;
    inner.closesWithParent = false;
    inner.layerAlpha = inner.alpha;
    inner.layerBlend = inner.blend;
    inner.alpha = 1.0;
    inner.blend = BlendMode::Normal;
    cairo_save(impl_->cr);
    impl_->states.push_back(inner);
    cairo_push_group(impl_->cr);
}

void ImageContext::beginTransparencyLayerWithRect(const Rect& bounds) {
    if (!isValid()) {
        return;
    }
    // The clip is taken before the layer opens, so that the layer's surface is only as large as
    // the clipped area; endTransparencyLayer's restore lifts it again.
    saveGState();
    clipToRect(bounds);
    beginTransparencyLayer();
    impl_->state().closesWithParent = true;
}

void ImageContext::endTransparencyLayer() {
    if (!isValid()) {
        return;
    }
    // States saved inside the layer and never restored go with it.
    while (impl_->states.size() > 1 && !impl_->state().opensLayer) {
        cairo_restore(impl_->cr);
        impl_->states.pop_back();
    }
    if (impl_->states.size() <= 1) {
        platformLog("gfx", "endTransparencyLayer without a matching beginTransparencyLayer ignored");
        return;
    }
    const GState layer = impl_->state();
    // A layer opened under a singular transform holds nothing, and laying even that down (in copy
    // mode, say) would change the pixels below.
    if (impl_->states[impl_->states.size() - 2].singularCTM) {
        cairo_pattern_destroy(cairo_pop_group(impl_->cr));
    } else {
        cairo_pop_group_to_source(impl_->cr);
        cairo_set_operator(impl_->cr, cairoOperator(layer.layerBlend));
        cairo_paint_with_alpha(impl_->cr, layer.layerAlpha);
    }
    cairo_restore(impl_->cr);
    impl_->states.pop_back();
    if (layer.closesWithParent) {
        cairo_restore(impl_->cr);
        impl_->states.pop_back();
    }
}

void ImageContext::translateCTM(double tx, double ty) {
    concatCTM(AffineTransform::makeTranslation(tx, ty));
}

void ImageContext::scaleCTM(double sx, double sy) {
    concatCTM(AffineTransform::makeScale(sx, sy));
}

void ImageContext::rotateCTM(double angle) {
    concatCTM(AffineTransform::makeRotation(angle));
}

void ImageContext::concatCTM(const AffineTransform& t) {
    if (isValid()) {
        impl_->transformCTM(t);
    }
}

AffineTransform ImageContext::getCTM() const {
    if (!isValid()) {
        return {};
    }
    AffineTransform toPixels;
    if (impl_->state().singularCTM) {
        toPixels = *impl_->state().singularCTM;
    } else {
        cairo_matrix_t m;
        cairo_get_matrix(impl_->cr, &m);
        toPixels = fromCairo(m);
    }
    const double s = impl_->scale;
    return toPixels.concat(AffineTransform::makeScale(1 / s, 1 / s));
}

void ImageContext::setFillColor(const Color& c) {
    if (isValid()) {
        impl_->state().fill = c;
    }
}

void ImageContext::setStrokeColor(const Color& c) {
    if (isValid()) {
        impl_->state().stroke = c;
    }
}

Color ImageContext::fillColor() const {
    return isValid() ? impl_->state().fill : Color::black();
}
Color ImageContext::strokeColor() const {
    return isValid() ? impl_->state().stroke : Color::black();
}

void ImageContext::setLineWidth(double w) {
    if (isValid() && w >= 0 && std::isfinite(w)) {
        cairo_set_line_width(impl_->cr, w);
    }
}

void ImageContext::setLineCap(LineCap cap) {
    if (isValid()) {
        cairo_set_line_cap(impl_->cr, cairoCap(cap));
    }
}

void ImageContext::setLineJoin(LineJoin join) {
    if (isValid()) {
        cairo_set_line_join(impl_->cr, cairoJoin(join));
    }
}

void ImageContext::setMiterLimit(double limit) {
    if (isValid() && std::isfinite(limit)) {
        cairo_set_miter_limit(impl_->cr, limit);
    }
}

void ImageContext::setLineDash(double phase, const std::vector<double>& lengths) {
    if (!isValid()) {
        return;
    }
    // Cairo would stop drawing for good on such a dash; refuse it here instead.
    bool anyLength = false;
    for (double l : lengths) {
        if (!(l >= 0) || !std::isfinite(l)) {
            platformLog("gfx", "line dash with a negative or non-finite length refused");
            return;
        }
        anyLength = anyLength || l > 0;
    }
    if ((!lengths.empty() && !anyLength) || !std::isfinite(phase)) {
        platformLog("gfx", "line dash without any length refused");
        return;
    }
    cairo_set_dash(impl_->cr, lengths.data(), static_cast<int>(lengths.size()), phase);
}

void ImageContext::setAlpha(double alpha) {
    if (isValid() && std::isfinite(alpha)) {
        impl_->state().alpha = std::clamp(alpha, 0.0, 1.0);
    }
}

void ImageContext::setBlendMode(BlendMode mode) {
    if (isValid()) {
        impl_->state().blend = mode;
    }
}

BlendMode ImageContext::blendMode() const {
    return isValid() ? impl_->state().blend : BlendMode::Normal;
}

void ImageContext::setShouldAntialias(bool antialias) {
    if (isValid()) {
        impl_->state().antialias = antialias;
        cairo_set_antialias(impl_->cr, antialias ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
    }
}

bool ImageContext::shouldAntialias() const {
    return isValid() ? impl_->state().antialias : true;
}

void ImageContext::setInterpolationQuality(InterpolationQuality q) {
    if (isValid()) {
        impl_->state().interpolation = q;
    }
}

void ImageContext::fillRect(const Rect& r) {
    fillRects({r});
}

void ImageContext::fillRects(const std::vector<Rect>& rects) {
    if (!isValid() || !impl_->paints()) {
        return;
    }
    impl_->withOwnPath([&] {
        for (const Rect& r : rects) {
            if (!r.isNull()) {
                cairo_rectangle(impl_->cr, r.origin.x, r.origin.y, r.size.width, r.size.height);
            }
        }
        impl_->fillCurrentPath(FillRule::NonZero);
    });
}

void ImageContext::strokeRect(const Rect& r) {
    if (!isValid() || r.isNull() || !impl_->paints()) {
        return;
    }
    impl_->withOwnPath([&] {
        cairo_rectangle(impl_->cr, r.origin.x, r.origin.y, r.size.width, r.size.height);
        impl_->strokeCurrentPath();
    });
}

void ImageContext::strokeRectWithWidth(const Rect& r, double width) {
    if (!isValid()) {
        return;
    }
    cairo_save(impl_->cr);
    setLineWidth(width);
    strokeRect(r);
    cairo_restore(impl_->cr);
}

void ImageContext::clearRect(const Rect& r) {
    if (!isValid() || r.isNull() || !impl_->paints()) {
        return;
    }
    impl_->withOwnPath([&] {
        cairo_save(impl_->cr);
        cairo_set_operator(impl_->cr, CAIRO_OPERATOR_CLEAR);
        cairo_rectangle(impl_->cr, r.origin.x, r.origin.y, r.size.width, r.size.height);
        cairo_fill(impl_->cr);
        cairo_restore(impl_->cr);
    });
}

void ImageContext::fillEllipseInRect(const Rect& r) {
    if (!isValid() || r.isNull() || !impl_->paints()) {
        return;
    }
    impl_->withOwnPath([&] {
        appendPathToCairo(impl_->cr, Path::withOvalInRect(r));
        impl_->fillCurrentPath(FillRule::NonZero);
    });
}

void ImageContext::strokeEllipseInRect(const Rect& r) {
    if (!isValid() || r.isNull() || !impl_->paints()) {
        return;
    }
    impl_->withOwnPath([&] {
        appendPathToCairo(impl_->cr, Path::withOvalInRect(r));
        impl_->strokeCurrentPath();
    });
}

void ImageContext::strokeLineSegments(const std::vector<Point>& points) {
    if (!isValid()) {
        return;
    }
    // Replaces the current path, as the platform's segment stroke does.
    cairo_new_path(impl_->cr);
    impl_->pathInUse = false;
    if (!impl_->paints()) {
        return;
    }
    for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
        cairo_move_to(impl_->cr, points[i].x, points[i].y);
        cairo_line_to(impl_->cr, points[i + 1].x, points[i + 1].y);
    }
    impl_->strokeCurrentPath();
}

void ImageContext::beginPath() {
    if (isValid()) {
        cairo_new_path(impl_->cr);
        impl_->pathInUse = false;
    }
}

void ImageContext::addPath(const Path& path) {
    if (isValid() && !path.isEmpty() && impl_->paints()) {
        appendPathToCairo(impl_->cr, path);
        impl_->pathInUse = true;
    }
}

void ImageContext::moveToPoint(Point p) {
    if (isValid() && impl_->paints()) {
        cairo_move_to(impl_->cr, p.x, p.y);
        impl_->pathInUse = true;
    }
}

void ImageContext::addLineToPoint(Point p) {
    if (!isValid() || !impl_->paints()) {
        return;
    }
    if (!cairo_has_current_point(impl_->cr)) {
        platformLog("gfx", "addLineToPoint: no current point");
        return;
    }
    cairo_line_to(impl_->cr, p.x, p.y);
}

void ImageContext::addRect(const Rect& r) {
    if (isValid() && !r.isNull() && impl_->paints()) {
        cairo_rectangle(impl_->cr, r.origin.x, r.origin.y, r.size.width, r.size.height);
        impl_->pathInUse = true;
    }
}

void ImageContext::addEllipseInRect(const Rect& r) {
    if (isValid() && !r.isNull() && impl_->paints()) {
        appendPathToCairo(impl_->cr, Path::withOvalInRect(r));
        impl_->pathInUse = true;
    }
}

void ImageContext::closePath() {
    if (isValid() && impl_->paints() && cairo_has_current_point(impl_->cr)) {
        cairo_close_path(impl_->cr);
    }
}

bool ImageContext::isPathEmpty() const {
    if (!isValid() || !impl_->pathInUse) {
        return true;
    }
    cairo_path_t* p = cairo_copy_path(impl_->cr);
    const bool empty = p->num_data == 0;
    cairo_path_destroy(p);
    return empty;
}

void ImageContext::fillPath(FillRule rule) {
    if (isValid()) {
        impl_->paints() ? impl_->fillCurrentPath(rule) : impl_->dropCurrentPath();
    }
}

void ImageContext::strokePath() {
    if (isValid()) {
        impl_->paints() ? impl_->strokeCurrentPath() : impl_->dropCurrentPath();
    }
}

void ImageContext::clip(FillRule rule) {
    if (!isValid()) {
        return;
    }
    cairo_set_fill_rule(impl_->cr, cairoFillRule(rule));
    cairo_clip(impl_->cr);
    impl_->pathInUse = false;
}

void ImageContext::fill(const Path& path) {
    fill(path, blendMode(), 1.0);
}

void ImageContext::stroke(const Path& path) {
    stroke(path, blendMode(), 1.0);
}

void ImageContext::fill(const Path& path, BlendMode mode, double alpha) {
    if (!isValid() || path.isEmpty() || !impl_->paints()) {
        return;
    }
    impl_->withOwnPath([&] {
        saveGState();
        setBlendMode(mode);
        setAlpha(impl_->state().alpha * std::clamp(alpha, 0.0, 1.0));
        appendPathToCairo(impl_->cr, path);
        impl_->fillCurrentPath(path.fillRule());
        restoreGState();
    });
}

void ImageContext::stroke(const Path& path, BlendMode mode, double alpha) {
    if (!isValid() || path.isEmpty() || !impl_->paints()) {
        return;
    }
    impl_->withOwnPath([&] {
        saveGState();
        setBlendMode(mode);
        setAlpha(impl_->state().alpha * std::clamp(alpha, 0.0, 1.0));
        setLineWidth(path.lineWidth());
        setLineCap(path.lineCapStyle());
        setLineJoin(path.lineJoinStyle());
        setMiterLimit(path.miterLimit());
        setLineDash(path.lineDashPhase(), path.lineDash());
        appendPathToCairo(impl_->cr, path);
        impl_->strokeCurrentPath();
        restoreGState();
    });
}

void ImageContext::addClip(const Path& path) {
    if (!isValid()) {
        return;
    }
    impl_->withOwnPath([&] {
        // Under a singular transform the path covers no area: the clip takes everything away.
        if (impl_->paints()) {
            appendPathToCairo(impl_->cr, path);
        }
        cairo_set_fill_rule(impl_->cr, cairoFillRule(path.fillRule()));
        // An empty path clips everything away, as an empty area would.
        cairo_clip(impl_->cr);
    });
}

void ImageContext::clipToRect(const Rect& r) {
    if (!isValid()) {
        return;
    }
    impl_->withOwnPath([&] {
        if (!r.isNull() && impl_->paints()) {
            cairo_rectangle(impl_->cr, r.origin.x, r.origin.y, r.size.width, r.size.height);
        }
        cairo_clip(impl_->cr);
    });
}

Rect ImageContext::clipBoundingBox() const {
    if (!isValid() || !impl_->paints()) {
        return Rect::null();
    }
    double x0, y0, x1, y1;
    cairo_clip_extents(impl_->cr, &x0, &y0, &x1, &y1);
    if (x1 <= x0 || y1 <= y0) {
        return Rect::null();
    }
    return {x0, y0, x1 - x0, y1 - y0};
}

void ImageContext::drawImage(const Image& image, const Rect& rect) {
    if (isValid()) {
        impl_->drawImage(image, rect, impl_->state().blend, 1.0);
    }
}

void ImageContext::drawImage(const Image& image, const Rect& rect, BlendMode mode, double alpha) {
    if (isValid()) {
        impl_->drawImage(image, rect, mode, alpha);
    }
}

void ImageContext::drawImageAtPoint(const Image& image, Point p) {
    drawImage(image, Rect{p, image.size()});
}

Image ImageContext::imageFromCurrentContext() const {
    if (!isValid()) {
        return {};
    }
    if (cairo_status(impl_->cr) != CAIRO_STATUS_SUCCESS) {
        // Cairo stops drawing for good after an error; say so rather than hand out a silent blank.
        platformLog("gfx",
                    std::string("drawing stopped early: ") + cairo_status_to_string(cairo_status(impl_->cr)));
    }
    cairo_surface_flush(impl_->surface);
    const int w = impl_->pixelWidth, h = impl_->pixelHeight;
    const unsigned char* data = cairo_image_surface_get_data(impl_->surface);
    const int stride = cairo_image_surface_get_stride(impl_->surface);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(w) * h);
    for (int y = 0; y < h; ++y) {
        std::memcpy(pixels.data() + static_cast<std::size_t>(y) * w,
                    data + static_cast<std::size_t>(y) * stride, static_cast<std::size_t>(w) * 4);
    }
    if (impl_->opaque) {
        for (std::uint32_t& p : pixels) {
            p |= 0xFF000000u;
        }
    }
    return Image::withPixels(w, h, std::move(pixels), impl_->scale);
}

Image ImageContext::takeImage() {
    if (!isValid()) {
        return {};
    }
    if (cairo_status(impl_->cr) != CAIRO_STATUS_SUCCESS) {
        platformLog("gfx",
                    std::string("drawing stopped early: ") + cairo_status_to_string(cairo_status(impl_->cr)));
    }
    cairo_surface_flush(impl_->surface);
    cairo_destroy(impl_->cr);
    cairo_surface_destroy(impl_->surface);
    impl_->cr = nullptr;
    impl_->surface = nullptr;
    std::vector<std::uint32_t> pixels = std::move(impl_->buffer);
    if (impl_->opaque) {
        for (std::uint32_t& p : pixels) {
            p |= 0xFF000000u;
        }
    }
    return Image::withPixels(impl_->pixelWidth, impl_->pixelHeight, std::move(pixels), impl_->scale);
}

std::uint32_t ImageContext::pixelAt(int x, int y) const {
    if (!isValid() || x < 0 || y < 0 || x >= impl_->pixelWidth || y >= impl_->pixelHeight) {
        return 0;
    }
    cairo_surface_flush(impl_->surface);
    const unsigned char* data = cairo_image_surface_get_data(impl_->surface);
    const int stride = cairo_image_surface_get_stride(impl_->surface);
    std::uint32_t p;
    std::memcpy(&p, data + static_cast<std::size_t>(y) * stride + static_cast<std::size_t>(x) * 4, 4);
    return impl_->opaque ? (p | 0xFF000000u) : p;
}

const std::uint32_t* ImageContext::pixelData() const {
    if (!isValid()) {
        return nullptr;
    }
    cairo_surface_flush(impl_->surface);
    return reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(impl_->surface));
}

std::size_t ImageContext::stride() const {
    return isValid() ? static_cast<std::size_t>(cairo_image_surface_get_stride(impl_->surface)) : 0;
}

namespace {

struct StackEntry {
    ImageContext* context;
    std::unique_ptr<ImageContext> owned;
};

std::vector<StackEntry>& contextStack() {
    thread_local std::vector<StackEntry> stack;
    return stack;
}

void popTop(const char* what) {
    auto& stack = contextStack();
    if (stack.empty()) {
        platformLog("gfx", std::string(what) + " with no current context ignored");
        return;
    }
    stack.pop_back();
}

}  // namespace

void beginImageContextWithOptions(Size size, bool opaque, double scale) {
    auto owned = std::make_unique<ImageContext>(size, opaque, scale);
    ImageContext* raw = owned.get();
    contextStack().push_back({raw, std::move(owned)});
}

ImageContext* currentContext() {
    auto& stack = contextStack();
    return stack.empty() ? nullptr : stack.back().context;
}

Image imageFromCurrentImageContext() {
    ImageContext* c = currentContext();
    return c ? c->imageFromCurrentContext() : Image{};
}

void endImageContext() {
    popTop("endImageContext");
}

void pushContext(ImageContext& context) {
    contextStack().push_back({&context, nullptr});
}

void popContext() {
    popTop("popContext");
}

}  // namespace bdx::gfx
