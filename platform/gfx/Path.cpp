#include "platform/gfx/Path.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include "platform/PlatformLog.h"

namespace bdx::gfx {

namespace {

constexpr double kTwoPi = 2 * std::numbers::pi;
// Control-point distance of a cubic quarter circle of radius 1.
constexpr double kKappa = 0.5522847498307936;

Point lerp(Point a, Point b, double t) {
    return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}

Point cubicAt(Point p0, Point p1, Point p2, Point p3, double t) {
    const double u = 1 - t;
    const double b0 = u * u * u, b1 = 3 * u * u * t, b2 = 3 * u * t * t, b3 = t * t * t;
    return {b0 * p0.x + b1 * p1.x + b2 * p2.x + b3 * p3.x, b0 * p0.y + b1 * p1.y + b2 * p2.y + b3 * p3.y};
}

// Roots in (0, 1) of the derivative of a one-dimensional cubic with control values a, b, c, d.
int cubicExtrema(double a, double b, double c, double d, double out[2]) {
    // Derivative / 3: A t^2 + B t + C.
    const double A = -a + 3 * b - 3 * c + d;
    const double B = 2 * (a - 2 * b + c);
    const double C = b - a;
    int n = 0;
    auto keep = [&](double t) {
        if (t > 0 && t < 1) {
            out[n++] = t;
        }
    };
    if (std::fabs(A) < 1e-12) {
        if (std::fabs(B) > 1e-12) {
            keep(-C / B);
        }
        return n;
    }
    const double disc = B * B - 4 * A * C;
    if (disc < 0) {
        return 0;
    }
    const double s = std::sqrt(disc);
    keep((-B + s) / (2 * A));
    keep((-B - s) / (2 * A));
    return n;
}

struct BoxBuilder {
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    bool any = false;
    void add(Point p) {
        if (!any) {
            x0 = x1 = p.x;
            y0 = y1 = p.y;
            any = true;
            return;
        }
        x0 = std::min(x0, p.x);
        x1 = std::max(x1, p.x);
        y0 = std::min(y0, p.y);
        y1 = std::max(y1, p.y);
    }
    Rect rect() const { return any ? Rect{x0, y0, x1 - x0, y1 - y0} : Rect::null(); }
};

// Quad (p0, c, p1) as the cubic's two control points.
void quadToCubic(Point p0, Point c, Point p1, Point& c1, Point& c2) {
    c1 = lerp(p0, c, 2.0 / 3.0);
    c2 = lerp(p1, c, 2.0 / 3.0);
}

// A curve element as the cubic it draws from the current point: quadratic curves are raised to
// cubics so that bounds and flattening have one kind of curve to handle.
void cubicSegment(const Path::Element& e, Point current, Point& c1, Point& c2, Point& end) {
    if (e.type == Path::ElementType::AddQuadCurveToPoint) {
        end = e.points[1];
        quadToCubic(current, e.points[0], end, c1, c2);
    } else {
        c1 = e.points[0];
        c2 = e.points[1];
        end = e.points[2];
    }
}

}  // namespace

std::size_t Path::Element::pointCount() const {
    switch (type) {
        case ElementType::MoveToPoint:
        case ElementType::AddLineToPoint:
            return 1;
        case ElementType::AddQuadCurveToPoint:
            return 2;
        case ElementType::AddCurveToPoint:
            return 3;
        case ElementType::CloseSubpath:
            return 0;
    }
    return 0;
}

Path Path::withRect(const Rect& rect) {
    Path p;
    p.addRect(rect);
    return p;
}

Path Path::withOvalInRect(const Rect& rect) {
    Path p;
    p.addEllipseInRect(rect);
    return p;
}

Path Path::withRoundedRect(const Rect& rect, double cornerRadius) {
    Path p;
    p.addRoundedRect(rect, cornerRadius);
    return p;
}

Path Path::withArc(Point center, double radius, double startAngle, double endAngle, bool clockwise) {
    Path p;
    p.addArc(center, radius, startAngle, endAngle, clockwise);
    return p;
}

void Path::moveTo(Point p) {
    elements_.push_back({ElementType::MoveToPoint, {p}});
    current_ = subpathStart_ = p;
    hasCurrentPoint_ = true;
}

bool Path::requireCurrentPoint(const char* what) {
    if (hasCurrentPoint_) {
        return true;
    }
    platformLog("gfx", std::string(what) + ": no current point");
    return false;
}

void Path::lineTo(Point p) {
    if (!requireCurrentPoint("lineTo")) {
        return;
    }
    elements_.push_back({ElementType::AddLineToPoint, {p}});
    current_ = p;
}

void Path::quadCurveTo(Point end, Point control) {
    if (!requireCurrentPoint("quadCurveTo")) {
        return;
    }
    elements_.push_back({ElementType::AddQuadCurveToPoint, {control, end}});
    current_ = end;
}

void Path::curveTo(Point end, Point control1, Point control2) {
    if (!requireCurrentPoint("curveTo")) {
        return;
    }
    elements_.push_back({ElementType::AddCurveToPoint, {control1, control2, end}});
    current_ = end;
}

void Path::closePath() {
    if (!requireCurrentPoint("closePath")) {
        return;
    }
    elements_.push_back({ElementType::CloseSubpath, {}});
    current_ = subpathStart_;
}

void Path::addRect(const Rect& rect) {
    if (rect.isNull()) {
        return;
    }
    const Rect r = rect.standardized();
    moveTo({r.minX(), r.minY()});
    lineTo({r.maxX(), r.minY()});
    lineTo({r.maxX(), r.maxY()});
    lineTo({r.minX(), r.maxY()});
    closePath();
}

void Path::addEllipseInRect(const Rect& rect) {
    if (rect.isNull()) {
        return;
    }
    const Rect r = rect.standardized();
    const double cx = r.midX(), cy = r.midY();
    const double rx = r.width() / 2, ry = r.height() / 2;
    const double kx = rx * kKappa, ky = ry * kKappa;
    moveTo({cx + rx, cy});
    curveTo({cx, cy + ry}, {cx + rx, cy + ky}, {cx + kx, cy + ry});
    curveTo({cx - rx, cy}, {cx - kx, cy + ry}, {cx - rx, cy + ky});
    curveTo({cx, cy - ry}, {cx - rx, cy - ky}, {cx - kx, cy - ry});
    curveTo({cx + rx, cy}, {cx + kx, cy - ry}, {cx + rx, cy - ky});
    closePath();
}

void Path::addRoundedRect(const Rect& rect, double cornerRadius) {
    if (rect.isNull()) {
        return;
    }
    const Rect r = rect.standardized();
    const double rad = std::clamp(cornerRadius, 0.0, std::min(r.width(), r.height()) / 2);
    if (rad <= 0) {
        addRect(r);
        return;
    }
    const double k = rad * kKappa;
    const double x0 = r.minX(), x1 = r.maxX(), y0 = r.minY(), y1 = r.maxY();
    moveTo({x0 + rad, y0});
    lineTo({x1 - rad, y0});
    curveTo({x1, y0 + rad}, {x1 - rad + k, y0}, {x1, y0 + rad - k});
    lineTo({x1, y1 - rad});
    curveTo({x1 - rad, y1}, {x1, y1 - rad + k}, {x1 - rad + k, y1});
    lineTo({x0 + rad, y1});
    curveTo({x0, y1 - rad}, {x0 + rad - k, y1}, {x0, y1 - rad + k});
    lineTo({x0, y0 + rad});
    curveTo({x0 + rad, y0}, {x0, y0 + rad - k}, {x0 + rad - k, y0});
    closePath();
}

void Path::addArc(Point center, double radius, double startAngle, double endAngle, bool clockwise) {
    if (!std::isfinite(startAngle) || !std::isfinite(endAngle) || !std::isfinite(radius)) {
        platformLog("gfx", "addArc: angles and radius must be finite");
        return;
    }
    radius = std::fabs(radius);
    double sweep = endAngle - startAngle;
    // Increasing angles turn clockwise on a y-down screen; the sweep is brought into one turn in
    // the asked direction.
    if (clockwise) {
        if (sweep < 0) {
            sweep = std::fmod(sweep, kTwoPi) + kTwoPi;
        }
        sweep = std::min(sweep, kTwoPi);
    } else {
        if (sweep > 0) {
            sweep = std::fmod(sweep, kTwoPi) - kTwoPi;
        }
        sweep = std::max(sweep, -kTwoPi);
    }
    const Point start{center.x + radius * std::cos(startAngle), center.y + radius * std::sin(startAngle)};
    if (hasCurrentPoint_) {
        lineTo(start);
    } else {
        moveTo(start);
    }
    const int pieces =
        std::max(1, static_cast<int>(std::ceil(std::fabs(sweep) / (std::numbers::pi / 2) - 1e-9)));
    const double step = sweep / pieces;
    const double h = 4.0 / 3.0 * std::tan(step / 4);
    double a = startAngle;
    for (int i = 0; i < pieces; ++i) {
        const double b = a + step;
        const double ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b);
        const Point p1{center.x + radius * (ca - h * sa), center.y + radius * (sa + h * ca)};
        const Point p2{center.x + radius * (cb + h * sb), center.y + radius * (sb - h * cb)};
        const Point p3{center.x + radius * cb, center.y + radius * sb};
        curveTo(p3, p1, p2);
        a = b;
    }
}

void Path::addLines(const std::vector<Point>& points) {
    if (points.empty()) {
        return;
    }
    moveTo(points.front());
    for (std::size_t i = 1; i < points.size(); ++i) {
        lineTo(points[i]);
    }
}

void Path::appendPath(const Path& other) {
    elements_.insert(elements_.end(), other.elements_.begin(), other.elements_.end());
    if (other.hasCurrentPoint_) {
        current_ = other.current_;
        subpathStart_ = other.subpathStart_;
        hasCurrentPoint_ = true;
    }
}

void Path::removeAllPoints() {
    elements_.clear();
    current_ = subpathStart_ = Point{};
    hasCurrentPoint_ = false;
}

void Path::applyTransform(const AffineTransform& t) {
    for (Element& e : elements_) {
        for (std::size_t i = 0; i < e.pointCount(); ++i) {
            e.points[i] = t.apply(e.points[i]);
        }
    }
    current_ = t.apply(current_);
    subpathStart_ = t.apply(subpathStart_);
}

Path Path::transformed(const AffineTransform& t) const {
    Path copy = *this;
    copy.applyTransform(t);
    return copy;
}

void Path::forEachElement(const std::function<void(const Element&)>& fn) const {
    for (const Element& e : elements_) {
        fn(e);
    }
}

Point Path::currentPoint() const {
    return hasCurrentPoint_ ? current_ : Point{};
}

Rect Path::bounds() const {
    BoxBuilder box;
    for (const Element& e : elements_) {
        for (std::size_t i = 0; i < e.pointCount(); ++i) {
            box.add(e.points[i]);
        }
    }
    return box.rect();
}

Rect Path::pathBounds() const {
    BoxBuilder box;
    Point cur{}, start{};
    for (const Element& e : elements_) {
        switch (e.type) {
            case ElementType::MoveToPoint:
                cur = start = e.points[0];
                box.add(cur);
                break;
            case ElementType::AddLineToPoint:
                cur = e.points[0];
                box.add(cur);
                break;
            case ElementType::AddQuadCurveToPoint:
            case ElementType::AddCurveToPoint: {
                Point c1, c2, end;
                cubicSegment(e, cur, c1, c2, end);
                double ts[4];
                int n = cubicExtrema(cur.x, c1.x, c2.x, end.x, ts);
                n += cubicExtrema(cur.y, c1.y, c2.y, end.y, ts + n);
                for (int i = 0; i < n; ++i) {
                    box.add(cubicAt(cur, c1, c2, end, ts[i]));
                }
                box.add(end);
                cur = end;
                break;
            }
            case ElementType::CloseSubpath:
                cur = start;
                break;
        }
    }
    return box.rect();
}

std::vector<Path::Polyline> Path::flattened(double tolerance) const {
    tolerance = std::max(tolerance, 1e-6);
    std::vector<Polyline> out;
    Point cur{}, start{};
    auto open = [&]() -> Polyline& {
        if (out.empty() || out.back().closed) {
            out.push_back({{cur}, false});
        }
        return out.back();
    };
    for (const Element& e : elements_) {
        switch (e.type) {
            case ElementType::MoveToPoint:
                cur = start = e.points[0];
                out.push_back({{cur}, false});
                break;
            case ElementType::AddLineToPoint:
                open().points.push_back(e.points[0]);
                cur = e.points[0];
                break;
            case ElementType::AddQuadCurveToPoint:
            case ElementType::AddCurveToPoint: {
                Point c1, c2, end;
                cubicSegment(e, cur, c1, c2, end);
                // The flattening error of n chords is at most 6 * M / (8 n^2), with M the larger
                // second difference of the control polygon.
                const double m1 = std::hypot(cur.x - 2 * c1.x + c2.x, cur.y - 2 * c1.y + c2.y);
                const double m2 = std::hypot(c1.x - 2 * c2.x + end.x, c1.y - 2 * c2.y + end.y);
                const double m = std::max(m1, m2);
                const int n =
                    std::clamp(static_cast<int>(std::ceil(std::sqrt(0.75 * m / tolerance))), 1, 1024);
                Polyline& line = open();
                const Point from = cur;
                for (int i = 1; i <= n; ++i) {
                    line.points.push_back(i == n ? end
                                                 : cubicAt(from, c1, c2, end, static_cast<double>(i) / n));
                }
                cur = end;
                break;
            }
            case ElementType::CloseSubpath:
                if (!out.empty() && !out.back().closed) {
                    out.back().closed = true;
                }
                cur = start;
                break;
        }
    }
    return out;
}

bool Path::containsPoint(Point p) const {
    return containsPoint(p, fillRule());
}

bool Path::containsPoint(Point p, FillRule rule) const {
    int winding = 0;
    int crossings = 0;
    for (const Polyline& line : flattened(0.05)) {
        const std::size_t n = line.points.size();
        if (n < 2) {
            continue;
        }
        // Every subpath is closed for filling.
        for (std::size_t i = 0; i < n; ++i) {
            const Point a = line.points[i];
            const Point b = line.points[(i + 1) % n];
            if ((a.y <= p.y) != (b.y <= p.y)) {
                const double x = a.x + (p.y - a.y) / (b.y - a.y) * (b.x - a.x);
                if (x > p.x) {
                    winding += b.y > a.y ? 1 : -1;
                    ++crossings;
                }
            }
        }
    }
    return rule == FillRule::EvenOdd ? (crossings % 2) != 0 : winding != 0;
}

void Path::setLineDash(const std::vector<double>& lengths, double phase) {
    dash_ = lengths;
    dashPhase_ = phase;
}

}  // namespace bdx::gfx
