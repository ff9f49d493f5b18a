#include "platform/gfx/Geometry.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace bdx::gfx {

namespace {
// The platform's infinite rectangle: a very large finite box centred on the origin, so that its
// edges still add and subtract.
constexpr double kInfiniteHalf = 8.98846567431158e307;
}  // namespace

Rect Rect::infinite() {
    return {-kInfiniteHalf, -kInfiniteHalf, 2 * kInfiniteHalf, 2 * kInfiniteHalf};
}

bool Rect::isInfinite() const {
    return *this == infinite();
}

Rect Rect::standardized() const {
    if (isNull()) {
        return *this;
    }
    return {minX(), minY(), width(), height()};
}

Rect Rect::intersection(const Rect& other) const {
    if (isNull() || other.isNull()) {
        return null();
    }
    const double x0 = std::max(minX(), other.minX());
    const double y0 = std::max(minY(), other.minY());
    const double x1 = std::min(maxX(), other.maxX());
    const double y1 = std::min(maxY(), other.maxY());
    // Rectangles that only touch along an edge do not intersect.
    if (x1 <= x0 || y1 <= y0) {
        return null();
    }
    return {x0, y0, x1 - x0, y1 - y0};
}

Rect Rect::unionWith(const Rect& other) const {
    if (isNull()) {
        return other.standardized();
    }
    if (other.isNull()) {
        return standardized();
    }
    const double x0 = std::min(minX(), other.minX());
    const double y0 = std::min(minY(), other.minY());
    const double x1 = std::max(maxX(), other.maxX());
    const double y1 = std::max(maxY(), other.maxY());
    return {x0, y0, x1 - x0, y1 - y0};
}

Rect Rect::insetBy(double dx, double dy) const {
    if (isNull()) {
        return *this;
    }
    Rect r = standardized();
    r.origin.x += dx;
    r.origin.y += dy;
    r.size.width -= 2 * dx;
    r.size.height -= 2 * dy;
    if (r.size.width < 0 || r.size.height < 0) {
        return null();
    }
    return r;
}

Rect Rect::offsetBy(double dx, double dy) const {
    if (isNull()) {
        return *this;
    }
    Rect r = standardized();
    r.origin.x += dx;
    r.origin.y += dy;
    return r;
}

Rect Rect::integral() const {
    if (isNull()) {
        return *this;
    }
    const double x0 = std::floor(minX());
    const double y0 = std::floor(minY());
    const double x1 = std::ceil(maxX());
    const double y1 = std::ceil(maxY());
    return {x0, y0, x1 - x0, y1 - y0};
}

bool Rect::contains(Point p) const {
    if (isNull()) {
        return false;
    }
    return p.x >= minX() && p.x < maxX() && p.y >= minY() && p.y < maxY();
}

bool Rect::contains(const Rect& other) const {
    if (isNull() || other.isNull()) {
        return false;
    }
    return other.minX() >= minX() && other.maxX() <= maxX() && other.minY() >= minY() &&
           other.maxY() <= maxY();
}

bool Rect::intersects(const Rect& other) const {
    const Rect r = intersection(other);
    return !r.isNull();
}

AffineTransform AffineTransform::makeRotation(double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {c, s, -s, c, 0, 0};
}

AffineTransform AffineTransform::concat(const AffineTransform& t2) const {
    const AffineTransform& t1 = *this;
    return {t1.a * t2.a + t1.b * t2.c,           t1.a * t2.b + t1.b * t2.d,
            t1.c * t2.a + t1.d * t2.c,           t1.c * t2.b + t1.d * t2.d,
            t1.tx * t2.a + t1.ty * t2.c + t2.tx, t1.tx * t2.b + t1.ty * t2.d + t2.ty};
}

AffineTransform AffineTransform::translatedBy(double tx_, double ty_) const {
    return makeTranslation(tx_, ty_).concat(*this);
}

AffineTransform AffineTransform::scaledBy(double sx, double sy) const {
    return makeScale(sx, sy).concat(*this);
}

AffineTransform AffineTransform::rotatedBy(double angle) const {
    return makeRotation(angle).concat(*this);
}

AffineTransform AffineTransform::inverted() const {
    const double det = a * d - b * c;
    if (det == 0 || !std::isfinite(det)) {
        return *this;
    }
    const double ia = d / det;
    const double ib = -b / det;
    const double ic = -c / det;
    const double id = a / det;
    return {ia, ib, ic, id, -(tx * ia + ty * ic), -(tx * ib + ty * id)};
}

Rect AffineTransform::apply(const Rect& r) const {
    if (r.isNull()) {
        return r;
    }
    const Point corners[4] = {apply(Point{r.minX(), r.minY()}), apply(Point{r.maxX(), r.minY()}),
                              apply(Point{r.minX(), r.maxY()}), apply(Point{r.maxX(), r.maxY()})};
    double x0 = corners[0].x, x1 = corners[0].x, y0 = corners[0].y, y1 = corners[0].y;
    for (const Point& p : corners) {
        x0 = std::min(x0, p.x);
        x1 = std::max(x1, p.x);
        y0 = std::min(y0, p.y);
        y1 = std::max(y1, p.y);
    }
    return {x0, y0, x1 - x0, y1 - y0};
}

namespace {

// One number as "%.17g" writes it, without the locale's say on the decimal point.
void appendNumber(std::string& text, double value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 17);
    text.append(buffer, result.ptr);
}

void appendPair(std::string& text, double first, double second) {
    text += '{';
    appendNumber(text, first);
    text += ", ";
    appendNumber(text, second);
    text += '}';
}

}  // namespace

std::string NSStringFromCGPoint(Point point) {
    std::string text;
    appendPair(text, point.x, point.y);
    return text;
}

std::string NSStringFromCGSize(Size size) {
    std::string text;
    appendPair(text, size.width, size.height);
    return text;
}

std::string NSStringFromCGRect(const Rect& rect) {
    std::string text = "{";
    appendPair(text, rect.origin.x, rect.origin.y);
    text += ", ";
    appendPair(text, rect.size.width, rect.size.height);
    text += '}';
    return text;
}

std::string NSStringFromCGAffineTransform(const AffineTransform& transform) {
    std::string text = "[";
    const double values[] = {transform.a, transform.b, transform.c, transform.d, transform.tx, transform.ty};
    for (std::size_t i = 0; i < std::size(values); ++i) {
        if (i > 0) {
            text += ", ";
        }
        appendNumber(text, values[i]);
    }
    text += ']';
    return text;
}

}  // namespace bdx::gfx
