#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <vector>

#include "platform/gfx/Geometry.h"

namespace bdx::gfx {

enum class LineCap { Butt = 0, Round = 1, Square = 2 };
enum class LineJoin { Miter = 0, Round = 1, Bevel = 2 };
enum class FillRule { NonZero = 0, EvenOdd = 1 };

// A vector path with the drawing properties a bezier path object carries (line width, cap, join,
// miter limit, dash, fill rule). A plain value: copying it copies the elements.
class Path {
  public:
    enum class ElementType {
        MoveToPoint = 0,
        AddLineToPoint = 1,
        AddQuadCurveToPoint = 2,
        AddCurveToPoint = 3,
        CloseSubpath = 4
    };
    // points[0..n): the end point last; a quad curve has (control, end), a cubic
    // (control1, control2, end), close has none.
    struct Element {
        ElementType type = ElementType::MoveToPoint;
        std::array<Point, 3> points{};
        std::size_t pointCount() const;
        friend bool operator==(const Element&, const Element&) = default;
    };

    Path() = default;

    static Path withRect(const Rect& rect);
    static Path withOvalInRect(const Rect& rect);
    static Path withRoundedRect(const Rect& rect, double cornerRadius);
    static Path withArc(Point center, double radius, double startAngle, double endAngle, bool clockwise);

    // Building. A line, curve or close with no current point is ignored and logged, as the platform
    // does.
    void moveTo(Point p);
    void lineTo(Point p);
    void quadCurveTo(Point end, Point control);
    void curveTo(Point end, Point control1, Point control2);
    void closePath();
    // Closed rectangle subpath: move to origin, then clockwise on screen (y-down).
    void addRect(const Rect& rect);
    // Closed ellipse subpath made of four cubic curves, starting at the right-most point and
    // running clockwise on screen.
    void addEllipseInRect(const Rect& rect);
    void addRoundedRect(const Rect& rect, double cornerRadius);
    // Angles in radians from +x; `clockwise` as seen on a y-down screen (increasing angle). Joins
    // the current point with a line when there is one, else starts a subpath at the arc's start.
    void addArc(Point center, double radius, double startAngle, double endAngle, bool clockwise);
    void addLines(const std::vector<Point>& points);
    void appendPath(const Path& other);
    void removeAllPoints();
    void applyTransform(const AffineTransform& t);
    Path transformed(const AffineTransform& t) const;

    // Reading.
    bool isEmpty() const { return elements_.empty(); }
    const std::vector<Element>& elements() const { return elements_; }
    void forEachElement(const std::function<void(const Element&)>& fn) const;
    // Point::zero() when there is no current point.
    Point currentPoint() const;
    bool hasCurrentPoint() const { return hasCurrentPoint_; }
    // Box of every point including curve control points (the path object's `bounds`).
    Rect bounds() const;
    // Tight box of the curves themselves, without control points.
    Rect pathBounds() const;
    // Whether the point is inside the filled area under the path's own fill rule; open subpaths
    // are closed implicitly as filling does.
    bool containsPoint(Point p) const;
    bool containsPoint(Point p, FillRule rule) const;
    // The path as polylines, one per subpath, curves flattened to within `tolerance`.
    struct Polyline {
        std::vector<Point> points;
        bool closed = false;
    };
    std::vector<Polyline> flattened(double tolerance = 0.1) const;

    // Drawing properties, used when the path is stroked or filled through ImageContext::stroke/fill.
    double lineWidth() const { return lineWidth_; }
    void setLineWidth(double w) { lineWidth_ = w; }
    LineCap lineCapStyle() const { return lineCap_; }
    void setLineCapStyle(LineCap cap) { lineCap_ = cap; }
    LineJoin lineJoinStyle() const { return lineJoin_; }
    void setLineJoinStyle(LineJoin join) { lineJoin_ = join; }
    double miterLimit() const { return miterLimit_; }
    void setMiterLimit(double limit) { miterLimit_ = limit; }
    bool usesEvenOddFillRule() const { return evenOdd_; }
    void setUsesEvenOddFillRule(bool evenOdd) { evenOdd_ = evenOdd; }
    FillRule fillRule() const { return evenOdd_ ? FillRule::EvenOdd : FillRule::NonZero; }
    // Dash lengths in points; empty means solid.
    void setLineDash(const std::vector<double>& lengths, double phase);
    const std::vector<double>& lineDash() const { return dash_; }
    double lineDashPhase() const { return dashPhase_; }

    // Same elements (drawing properties are not compared).
    bool hasSameElements(const Path& other) const { return elements_ == other.elements_; }

  private:
    bool requireCurrentPoint(const char* what);

    std::vector<Element> elements_;
    Point current_{};
    Point subpathStart_{};
    bool hasCurrentPoint_ = false;
    double lineWidth_ = 1.0;
    LineCap lineCap_ = LineCap::Butt;
    LineJoin lineJoin_ = LineJoin::Miter;
    double miterLimit_ = 10.0;
    bool evenOdd_ = false;
    std::vector<double> dash_;
    double dashPhase_ = 0;
};

}  // namespace bdx::gfx
