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

void expectRectNear(const Rect& actual, const Rect& expected) {
    EXPECT_NEAR(actual.origin.x, expected.origin.x, 1e-6);
    EXPECT_NEAR(actual.origin.y, expected.origin.y, 1e-6);
    EXPECT_NEAR(actual.size.width, expected.size.width, 1e-6);
    EXPECT_NEAR(actual.size.height, expected.size.height, 1e-6);
}

std::vector<Point> endPoints(const Path& path) {
    std::vector<Point> points;
    for (const Path::Element& e : path.elements())
        points.push_back(e.points[e.pointCount() - 1]);
    return points;
}

}  // namespace

TEST(BDXGeomtryUtilities, TranslationAndRotationWorkOnTheMeanNotTheBox) {
    G::Points points = {{0, 0}, {10, 0}, {10, 0}};
    G::Points moved = G::translatePoints(points, {0, 0});
    EXPECT_NEAR(moved[0].x, -20.0 / 3, 1e-12) << "the box centre would be at 5";
    EXPECT_EQ(points[0], Point(0, 0)) << "a new array; the input stays";
    G::Points turned = G::rotatePoints({{0, 0}, {2, 0}}, 90);
    EXPECT_NEAR(turned[0].x, 1, 1e-12);
    EXPECT_NEAR(turned[0].y, -1, 1e-12) << "a positive turn goes from +x towards +y";
}

TEST(BDXGeomtryUtilities, BoundingPointsBreakTiesAsymmetricallyWhateverTheOrder) {
    auto byXThenY = [](Point a, Point b) { return a.x < b.x || (a.x == b.x && a.y < b.y); };
    G::Points corners = {{0, 0}, {0, 10}, {10, 0}, {10, 10}};
    do {
        G::Points extremes = G::boundingPointsForPoints(corners);
        EXPECT_EQ(extremes, (G::Points{{0, 0}, {10, 0}, {10, 0}, {0, 10}}))
            << "left and right: the upper corner; top: the right one; bottom: the left one";
    } while (std::next_permutation(corners.begin(), corners.end(), byXThenY));
    // Ties are judged in single precision with tolerance: 1e-9 is not left of 0 but ties with it.
    EXPECT_EQ(G::boundingPointsForPoints({{0, 5}, {1e-9, 0}})[0], Point(1e-9, 0));

    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(G::boundingPointsForPoints({}), (G::Points{{inf, 0}, {0, inf}, {-inf, 0}, {0, -inf}}));
    EXPECT_TRUE(std::isinf(G::boundingRectForPoints({}).size.width));
    EXPECT_EQ(G::boundingRectForPoints({{3, 4}}), Rect(3, 4, 0, 0));
    EXPECT_EQ(G::boundingRectForPoints({{3, 4}, {-1, 9}, {2, 2}}), Rect(-1, 2, 4, 7));
}

TEST(BDXGeomtryUtilities, ScalingKeepsAspectAndLeavesAnEmptyAxisAlone) {
    G::Points scaled = G::scalePoints({{0, 0}, {100, 0}, {100, 50}, {0, 50}}, Size(100, 50), Size(26, 26));
    expectRectNear(G::boundingRectForPoints(scaled), Rect(37, 18.5, 26, 13));
    G::Points flat = G::scalePoints({{0, 5}, {100, 5}, {40, 5}}, Size(100, 0), Size(26, 26));
    EXPECT_NEAR(G::boundingRectForPoints(flat).size.width, 26, 1e-9);
    EXPECT_EQ(flat[1].y, 5);
    EXPECT_TRUE(std::isnan(G::scalePoints({{4, 4}, {4, 4}}, Size(0, 0), Size(26, 26))[0].x)) << "a tap";
}

TEST(BDXGeomtryUtilities, DimsFindTheFrameInWhichTheExtremesStandSquare) {
    EXPECT_DOUBLE_EQ(G::angleBetweenVectors({1, 0}, {0, 1}), 90);
    auto ellipse = [](double turn) {
        G::Points points;
        for (int i = 0; i < 360; ++i) {
            double t = i * 3.141592653589793 / 180, a = turn * 3.141592653589793 / 180;
            double x = 40 * std::cos(t), y = 10 * std::sin(t);
            points.push_back(
                {50 + x * std::cos(a) - y * std::sin(a), 50 + x * std::sin(a) + y * std::cos(a)});
        }
        return points;
    };
    // Upright, angle 0 already stands square and is kept: width first.
    Size upright = G::dimsOfPoints(ellipse(0));
    EXPECT_NEAR(upright.width, 80, 1e-6);
    EXPECT_NEAR(upright.height, 20, 1e-6);
    // Turned by 30 degrees its box is about 71 by 42; its own frame is found again.
    Size turned = G::dimsOfPoints(ellipse(30));
    EXPECT_NEAR(std::max(turned.width, turned.height), 80, 0.05);
    EXPECT_NEAR(std::min(turned.width, turned.height), 20, 0.05);
}

TEST(BDXGeomtryUtilities, PathsAreFittedAboutTheRectangleCentreUnlessTheyFit) {
    EXPECT_EQ(G::newPathFromPoints({}), nullptr);
    G::PathRef stroke = G::newPathFromPoints({{100, 100}, {105, 100}, {105, 102}});
    expectRectNear(stroke->bounds(), Rect(1, 14 - 5.2, 26, 10.4));

    auto exact = std::make_shared<Path>(Path::withRect(Rect(5, 5, 28, 10)));
    long owners = exact.use_count();
    EXPECT_EQ(G::newScaledPath(exact, Rect(0, 0, 28, 28)).get(), exact.get());
    EXPECT_EQ(exact.use_count(), owners) << "nothing released, nothing copied";

    auto small = std::make_shared<Path>(Path::withRect(Rect(0, 0, 10, 5)));
    expectRectNear(G::newScaledPath(small, Rect(0, 0, 20, 20))->bounds(), Rect(-10, -10, 20, 10));
    auto upright = std::make_shared<Path>();
    upright->moveTo({5, 0});
    upright->lineTo({5, 14});
    expectRectNear(G::newScaledPath(upright, Rect(0, 0, 28, 28))->bounds(), Rect(-4, -14, 0, 28));
}

TEST(BDXGeomtryUtilities, TemplatesTurnAboutTheirRectangleAndFit) {
    const Rect raster(0, 0, 28, 28);
    expectRectNear(G::newSyntheizedPathInRect(Rect(1, 1, 26, 26), 1, 0, raster)->bounds(), raster);
    expectRectNear(G::newSyntheizedPathInRect(Rect(4, 1, 20, 26), 1, 90, raster)->bounds(),
                   Rect(0, 14 - 280.0 / 26, 28, 560.0 / 26));
    std::vector<Point> line = endPoints(*G::newSyntheizedPathInRect(raster, 3, 90, raster));
    EXPECT_NEAR(line[0].x, 14, 1e-9);
    EXPECT_NEAR(line[1].y, 28, 1e-9);

    const double d = 28.0 / 3 * 0.707;
    EXPECT_EQ(endPoints(*G::newSyntheizedPathInRect(Rect(0, 6, 28, 16), 2, 0, raster)),
              (std::vector<Point>{{0, 14}, {28, 14}, {28 - d, 14 + d}, {28, 14}, {28 - d, 14 - d}}));

    EXPECT_EQ(G::newSyntheizedPathInRect(raster, 5, 0, raster), nullptr);
    bool acquired = false;
    std::thread([&] {
        if ((acquired = G::lock().try_lock()))
            G::lock().unlock();
    }).join();
    EXPECT_TRUE(acquired) << "the lock is left released";
}

TEST(BDXGeomtryUtilities, ShouldRotateBetweenPortraitAndLandscapeOnly) {
    EXPECT_FALSE(G::shouldRotateWithFirstOrientation(1, 2));
    EXPECT_FALSE(G::shouldRotateWithFirstOrientation(3, 4));
    EXPECT_TRUE(G::shouldRotateWithFirstOrientation(2, 4));
    EXPECT_TRUE(G::shouldRotateWithFirstOrientation(3, 1));
    EXPECT_FALSE(G::shouldRotateWithFirstOrientation(0, 3));
}

TEST(BDXGeomtryUtilities, PointCloudsAndNearestPointMatching) {
    EXPECT_FALSE(G::syntheizedObjectInRect(Rect(0, 0, 40, 20), 3, 8).has_value());
    EXPECT_NEAR((*G::syntheizedObjectInRect(Rect(0, 0, 40, 20), 0, 4))[1].y, 20, 1e-9);
    G::Points box = G::pointsFromRect(Rect(0, 0, 40, 20), 10);
    EXPECT_EQ(box[3], Point(40, 0)) << "three on the top side, three on the right, then two and two";
    EXPECT_EQ(box[8], Point(0, 20));
    EXPECT_EQ(G::distanceBetweenPoint({0, 0}, {0.1, 0}), static_cast<double>(0.1f)) << "single precision";
    EXPECT_DOUBLE_EQ(G::distanceBetweenPoints({{0, 0}}, {{3, 4}, {6, 8}}), 5.0 + 5.0 + 10.0);
    G::Points reference = {{0, 0}, {10, 0}, {20, 0}, {20, 5}};
    EXPECT_EQ(G::matchingAngleOfPoints(reference, reference), 0) << "0 and 360 tie; the earlier wins";
    EXPECT_EQ(G::matchingAngleOfPoints(G::rotatePoints(reference, 40), reference), 320);
    Rect diamond = G::rectOfRectangle(G::boundingPointsForPoints({{10, 0}, {20, 10}, {10, 20}, {0, 10}}));
    EXPECT_NEAR(diamond.size.width, std::sqrt(200.0), 1e-5) << "a square turned by 45 degrees, upright";
}
