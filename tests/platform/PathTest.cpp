#include "platform/gfx/Path.h"

#include <gtest/gtest.h>

#include <numbers>

#include "tests/platform/PixelTestSupport.h"

namespace bdx::gfx {
namespace {

using test::expectNear;

constexpr double kPi = std::numbers::pi;

TEST(PathBuilding, ElementsAndCurrentPoint) {
    Path p;
    EXPECT_TRUE(p.isEmpty());
    EXPECT_FALSE(p.hasCurrentPoint());
    // No current point yet: ignored, as the platform does.
    p.lineTo({5, 5});
    EXPECT_TRUE(p.isEmpty());
    p.moveTo({1, 2});
    p.lineTo({3, 4});
    p.quadCurveTo({7, 8}, {5, 6});
    EXPECT_EQ(p.currentPoint(), (Point{7, 8}));
    p.closePath();
    // Closing returns to the start of the subpath.
    EXPECT_EQ(p.currentPoint(), (Point{1, 2}));
    ASSERT_EQ(p.elements().size(), 4u);
    EXPECT_EQ(p.elements()[2].type, Path::ElementType::AddQuadCurveToPoint);
    EXPECT_EQ(p.elements()[2].points[0], (Point{5, 6}));
    EXPECT_EQ(p.elements()[2].points[1], (Point{7, 8}));
    EXPECT_EQ(p.elements()[3].pointCount(), 0u);
}

TEST(PathBuilding, RectAndEllipseShapes) {
    const Path rect = Path::withRect({1, 2, 3, 4});
    ASSERT_EQ(rect.elements().size(), 5u);
    EXPECT_EQ(rect.elements()[0].points[0], (Point{1, 2}));
    EXPECT_EQ(rect.elements()[1].points[0], (Point{4, 2}));
    EXPECT_EQ(rect.elements()[2].points[0], (Point{4, 6}));
    const Path oval = Path::withOvalInRect({0, 0, 20, 10});
    // The ellipse starts at its right-most point and its control points stay inside the rectangle.
    EXPECT_EQ(oval.elements()[0].points[0], (Point{20, 5}));
    expectNear(oval.bounds(), {0, 0, 20, 10});
    expectNear(oval.pathBounds(), {0, 0, 20, 10});
    EXPECT_TRUE(oval.containsPoint({10, 5}));
    EXPECT_FALSE(oval.containsPoint({1, 1}));
}

TEST(PathBuilding, ArcsTurnTheWayAsked) {
    // On a y-down screen, clockwise from angle 0 to a quarter turn passes below the centre.
    const Path cw = Path::withArc({0, 0}, 10, 0, kPi / 2, true);
    expectNear(cw.currentPoint(), {0, 10});
    expectNear(cw.pathBounds(), {0, 0, 10, 10}, 1e-3);
    // The other way round it sweeps three quarters, through the top and the left.
    const Path ccw = Path::withArc({0, 0}, 10, 0, kPi / 2, false);
    expectNear(ccw.pathBounds(), {-10, -10, 20, 20}, 1e-3);
    // A full circle, and never more than one.
    const Path full = Path::withArc({5, 5}, 5, 0, 6 * kPi, true);
    expectNear(full.pathBounds(), {0, 0, 10, 10}, 1e-3);
    EXPECT_LE(full.elements().size(), 5u);
    // With a current point the arc is joined by a line.
    Path joined;
    joined.moveTo({-20, 0});
    joined.addArc({0, 0}, 10, kPi, 2 * kPi, true);
    EXPECT_EQ(joined.elements()[1].type, Path::ElementType::AddLineToPoint);
}

TEST(PathMeasure, ControlBoxAndTightBoxDiffer) {
    Path curve;
    curve.moveTo({0, 0});
    curve.curveTo({10, 0}, {0, 10}, {10, 10});
    // The curve reaches y = 7.5 at its middle; its control points go to 10.
    expectNear(curve.bounds(), {0, 0, 10, 10});
    expectNear(curve.pathBounds(), {0, 0, 10, 7.5});
    EXPECT_TRUE(Path().bounds().isNull());
}

TEST(PathMeasure, ContainmentByFillRule) {
    Path nested;
    nested.addRect({0, 0, 10, 10});
    nested.addRect({3, 3, 4, 4});
    EXPECT_TRUE(nested.containsPoint({5, 5}, FillRule::NonZero));
    EXPECT_FALSE(nested.containsPoint({5, 5}, FillRule::EvenOdd));
    EXPECT_TRUE(nested.containsPoint({1, 1}, FillRule::EvenOdd));
    EXPECT_FALSE(nested.containsPoint({11, 5}));
    // An open polyline is tested as if closed.
    Path open;
    open.addLines({{0, 0}, {10, 0}, {0, 10}});
    EXPECT_TRUE(open.containsPoint({2, 2}));
    EXPECT_FALSE(open.containsPoint({8, 8}));
}

TEST(PathMeasure, TransformMovesEveryPointAndTheCurrentPoint) {
    Path p = Path::withOvalInRect({0, 0, 4, 2});
    p.moveTo({1, 1});
    const Path moved =
        p.transformed(AffineTransform::makeTranslation(10, 20).concat(AffineTransform::makeScale(2, 2)));
    expectNear(moved.pathBounds(), {20, 40, 8, 4});
    EXPECT_EQ(moved.currentPoint(), (Point{22, 42}));
    // The original is untouched; drawing properties travel with the copy.
    expectNear(p.pathBounds(), {0, 0, 4, 2});
    p.setLineWidth(7);
    EXPECT_EQ(p.transformed({}).lineWidth(), 7);
    EXPECT_TRUE(p.transformed({}).hasSameElements(p));
}

TEST(PathMeasure, FlatteningStaysNearTheCurve) {
    const Path circle = Path::withOvalInRect({-50, -50, 100, 100});
    const auto lines = circle.flattened(0.05);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].closed);
    for (const Point& pt : lines[0].points) {
        EXPECT_NEAR(std::hypot(pt.x, pt.y), 50, 0.05);
    }
}

}  // namespace
}  // namespace bdx::gfx
