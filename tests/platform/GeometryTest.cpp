#include "platform/gfx/Geometry.h"

#include <gtest/gtest.h>

#include <limits>
#include <numbers>
#include <string>
#include <utility>

#include "tests/platform/PixelTestSupport.h"

namespace bdx::gfx {
namespace {

using test::expectNear;

constexpr double kPi = std::numbers::pi;

TEST(RectGeometry, EdgesOfNegativeSizesReadStandardised) {
    const Rect r{10, 20, -4, -6};
    EXPECT_EQ(r.minX(), 6);
    EXPECT_EQ(r.maxX(), 10);
    EXPECT_EQ(r.minY(), 14);
    EXPECT_EQ(r.maxY(), 20);
    EXPECT_EQ(r.midX(), 8);
    EXPECT_EQ(r.width(), 4);
    EXPECT_EQ(r.standardized(), (Rect{6, 14, 4, 6}));
}

TEST(RectGeometry, IntersectionUnionAndTheNullRectangle) {
    const Rect a{0, 0, 10, 10};
    EXPECT_EQ(a.intersection({5, 5, 10, 10}), (Rect{5, 5, 5, 5}));
    EXPECT_TRUE(a.intersects({5, 5, 10, 10}));
    // Only touching along an edge is no intersection.
    EXPECT_TRUE(a.intersection({10, 0, 5, 5}).isNull());
    EXPECT_FALSE(a.intersects({10, 0, 5, 5}));
    EXPECT_TRUE(a.intersection({20, 20, 1, 1}).isNull());
    EXPECT_TRUE(Rect::null().isEmpty());
    EXPECT_TRUE(Rect::null().intersection(a).isNull());
    // A null operand adds nothing to a union.
    EXPECT_EQ(Rect::null().unionWith(a), a);
    EXPECT_EQ(a.unionWith({20, -5, 2, 2}), (Rect{0, -5, 22, 15}));
    EXPECT_TRUE(Rect::zero().isEmpty());
    EXPECT_FALSE(Rect::zero().isNull());
    EXPECT_TRUE(Rect::infinite().contains(Rect{-1e300, 1e300, 1, 1}));
}

TEST(RectGeometry, InsetIntegralAndContainment) {
    const Rect a{0, 0, 10, 10};
    EXPECT_EQ(a.insetBy(2, 3), (Rect{2, 3, 6, 4}));
    EXPECT_EQ(a.insetBy(-1, -1), (Rect{-1, -1, 12, 12}));
    EXPECT_TRUE(a.insetBy(6, 0).isNull());
    EXPECT_EQ((Rect{0.5, 1.2, 2.0, 2.9}).integral(), (Rect{0, 1, 3, 4}));
    // Containment is half-open: the max edges are outside.
    EXPECT_TRUE(a.contains(Point{0, 0}));
    EXPECT_TRUE(a.contains(Point{9.999, 5}));
    EXPECT_FALSE(a.contains(Point{10, 5}));
    EXPECT_TRUE(a.contains(Rect{0, 0, 10, 10}));
    EXPECT_FALSE(a.contains(Rect{1, 1, 10, 1}));
}

TEST(AffineTransformGeometry, ConcatAppliesTheReceiverFirst) {
    const auto t = AffineTransform::makeTranslation(10, 0);
    const auto s = AffineTransform::makeScale(2, 3);
    // Translate, then scale.
    expectNear(t.concat(s).apply(Point{1, 1}), {22, 3});
    // Scale, then translate.
    expectNear(s.concat(t).apply(Point{1, 1}), {12, 3});
    // The helpers prepend their operation: translatedBy on a scale translates first.
    expectNear(s.translatedBy(10, 0).apply(Point{1, 1}), {22, 3});
    expectNear(AffineTransform::identity().rotatedBy(kPi / 2).apply(Point{1, 0}), {0, 1});
}

TEST(AffineTransformGeometry, InverseUndoesAndSingularStaysPut) {
    const auto t =
        AffineTransform::makeRotation(0.7).concat(AffineTransform::makeScale(2, -3)).translatedBy(5, 7);
    const Point p{3.25, -8.5};
    expectNear(t.inverted().apply(t.apply(p)), p);
    const AffineTransform singular{1, 2, 2, 4, 1, 1};
    EXPECT_FALSE(singular.isInvertible());
    EXPECT_EQ(singular.inverted(), singular);
}

TEST(AffineTransformGeometry, RectsAndSizesMapAsBoundingBoxesAndVectors) {
    const auto rot = AffineTransform::makeRotation(kPi / 4);
    const double h = std::sqrt(2.0) / 2;
    expectNear(rot.apply(Rect{0, 0, 2, 2}), (Rect{-2 * h, 0, 4 * h, 4 * h}));
    const auto move = AffineTransform::makeTranslation(100, 100).concat(AffineTransform::makeScale(2, 2));
    EXPECT_EQ(move.apply(Size{3, 4}), (Size{6, 8}));
    EXPECT_TRUE(move.apply(Rect::null()).isNull());
}

// The platform's text forms, each number printed as "%.17g" prints it: whole numbers without a
// point, every digit a double needs, exponents past 17 digits.
TEST(GeometryText, PointsSizesRectanglesAndTransforms) {
    EXPECT_EQ(NSStringFromCGRect({0, 0, 390, 844}), "{{0, 0}, {390, 844}}");
    EXPECT_EQ(NSStringFromCGRect({-3, 0.5, 12.25, -0.75}), "{{-3, 0.5}, {12.25, -0.75}}");
    EXPECT_EQ(NSStringFromCGPoint({0, 0}), "{0, 0}");
    EXPECT_EQ(NSStringFromCGSize({390, 844}), "{390, 844}");
    EXPECT_EQ(NSStringFromCGAffineTransform({}), "[1, 0, 0, 1, 0, 0]");
    EXPECT_EQ(NSStringFromCGAffineTransform({0.5, -2, 2, 0.5, -10, 7.5}), "[0.5, -2, 2, 0.5, -10, 7.5]");

    const std::pair<double, const char*> numbers[] = {
        {-3, "-3"},
        {0.1, "0.10000000000000001"},
        {2.0 / 3, "0.66666666666666663"},
        {-95.999999999999986, "-95.999999999999986"},
        {1e20, "1e+20"},
        {1.5e-7, "1.4999999999999999e-07"},
        {1e16, "10000000000000000"},
        {-0.0, "-0"},
        {std::numeric_limits<double>::infinity(), "inf"},
    };
    for (const auto& [value, text] : numbers) {
        EXPECT_EQ(NSStringFromCGPoint({value, 1}), std::string("{") + text + ", 1}");
    }
    EXPECT_EQ(NSStringFromCGAffineTransform(AffineTransform::makeRotation(kPi / 2)),
              "[6.123233995736766e-17, 1, -1, 6.123233995736766e-17, 0, 0]");
    // The null rectangle prints its infinite origin.
    EXPECT_EQ(NSStringFromCGRect(Rect::null()), "{{inf, inf}, {0, 0}}");
}

}  // namespace
}  // namespace bdx::gfx
