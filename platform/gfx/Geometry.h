// Public header: installed with the library for hosts to include.
#pragma once

#include <cmath>
#include <limits>
#include <string>

namespace bdx::gfx {

// Points, sizes and rectangles in a y-down space, in doubles, with the arithmetic of the platform's
// geometry functions so that code written against it ports line for line.

struct Point {
    double x = 0;
    double y = 0;

    constexpr Point() = default;
    constexpr Point(double x_, double y_) : x(x_), y(y_) {}
    static constexpr Point zero() { return {}; }
    friend constexpr bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;

    constexpr Size() = default;
    constexpr Size(double w, double h) : width(w), height(h) {}
    static constexpr Size zero() { return {}; }
    friend constexpr bool operator==(const Size&, const Size&) = default;
};

struct Rect {
    Point origin;
    Size size;

    constexpr Rect() = default;
    constexpr Rect(Point o, Size s) : origin(o), size(s) {}
    constexpr Rect(double x, double y, double w, double h) : origin(x, y), size(w, h) {}
    static constexpr Rect zero() { return {}; }
    // The rectangle that stands for "no rectangle" (an empty intersection): origin at infinity.
    static constexpr Rect null() {
        constexpr double inf = std::numeric_limits<double>::infinity();
        return {inf, inf, 0, 0};
    }
    // Every point in the plane.
    static Rect infinite();

    // Edges of the rectangle with a negative width or height read as they would once standardised.
    double minX() const { return size.width < 0 ? origin.x + size.width : origin.x; }
    double maxX() const { return size.width < 0 ? origin.x : origin.x + size.width; }
    double midX() const { return origin.x + size.width * 0.5; }
    double minY() const { return size.height < 0 ? origin.y + size.height : origin.y; }
    double maxY() const { return size.height < 0 ? origin.y : origin.y + size.height; }
    double midY() const { return origin.y + size.height * 0.5; }
    double width() const { return std::fabs(size.width); }
    double height() const { return std::fabs(size.height); }
    Point center() const { return {midX(), midY()}; }

    bool isNull() const {
        return std::isinf(origin.x) && origin.x > 0 && std::isinf(origin.y) && origin.y > 0;
    }
    // Null, or no area.
    bool isEmpty() const { return isNull() || size.width == 0 || size.height == 0; }
    bool isInfinite() const;

    // Same rectangle with a non-negative width and height.
    Rect standardized() const;
    // Common part; Rect::null() when the two do not overlap.
    Rect intersection(const Rect& other) const;
    // Smallest rectangle holding both; a null operand is ignored.
    Rect unionWith(const Rect& other) const;
    // Moves each edge inwards by dx, dy (outwards when negative); null when nothing is left.
    Rect insetBy(double dx, double dy) const;
    Rect offsetBy(double dx, double dy) const;
    // Smallest rectangle with whole-number edges holding this one.
    Rect integral() const;
    // Half-open on the max edges, as the platform tests containment.
    bool contains(Point p) const;
    bool contains(const Rect& other) const;
    bool intersects(const Rect& other) const;

    friend constexpr bool operator==(const Rect&, const Rect&) = default;
};

// x' = a*x + c*y + tx, y' = b*x + d*y + ty (row-vector convention of the platform).
struct AffineTransform {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;

    constexpr AffineTransform() = default;
    constexpr AffineTransform(double a_, double b_, double c_, double d_, double tx_, double ty_)
        : a(a_), b(b_), c(c_), d(d_), tx(tx_), ty(ty_) {}

    static constexpr AffineTransform identity() { return {}; }
    static constexpr AffineTransform makeTranslation(double tx, double ty) { return {1, 0, 0, 1, tx, ty}; }
    static constexpr AffineTransform makeScale(double sx, double sy) { return {sx, 0, 0, sy, 0, 0}; }
    // Angle in radians; positive turns +x towards +y (clockwise on a y-down screen).
    static AffineTransform makeRotation(double angle);

    // The transform that applies this one first and then `then`.
    AffineTransform concat(const AffineTransform& then) const;
    // A translation / scale / rotation applied before this transform (the platform's
    // Translate/Scale/Rotate helpers, which prepend).
    AffineTransform translatedBy(double tx, double ty) const;
    AffineTransform scaledBy(double sx, double sy) const;
    AffineTransform rotatedBy(double angle) const;
    // Inverse; the transform itself when it cannot be inverted.
    AffineTransform inverted() const;
    bool isInvertible() const { return a * d - b * c != 0; }
    bool isIdentity() const { return *this == AffineTransform{}; }

    Point apply(Point p) const { return {a * p.x + c * p.y + tx, b * p.x + d * p.y + ty}; }
    // A size is a vector: no translation.
    Size apply(Size s) const { return {a * s.width + c * s.height, b * s.width + d * s.height}; }
    // The bounding box of the transformed corners; a null rectangle stays null.
    Rect apply(const Rect& r) const;

    friend constexpr bool operator==(const AffineTransform&, const AffineTransform&) = default;
};

// The platform's text forms: "{x, y}", "{w, h}", "{{x, y}, {w, h}}" and "[a, b, c, d, tx, ty]".
// Each number is printed as "%.17g" prints a double, which is what the platform does: whole numbers
// without a point (390, -3), every digit the double holds otherwise (0.5, 0.10000000000000001),
// exponent form past 17 digits or below 1e-4 (1e+20, 1.4999999999999999e-07), and "-0", "inf",
// "nan" as the C library writes them. The decimal point is always ".", whatever the locale.
std::string NSStringFromCGPoint(Point point);
std::string NSStringFromCGSize(Size size);
std::string NSStringFromCGRect(const Rect& rect);
std::string NSStringFromCGAffineTransform(const AffineTransform& transform);

}  // namespace bdx::gfx
