#include "annotation/BDXGeomtryUtilities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>

using bdx::gfx::Path;
using bdx::gfx::Point;
using bdx::gfx::Rect;
using bdx::gfx::Size;
using G = BDXGeomtryUtilities;

namespace {

constexpr double kPi = 3.141592653589793;

void expectPointNear(Point actual, Point expected, double tolerance = 1e-9) {
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
}

void expectRectNear(const Rect& actual, const Rect& expected, double tolerance = 1e-9) {
    EXPECT_NEAR(actual.origin.x, expected.origin.x, tolerance);
    EXPECT_NEAR(actual.origin.y, expected.origin.y, tolerance);
    EXPECT_NEAR(actual.size.width, expected.size.width, tolerance);
    EXPECT_NEAR(actual.size.height, expected.size.height, tolerance);
}

// Points on an ellipse with the given semi-axes, turned by the angle (degrees) about its centre.
G::Points ellipse(Point centre, double a, double b, double turn, int count) {
    G::Points points;
    double t0 = turn * kPi / 180;
    for (int i = 0; i < count; ++i) {
        double t = 2 * kPi * i / count;
        double x = a * std::cos(t);
        double y = b * std::sin(t);
        points.push_back(
            {centre.x + x * std::cos(t0) - y * std::sin(t0), centre.y + x * std::sin(t0) + y * std::cos(t0)});
    }
    return points;
}

std::vector<Point> endPoints(const Path& path) {
    std::vector<Point> points;
    for (const Path::Element& e : path.elements()) {
        if (e.pointCount() > 0) {
            points.push_back(e.points[e.pointCount() - 1]);
        }
    }
    return points;
}

}  // namespace

TEST(BDXGeomtryUtilitiesPoints, ConversionsAndCentroid) {
    EXPECT_DOUBLE_EQ(G::degreeToRadian(180), kPi);
    EXPECT_DOUBLE_EQ(G::radianToDegree(kPi / 2), 90);
    expectPointNear(G::centeroidnpOfPoints({{0, 0}, {10, 0}, {10, 6}}), {20.0 / 3, 2});
    Point none = G::centeroidnpOfPoints({});
    EXPECT_TRUE(std::isnan(none.x) && std::isnan(none.y));
}

TEST(BDXGeomtryUtilitiesPoints, TranslationMovesTheMeanNotTheBox) {
    G::Points points = {{0, 0}, {10, 0}, {10, 0}};
    G::Points moved = G::translatePoints(points, {0, 0});
    // The box centre would be at 5; the mean is at 20/3.
    expectPointNear(moved[0], {-20.0 / 3, 0});
    expectPointNear(G::centeroidnpOfPoints(moved), {0, 0});
    EXPECT_EQ(points[0], Point(0, 0)) << "a new array; the input stays";
}

TEST(BDXGeomtryUtilitiesPoints, RotationTurnsAboutTheCentroidTowardsPositiveY) {
    G::Points turned = G::rotatePoints({{0, 0}, {2, 0}}, 90);
    expectPointNear(turned[0], {1, -1});
    expectPointNear(turned[1], {1, 1});
    G::Points back = G::rotatePoints(G::rotatePoints({{3, 4}, {7, 1}, {5, 9}}, 37), -37);
    expectPointNear(back[2], {5, 9});
}

TEST(BDXGeomtryUtilitiesBounds, SquareTiesBreakAsymmetricallyWhateverTheOrder) {
    G::Points corners = {{0, 0}, {10, 0}, {10, 10}, {0, 10}};
    std::sort(corners.begin(), corners.end(),
              [](Point a, Point b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
    do {
        G::Points extremes = G::boundingPointsForPoints(corners);
        ASSERT_EQ(extremes.size(), 4u);
        EXPECT_EQ(extremes[0], Point(0, 0)) << "left: the upper of the two left corners";
        EXPECT_EQ(extremes[1], Point(10, 0)) << "top: the right of the two top corners";
        EXPECT_EQ(extremes[2], Point(10, 0)) << "right: the upper of the two right corners";
        EXPECT_EQ(extremes[3], Point(0, 10)) << "bottom: the left of the two bottom corners";
    } while (std::next_permutation(corners.begin(), corners.end(),
                                   [](Point a, Point b) { return a.x < b.x || (a.x == b.x && a.y < b.y); }));
}

TEST(BDXGeomtryUtilitiesBounds, TiesAreJudgedInSinglePrecisionWithTolerance) {
    // 1e-9 is not left of 0, but close to it, and wins the tie by its smaller y.
    G::Points extremes = G::boundingPointsForPoints({{0, 5}, {1e-9, 0}});
    EXPECT_EQ(extremes[0], Point(1e-9, 0));
    // Two values equal once narrowed to single precision tie as well.
    extremes = G::boundingPointsForPoints({{3, 1.0 + 1e-12}, {5, 1.0}});
    EXPECT_EQ(extremes[1], Point(5, 1.0)) << "top tie on y goes to the larger x";
}

TEST(BDXGeomtryUtilitiesBounds, EmptyAndSinglePoint) {
    G::Points extremes = G::boundingPointsForPoints({});
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(extremes[0], Point(inf, 0));
    EXPECT_EQ(extremes[1], Point(0, inf));
    EXPECT_EQ(extremes[2], Point(-inf, 0));
    EXPECT_EQ(extremes[3], Point(0, -inf));
    Rect none = G::boundingRectForPoints({});
    EXPECT_TRUE(std::isinf(none.size.width) && std::isinf(none.size.height));

    EXPECT_EQ(G::boundingRectForPoints({{3, 4}}), Rect(3, 4, 0, 0));
    EXPECT_EQ(G::boundingRectForPoints({{3, 4}, {-1, 9}, {2, 2}}), Rect(-1, 2, 4, 7));
}

TEST(BDXGeomtryUtilitiesScale, KeepsAspectAndCentroid) {
    G::Points points = {{0, 0}, {100, 0}, {100, 50}, {0, 50}};
    G::Points scaled = G::scalePoints(points, Size(100, 50), Size(26, 26));
    Rect box = G::boundingRectForPoints(scaled);
    EXPECT_NEAR(box.size.width, 26, 1e-9);
    EXPECT_NEAR(box.size.height, 13, 1e-9);
    expectPointNear(G::centeroidnpOfPoints(scaled), {50, 25});

    box = G::boundingRectForPoints(G::scalePoints({{0, 0}, {10, 40}}, Size(10, 40), Size(26, 26)));
    EXPECT_NEAR(box.size.width, 6.5, 1e-9);
    EXPECT_NEAR(box.size.height, 26, 1e-9);
}

TEST(BDXGeomtryUtilitiesScale, FlatStrokesKeepOneOnTheEmptyAxisAndTapsGoNaN) {
    G::Points flat = G::scalePoints({{0, 5}, {100, 5}, {40, 5}}, Size(100, 0), Size(26, 26));
    EXPECT_NEAR(G::boundingRectForPoints(flat).size.width, 26, 1e-9);
    for (Point p : flat)
        EXPECT_EQ(p.y, 5);

    G::Points upright = G::scalePoints({{7, 0}, {7, 100}}, Size(0, 100), Size(26, 26));
    EXPECT_EQ(upright[0].x, 7);
    EXPECT_NEAR(upright[1].y - upright[0].y, 26, 1e-9);

    G::Points tap = G::scalePoints({{4, 4}, {4, 4}}, Size(0, 0), Size(26, 26));
    EXPECT_TRUE(std::isnan(tap[0].x));
}

TEST(BDXGeomtryUtilitiesDims, TrueSizeOfATurnedEllipse) {
    EXPECT_DOUBLE_EQ(G::angleBetweenVectors({1, 0}, {0, 1}), 90);
    EXPECT_NEAR(G::angleBetweenVectors({1, 0}, {1, 1}), 45, 1e-12);
    EXPECT_TRUE(std::isnan(G::angleBetweenVectors({0, 0}, {0, 1})));

    // Upright, angle 0 already stands square and is kept: width first, unturned.
    Size upright = G::dimsOfPoints(ellipse({50, 50}, 40, 10, 0, 360));
    EXPECT_NEAR(upright.width, 80, 1e-6);
    EXPECT_NEAR(upright.height, 20, 1e-6);

    // Turned by 30 degrees its box is far from 80 by 20; its own frame is found again.
    G::Points turned = ellipse({50, 50}, 40, 10, 30, 360);
    Rect box = G::boundingRectForPoints(turned);
    ASSERT_LT(box.size.width, 75);
    Size dims = G::dimsOfPoints(turned);
    EXPECT_NEAR(std::max(dims.width, dims.height), 80, 0.05);
    EXPECT_NEAR(std::min(dims.width, dims.height), 20, 0.05);
}

TEST(BDXGeomtryUtilitiesPaths, PolylineIsFittedAndCentredOnTheRaster) {
    EXPECT_EQ(G::newPathFromPoints({}), nullptr);

    G::PathRef small = G::newPathFromPoints({{100, 100}, {105, 100}, {105, 102}});
    ASSERT_TRUE(small);
    ASSERT_EQ(small->elements().size(), 3u);
    EXPECT_EQ(small->elements()[0].type, Path::ElementType::MoveToPoint);
    Rect box = small->bounds();
    EXPECT_NEAR(box.size.width, 26, 1e-9) << "grown so that the larger side fills 26";
    EXPECT_NEAR(box.size.height, 26.0 * 2 / 5, 1e-9);
    EXPECT_NEAR(box.midX(), 14, 1e-9);
    EXPECT_NEAR(box.midY(), 14, 1e-9);

    G::PathRef dot = G::newPathFromPoints({{3, 3}});
    ASSERT_TRUE(dot);
    expectPointNear(endPoints(*dot)[0], {14, 14});
}

TEST(BDXGeomtryUtilitiesPaths, ScaledPathReturnsTheVeryPathWhenItFits) {
    auto exact = std::make_shared<Path>(Path::withRect(Rect(5, 5, 28, 10)));
    long owners = exact.use_count();
    Path* original = exact.get();
    G::PathRef same = G::newScaledPath(exact, Rect(0, 0, 28, 28));
    EXPECT_EQ(same.get(), original) << "width ratio 1";
    EXPECT_EQ(exact.use_count(), owners + 1) << "nothing released, nothing copied";

    auto flat = std::make_shared<Path>();
    flat->moveTo({0, 3});
    flat->lineTo({5, 3});
    EXPECT_EQ(G::newScaledPath(flat, Rect(0, 0, 28, 28)).get(), flat.get()) << "no height";
}

TEST(BDXGeomtryUtilitiesPaths, ScaledPathGrowsOrShrinksAboutTheRectangleCentre) {
    auto off = std::make_shared<Path>(Path::withRect(Rect(0, 0, 10, 5)));
    G::PathRef grown = G::newScaledPath(off, Rect(0, 0, 20, 20));
    ASSERT_NE(grown.get(), off.get());
    expectRectNear(grown->bounds(), Rect(-10, -10, 20, 10));

    auto big = std::make_shared<Path>(Path::withRect(Rect(-14, -14, 56, 56)));
    expectRectNear(G::newScaledPath(big, Rect(0, 0, 28, 28))->bounds(), Rect(0, 0, 28, 28));

    // No width and some height is no special case.
    auto upright = std::make_shared<Path>();
    upright->moveTo({5, 0});
    upright->lineTo({5, 14});
    expectRectNear(G::newScaledPath(upright, Rect(0, 0, 28, 28))->bounds(), Rect(-4, -14, 0, 28));
}

TEST(BDXGeomtryUtilitiesTemplates, ShapesTurnsAndFitting) {
    const Rect raster(0, 0, 28, 28);
    expectRectNear(G::newSyntheizedPathInRect(raster, 0, 0, raster)->bounds(), raster);
    expectRectNear(G::newSyntheizedPathInRect(Rect(1, 1, 26, 26), 1, 0, raster)->bounds(), raster);
    expectRectNear(G::newSyntheizedPathInRect(Rect(4, 1, 20, 26), 1, 90, raster)->bounds(),
                   Rect(0, 3.2307692, 28, 21.538462), 1e-6);
    // Thin and turned: the larger side fills the raster again, centred.
    Rect thin = G::newSyntheizedPathInRect(Rect(10, 0, 8, 28), 0, 45, raster)->bounds();
    EXPECT_NEAR(std::max(thin.size.width, thin.size.height), 28, 1e-9);
    EXPECT_NEAR(thin.midX(), 14, 1e-9);

    std::vector<Point> line = endPoints(*G::newSyntheizedPathInRect(raster, 3, 90, raster));
    ASSERT_EQ(line.size(), 2u);
    expectPointNear(line[0], {14, 0});
    expectPointNear(line[1], {14, 28});
}

TEST(BDXGeomtryUtilitiesTemplates, ArrowIgnoresHeightAndPointsAlongTheTurn) {
    const double d = 28.0 / 3 * 0.707;
    std::vector<Point> arrow = endPoints(*G::newArrowPathInRect(Rect(0, 6, 28, 16), 0));
    ASSERT_EQ(arrow.size(), 5u);
    expectPointNear(arrow[0], {0, 14});
    expectPointNear(arrow[1], {28, 14});
    expectPointNear(arrow[2], {28 - d, 14 + d});
    expectPointNear(arrow[3], {28, 14});
    expectPointNear(arrow[4], {28 - d, 14 - d});
    EXPECT_EQ(G::newArrowPathInRect(Rect(0, 0, 28, 28), 0)->elements(),
              G::newSyntheizedPathInRect(Rect(0, 6, 28, 16), 2, 0, Rect(0, 0, 28, 28))->elements());

    std::vector<Point> down = endPoints(*G::newArrowPathInRect(Rect(0, 0, 28, 28), 90));
    expectPointNear(down[1], {14, 28}, 1e-9);
}

TEST(BDXGeomtryUtilitiesTemplates, UnknownShapeGivesNothingAndLeavesTheLockFree) {
    EXPECT_EQ(G::newSyntheizedPathInRect(Rect(0, 0, 28, 28), 5, 0, Rect(0, 0, 28, 28)), nullptr);
    bool acquired = false;
    std::thread other([&] {
        acquired = G::lock().try_lock();
        if (acquired)
            G::lock().unlock();
    });
    other.join();
    EXPECT_TRUE(acquired);
}

TEST(BDXGeomtryUtilities, ShouldRotateBetweenPortraitAndLandscapeOnly) {
    EXPECT_FALSE(G::shouldRotateWithFirstOrientation(1, 2));
    EXPECT_FALSE(G::shouldRotateWithFirstOrientation(3, 4));
    EXPECT_TRUE(G::shouldRotateWithFirstOrientation(2, 4));
    EXPECT_TRUE(G::shouldRotateWithFirstOrientation(3, 1));
    EXPECT_FALSE(G::shouldRotateWithFirstOrientation(0, 3));
    EXPECT_FALSE(G::shouldRotateWithFirstOrientation(1, 5));
}

TEST(BDXGeomtryUtilitiesPointTemplates, PointCloudsOfTheShapes) {
    const Rect rect(0, 0, 40, 20);
    EXPECT_FALSE(G::syntheizedObjectInRect(rect, 3, 8).has_value());
    G::Points circle = *G::syntheizedObjectInRect(rect, 0, 8);
    ASSERT_EQ(circle.size(), 8u);
    expectPointNear(circle[0], {40, 10});
    expectPointNear(circle[2], {20, 20});

    G::Points box = G::pointsFromRect(rect, 10);
    ASSERT_EQ(box.size(), 10u);
    // 3, 3, 2, 2 along top, right, bottom, left.
    expectPointNear(box[0], {0, 0});
    expectPointNear(box[3], {40, 0});
    expectPointNear(box[6], {40, 20});
    expectPointNear(box[8], {0, 20});
    EXPECT_EQ(*G::syntheizedObjectInRect(rect, 1, 10), box);

    G::Points arrow = G::arrowPoints(rect, 30);
    ASSERT_EQ(arrow.size(), 30u);
    expectPointNear(arrow[0], {0, 10});
    const double d = 40.0 / 3 * 0.707;
    for (Point p : arrow) {
        bool onShaft = std::fabs(p.y - 10) < 1e-9 && p.x >= -1e-9 && p.x <= 40 + 1e-9;
        bool onHead = std::fabs(std::fabs(p.y - 10) - (40 - p.x)) < 1e-9 && p.x >= 40 - d - 1e-9;
        EXPECT_TRUE(onShaft || onHead) << p.x << "," << p.y;
    }
}

TEST(BDXGeomtryUtilitiesPointTemplates, DistancesAndMatchingAngle) {
    EXPECT_EQ(G::distanceBetweenPoint({0, 0}, {3, 4}), 5.0);
    EXPECT_EQ(G::distanceBetweenPoint({0, 0}, {0.1, 0}), static_cast<double>(0.1f)) << "single precision";
    EXPECT_DOUBLE_EQ(G::distanceBetweenPoints({{0, 0}}, {{3, 4}, {6, 8}}), 5.0 + 5.0 + 10.0);

    G::Points reference = {{0, 0}, {10, 0}, {20, 0}, {20, 5}};
    EXPECT_EQ(G::matchingAngleOfPoints(reference, reference), 0) << "0 and 360 tie; the earlier wins";
    EXPECT_EQ(G::matchingAngleOfPoints(G::rotatePoints(reference, 40), reference), 320);

    // A square turned by 45 degrees: its bounding points are its corners.
    G::Points diamond = {{10, 0}, {20, 10}, {10, 20}, {0, 10}};
    Rect upright = G::rectOfRectangle(G::boundingPointsForPoints(diamond));
    EXPECT_NEAR(upright.size.width, std::sqrt(200.0), 1e-5);
    EXPECT_NEAR(upright.midX(), 10, 1e-5);
    // Upright already: the lengths that come out zero fall back to the box.
    EXPECT_EQ(G::rectOfRectangle(G::boundingPointsForPoints({{0, 0}, {10, 0}, {10, 6}, {0, 6}})),
              Rect(0, 0, 10, 6));
}
