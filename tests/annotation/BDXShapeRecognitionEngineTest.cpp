#include "annotation/BDXShapeRecognitionEngine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <optional>
#include <set>
#include <thread>

#include "annotation/BDXGeomtryUtilities.h"
#include "platform/gfx/ImageContext.h"
#include "testing/HandDrawnStrokes.h"

using bdx::gfx::Color;
using bdx::gfx::Image;
using bdx::gfx::Path;
using bdx::gfx::Point;
using bdx::gfx::Rect;
using bdx::gfx::Size;
using G = BDXGeomtryUtilities;
using bdx::testing::HandDrawnStrokes;
using Method = BDXShapeRecognitionEngine::MatchingMethod;

namespace {

struct Result {
    int calls = 0;
    BDXRecognizedShape shape = BDXRecognizedShapeNone;
    double angle = -1;
    Rect boundingRect;
    Rect fittedRect;
};

Result recognize(BDXShapeRecognitionEngine& engine, const std::vector<Point>& points) {
    Result result;
    engine.recognizeDrawing(Image(), points,
                            [&](BDXRecognizedShape shape, double angle, Rect bounds, Rect fitted) {
                                ++result.calls;
                                result.shape = shape;
                                result.angle = angle;
                                result.boundingRect = bounds;
                                result.fittedRect = fitted;
                            });
    return result;
}

// The stroke path as recognition builds it: into 26 by 26, aspect kept, centroid at (13, 13).
G::PathRef normalisedPath(const std::vector<Point>& points) {
    Rect bounds = G::boundingRectForPoints(points);
    return G::newPathFromPoints(
        G::translatePoints(G::scalePoints(points, bounds.size, Size(26, 26)), {13, 13}));
}

Path segment(Point from, Point to) {
    Path path;
    path.moveTo(from);
    path.lineTo(to);
    return path;
}

void expectNoShape(const Result& result) {
    EXPECT_EQ(result.calls, 1);
    EXPECT_EQ(result.shape, BDXRecognizedShapeNone);
    EXPECT_EQ(result.angle, 0.0);
    EXPECT_EQ(result.boundingRect, Rect::zero());
    EXPECT_EQ(result.fittedRect, Rect::zero());
}

bool isMultipleOf15(double angle) {
    return std::fmod(angle, 15.0) == 0.0;
}

}  // namespace

TEST(BDXShapeRecognitionEngineAngles, SnapsToTheStepWithoutWrapping) {
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(355 + 90, 15), 450);
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(8, 15), 15);
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(22, 15), 15);
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(175, 15), 180);
    // The remainder is taken on whole numbers: 7.9 leaves 7, below the half step.
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(7.9, 15), 0);
    // A negative remainder adds nothing.
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(-10, 15), -15);
    // A step that truncates to zero has no remainder to judge, and must not fault.
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(1.2, 0.5), 1.0);
}

TEST(BDXShapeRecognitionEngineAngles, ValidPointsRejectsAnyNaN) {
    BDXShapeRecognitionEngine engine;
    EXPECT_TRUE(engine.validPoints({}));
    EXPECT_TRUE(engine.validPoints({{1, 2}, {3, 4}}));
    EXPECT_FALSE(engine.validPoints({{1, 2}, {3, std::nan("")}}));
    EXPECT_FALSE(engine.validPoints({{std::nan(""), 2}}));
}

TEST(BDXShapeRecognitionEngineRaster, CompositeHoldsOnlyTheFourWords) {
    BDXShapeRecognitionEngine engine;
    G::PathRef stroke = normalisedPath({{0, 0}, {10, 3}, {20, 10}, {5, 20}});
    G::PathRef ellipse = G::newSyntheizedPathInRect(Rect(0, 0, 28, 28), 0, 0, Rect(0, 0, 28, 28));
    std::optional<Image> composite;
    unsigned long total = 0;
    engine.PimageFromUserPath(*stroke, Color::white(1, 0.5019607843137255), ellipse, Color::black(),
                              [&](const Image& image, unsigned long templatePixels) {
                                  composite = image;
                                  total = templatePixels;
                              });
    ASSERT_TRUE(composite && !composite->isNull());
    EXPECT_EQ(composite->width(), 28);
    std::unique_ptr<std::uint32_t[]> pixels = engine.pixelValuesFromImage(*composite);
    int counts[4] = {0, 0, 0, 0};
    for (int i = 0; i < 784; ++i) {
        switch (pixels[i]) {
            case 0xFF000000:
                ++counts[0];
                break;
            case 0xFF808080:
                ++counts[1];
                break;
            case 0x80808080:
                ++counts[2];
                break;
            case 0:
                ++counts[3];
                break;
            default:
                ADD_FAILURE() << std::hex << "unexpected pixel " << pixels[i] << " at " << std::dec << i;
        }
    }
    EXPECT_GT(counts[1], 0) << "the stroke crosses the ellipse";
    EXPECT_GT(counts[2], 0) << "and runs inside it";
    EXPECT_EQ(total, static_cast<unsigned long>(counts[0] + counts[1])) << "template pixels, covered or not";

    // The colour handed in for the stroke is not what is drawn.
    std::optional<Image> red;
    engine.PimageFromUserPath(*stroke, Color::red(), ellipse, Color::black(),
                              [&](const Image& image, unsigned long) { red = image; });
    ASSERT_TRUE(red);
    EXPECT_TRUE(red->hasSamePixels(*composite));
}

TEST(BDXShapeRecognitionEngineRaster, PixelValuesOfImagesOfAnySize) {
    BDXShapeRecognitionEngine engine;
    std::unique_ptr<std::uint32_t[]> none = engine.pixelValuesFromImage(Image());
    for (int i = 0; i < 784; ++i)
        ASSERT_EQ(none[i], 0u);

    std::vector<std::uint32_t> words(784);
    for (int i = 0; i < 784; ++i)
        words[i] = 0xFF000000u | static_cast<std::uint32_t>(i);
    std::unique_ptr<std::uint32_t[]> same = engine.pixelValuesFromImage(Image::withPixels(28, 28, words));
    for (int i = 0; i < 784; ++i)
        ASSERT_EQ(same[i], words[i]);

    std::unique_ptr<std::uint32_t[]> drawn = engine.pixelValuesFromImage(Image::filled(56, 56, 0xFF0000FF));
    for (int i = 0; i < 784; ++i)
        ASSERT_EQ(drawn[i], 0xFF0000FFu) << i;
}

TEST(BDXShapeRecognitionEngineRaster, WeightsCountEachInkPixelOnceEachWay) {
    BDXShapeRecognitionEngine engine;
    // Butt caps, width 2: x from 2 to 10 on rows 4 and 5, all of it top left.
    BDXMatchingInfo corner = engine.userPathInfoFromPath(segment({2, 5}, {10, 5}));
    EXPECT_EQ(corner.topWeight(), 16);
    EXPECT_EQ(corner.leftWeight(), 16);
    EXPECT_EQ(corner.bottomWeight(), 0);
    EXPECT_EQ(corner.rightWeight(), 0);
    // Rows 19 and 20, columns 10 to 19: four columns left of the middle, six right.
    BDXMatchingInfo across = engine.userPathInfoFromPath(segment({10, 20}, {20, 20}));
    EXPECT_EQ(across.bottomWeight(), 20);
    EXPECT_EQ(across.topWeight(), 0);
    EXPECT_EQ(across.leftWeight(), 8);
    EXPECT_EQ(across.rightWeight(), 12);
    EXPECT_EQ(across.value(), 0);
    EXPECT_EQ(across.probability(), 0.0);

    Path both = segment({2, 5}, {10, 5});
    both.appendPath(segment({10, 20}, {20, 20}));
    EXPECT_EQ(BDXShapeRecognitionEngine::userPathInfoFromMask(engine.weightsMaskFromPath(both)),
              engine.userPathInfoFromPath(both));
}

TEST(BDXShapeRecognitionEngineMatching, CandidateScoresFromTheCounts) {
    BDXShapeRecognitionEngine engine(Method::Drawing);
    BDXMatchingInfo shared;
    shared.setTopWeight(30);
    shared.setBottomWeight(2);

    // The full-width line template covers rows 13 and 14 of all 28 columns; a stroke the same covers all.
    BDXMatchingInfo whole = engine.matchingInfoForPath(segment({1, 14}, {27, 14}), 3, shared);
    EXPECT_EQ(whole.value(), 56);
    EXPECT_EQ(whole.probability(), 1.0);
    EXPECT_EQ(whole.refPathNotConsumedPercent(), 0.0);
    EXPECT_EQ(whole.pathNotConsumedPercent(), 0.0);
    EXPECT_EQ(whole.angle(), 0) << "the turn by 180 draws the same pixels and comes later";
    EXPECT_EQ(whole.matchRect(), Rect(0, 0, 28, 28));
    EXPECT_EQ(whole.leftWeight() + whole.topWeight(), 0) << "a match carries no weights";

    // Half the line (columns 0 to 14) and, off the template, a short upright stroke of 16 pixels.
    Path half = segment({0, 14}, {14, 14});
    half.appendPath(segment({5, 2}, {5, 8}));
    BDXMatchingInfo partial = engine.matchingInfoForPath(half, 3, shared);
    EXPECT_EQ(partial.value(), 30);
    EXPECT_EQ(partial.angle(), 0);
    EXPECT_EQ(partial.refPathNotConsumedPercent(), static_cast<double>(26.0f / 56.0f));
    EXPECT_EQ(partial.probability(), static_cast<double>(0.5f * (1.0f + 30.0f / 56.0f)));
    EXPECT_EQ(partial.pathNotConsumedPercent(), static_cast<double>(16.0f / 32.0f));

    BDXShapeRecognitionEngine fast;
    EXPECT_EQ(fast.matchingInfoForStrokeMask(fast.strokeMaskFromPath(half), 3, shared), partial);
}

TEST(BDXShapeRecognitionEngineMatching, NoOverlapKeepsTheEmptyRecordAndUnknownShapesMatchNothing) {
    BDXShapeRecognitionEngine engine;
    BDXMatchingInfo shared;
    shared.setTopWeight(1);
    BDXMatchingInfo none = engine.matchingInfoForStrokeMask(BDXRasterMask(), 0, shared);
    EXPECT_EQ(none, BDXMatchingInfo());
    EXPECT_EQ(
        engine.matchingInfoForStrokeMask(engine.strokeMaskFromPath(segment({1, 14}, {27, 14})), 7, shared),
        BDXMatchingInfo());
    EXPECT_EQ(engine.templateMask(7, 0, 0), nullptr);
    EXPECT_EQ(engine.templateMask(2, 7, 0), nullptr) << "arrows sweep insets 0 to 6";
    EXPECT_EQ(engine.templateMask(0, 0, 180), nullptr) << "ellipses turn to 175 only";
    ASSERT_NE(engine.templateMask(2, 6, 355), nullptr);
    // Every inset draws the same arrow: only its width and mid height shape it.
    EXPECT_EQ(*engine.templateMask(2, 6, 355), *engine.templateMask(2, 0, 355));
}

TEST(BDXShapeRecognitionEngineDecision, TapsAndRepeatedPointsGiveNoShape) {
    for (Method method : {Method::TemplateMasks, Method::Drawing}) {
        BDXShapeRecognitionEngine engine(method);
        expectNoShape(recognize(engine, {{120, 300}}));
        expectNoShape(recognize(engine, {{50, 100}, {50, 100}, {50, 100}}));
        expectNoShape(recognize(engine, {}));
        expectNoShape(recognize(engine, {{1, 2}, {std::nan(""), 4}}));
    }
}

TEST(BDXShapeRecognitionEngineDecision, AStraightStrokeThroughTheCentreIsVetoedAsALine) {
    BDXShapeRecognitionEngine engine;
    HandDrawnStrokes hand(21);
    for (int i = 0; i < 6; ++i) {
        double a = hand.uniform(0, 3.141592653589793);
        double r = hand.uniform(60, 160);
        Point c{hand.uniform(100, 300), hand.uniform(200, 600)};
        std::vector<Point> stroke = hand.line({c.x - r * std::cos(a), c.y - r * std::sin(a)},
                                              {c.x + r * std::cos(a), c.y + r * std::sin(a)});
        expectNoShape(recognize(engine, stroke));
    }
    // Perfectly flat: the empty axis keeps its scale, the stroke is matched, and the line explains it.
    std::vector<Point> flat = {{20, 300}, {140, 300}, {320, 300}};
    G::PathRef path = normalisedPath(flat);
    ASSERT_TRUE(engine.validPoints({{path->bounds().minX(), path->bounds().minY()}}));
    BDXMatchingInfo shared = engine.userPathInfoFromPath(*path);
    EXPECT_EQ(shared.topWeight(), shared.bottomWeight());
    EXPECT_EQ(shared.leftWeight(), shared.rightWeight());
    EXPECT_EQ(engine.matchingInfoForPath(*path, 3, shared).probability(), 1.0);
    expectNoShape(recognize(engine, flat));
}

TEST(BDXShapeRecognitionEngineDecision, ALineThatWinsOnUnbalancedInkIsNotVetoed) {
    BDXShapeRecognitionEngine engine;
    // An arrow drawn downwards: a straight line explains it even better, but the head puts its ink low.
    std::vector<Point> arrow = HandDrawnStrokes(8, 0.0).arrow({200, 200}, 200, 90);
    G::PathRef path = normalisedPath(arrow);
    BDXMatchingInfo shared = engine.userPathInfoFromPath(*path);
    ASSERT_GT(std::llabs(shared.topWeight() - shared.bottomWeight()), 9);
    ASSERT_GT(engine.matchingInfoForPath(*path, 3, shared).probability(),
              engine.matchingInfoForPath(*path, 2, shared).probability());

    Result result = recognize(engine, arrow);
    EXPECT_EQ(result.shape, BDXRecognizedShapeArrow);
    EXPECT_EQ(result.angle, 180);
}

TEST(BDXShapeRecognitionEngineDecision, NoTemplateWinningStillGivesRectangles) {
    BDXShapeRecognitionEngine engine;
    // A hook: nothing clears the placeholder's 0.8, and the line does not beat it either.
    Result result = recognize(engine, {{0, 0}, {200, 0}, {200, 40}});
    EXPECT_EQ(result.calls, 1);
    EXPECT_EQ(result.shape, BDXRecognizedShapeNone);
    EXPECT_EQ(result.angle, 0.0);
    EXPECT_EQ(result.boundingRect, Rect(0, 0, 200, 40));
    // Wider than high: the fitted rectangle stands upright, the shorter side across.
    EXPECT_NEAR(result.fittedRect.size.width, 40, 1e-6);
    EXPECT_NEAR(result.fittedRect.size.height, 200, 1e-6);
    EXPECT_NEAR(result.fittedRect.midX(), 100, 1e-6);
    EXPECT_NEAR(result.fittedRect.midY(), 20, 1e-6);
}

TEST(BDXShapeRecognitionEngineDecision, FittedRectangleCrossesForWideShapes) {
    BDXShapeRecognitionEngine engine;
    HandDrawnStrokes clean(5, 0.0);
    Result wide = recognize(engine, clean.loop({200, 400}, 100, 50, 0));
    ASSERT_EQ(wide.shape, BDXRecognizedShapeCircle);
    EXPECT_EQ(wide.angle, 90) << "the upright ellipse template turned a quarter";
    EXPECT_NEAR(wide.boundingRect.size.width, 200, 0.5);
    EXPECT_NEAR(wide.fittedRect.size.width, 100, 0.5);
    EXPECT_NEAR(wide.fittedRect.size.height, 200, 0.5);
    EXPECT_NEAR(wide.fittedRect.midX(), wide.boundingRect.midX(), 1e-9);

    Result tall = recognize(engine, clean.loop({200, 400}, 50, 100, 0));
    ASSERT_EQ(tall.shape, BDXRecognizedShapeCircle);
    EXPECT_EQ(tall.angle, 0);
    EXPECT_NEAR(tall.fittedRect.size.width, 100, 0.5);
    EXPECT_NEAR(tall.fittedRect.size.height, 200, 0.5);
}

// Hand-drawn strokes: each kind is recognised as itself or, near a threshold, as nothing, never as
// another shape; and most of them are recognised.
class BDXShapeRecognitionEngineHandDrawn : public ::testing::Test {
  protected:
    static constexpr int kStrokes = 24;
    static constexpr int kMustRecognise = 21;

    BDXShapeRecognitionEngine engine;
    HandDrawnStrokes hand{2024};

    Point somewhere() { return {hand.uniform(120, 270), hand.uniform(200, 600)}; }
};

TEST_F(BDXShapeRecognitionEngineHandDrawn, ClosedLoopsAreCircles) {
    int recognised = 0;
    for (int i = 0; i < kStrokes; ++i) {
        double radius = hand.uniform(50, 140);
        Result result = recognize(
            engine, hand.loop(somewhere(), radius, radius * hand.uniform(0.7, 1.0), hand.uniform(0, 180)));
        ASSERT_EQ(result.calls, 1);
        EXPECT_TRUE(result.shape == BDXRecognizedShapeCircle || result.shape == BDXRecognizedShapeNone)
            << "loop " << i << " taken for shape " << result.shape;
        if (result.shape == BDXRecognizedShapeCircle) {
            ++recognised;
            EXPECT_TRUE(isMultipleOf15(result.angle));
            EXPECT_GE(result.angle, 0);
            EXPECT_LE(result.angle, 180);
            EXPECT_GT(result.fittedRect.size.width, 0);
        }
    }
    EXPECT_GE(recognised, kMustRecognise);
}

TEST_F(BDXShapeRecognitionEngineHandDrawn, BoxesAreRectangles) {
    int recognised = 0;
    for (int i = 0; i < kStrokes; ++i) {
        double width = hand.uniform(80, 240);
        Result result = recognize(
            engine, hand.box(somewhere(), width, width * hand.uniform(0.6, 1.5), hand.uniform(-4, 4)));
        ASSERT_EQ(result.calls, 1);
        EXPECT_TRUE(result.shape == BDXRecognizedShapeRectangle || result.shape == BDXRecognizedShapeNone)
            << "box " << i << " taken for shape " << result.shape;
        if (result.shape == BDXRecognizedShapeRectangle) {
            ++recognised;
            EXPECT_TRUE(isMultipleOf15(result.angle));
            EXPECT_LE(result.angle, 180);
        }
    }
    EXPECT_GE(recognised, kMustRecognise);
}

TEST_F(BDXShapeRecognitionEngineHandDrawn, ArrowsPointWhereTheyWereDrawn) {
    int recognised = 0;
    for (int i = 0; i < kStrokes; ++i) {
        // Drawn along the axes, a little off either way.
        double direction = 90 * (i % 4) + hand.uniform(-3, 3);
        Result result = recognize(engine, hand.arrow(somewhere(), hand.uniform(100, 250), direction));
        ASSERT_EQ(result.calls, 1);
        EXPECT_TRUE(result.shape == BDXRecognizedShapeArrow || result.shape == BDXRecognizedShapeNone)
            << "arrow " << i << " taken for shape " << result.shape;
        if (result.shape != BDXRecognizedShapeArrow) {
            continue;
        }
        ++recognised;
        EXPECT_TRUE(isMultipleOf15(result.angle)) << result.angle;
        EXPECT_GE(result.angle, 90);
        EXPECT_LE(result.angle, 450);
        // A quarter turn on from the direction drawn, within the template and snapping steps.
        double off = std::remainder(result.angle - 90 - direction, 360.0);
        EXPECT_LE(std::fabs(off), 15) << "drawn at " << direction << ", reported " << result.angle;
    }
    EXPECT_GE(recognised, kMustRecognise);
}

TEST(BDXShapeRecognitionEngineDecision, AnArrowAngleCanExceedAFullTurn) {
    BDXShapeRecognitionEngine engine;
    // Rightwards and a little up: the template turned by 355 fits, a quarter turn on is 445, snapped to 450.
    const double direction = -3 * 3.141592653589793 / 180;
    const double spread = 45 * 3.141592653589793 / 180;
    Point tail{100, 300};
    Point tip{tail.x + 200 * std::cos(direction), tail.y + 200 * std::sin(direction)};
    auto head = [&](double side) {
        return Point{tip.x - 200.0 / 3 * std::cos(direction + side),
                     tip.y - 200.0 / 3 * std::sin(direction + side)};
    };
    Result result = recognize(engine, {tail, tip, head(spread), tip, head(-spread)});
    EXPECT_EQ(result.shape, BDXRecognizedShapeArrow);
    EXPECT_EQ(result.angle, 450);
}

TEST(BDXShapeRecognitionEngineConcurrency, EnginesOnSeveralThreadsAgreeWithOneThread) {
    HandDrawnStrokes hand(99);
    std::vector<std::vector<Point>> strokes;
    for (int i = 0; i < 8; ++i) {
        double r = hand.uniform(50, 120);
        strokes.push_back(i % 2 ? hand.loop({200, 300}, r, r * 0.9, hand.uniform(0, 180))
                                : hand.box({200, 300}, r * 2, r, hand.uniform(-4, 4)));
    }
    std::vector<Result> together(strokes.size());
    {
        // Cold template rasters: the first strokes race to draw them.
        std::vector<std::thread> threads;
        for (std::size_t t = 0; t < 4; ++t) {
            threads.emplace_back([&, t] {
                BDXShapeRecognitionEngine engine;
                for (std::size_t i = t; i < strokes.size(); i += 4)
                    together[i] = recognize(engine, strokes[i]);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    }
    BDXShapeRecognitionEngine engine;
    for (std::size_t i = 0; i < strokes.size(); ++i) {
        Result alone = recognize(engine, strokes[i]);
        EXPECT_EQ(together[i].calls, 1);
        EXPECT_EQ(together[i].shape, alone.shape);
        EXPECT_EQ(together[i].angle, alone.angle);
        EXPECT_EQ(together[i].fittedRect, alone.fittedRect);
    }
}
