#include "annotation/BDXShapeRecognitionEngine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <thread>

#include "annotation/BDXGeomtryUtilities.h"
#include "testing/HandDrawnStrokes.h"
#include "tests/annotation/RecognitionTestSupport.h"

using bdx::gfx::Color;
using bdx::gfx::Image;
using bdx::gfx::Path;
using bdx::gfx::Point;
using bdx::gfx::Rect;
using bdx::testing::HandDrawnStrokes;
using G = BDXGeomtryUtilities;
using Method = BDXShapeRecognitionEngine::MatchingMethod;

namespace {

Path segment(Point from, Point to) {
    Path path;
    path.moveTo(from);
    path.lineTo(to);
    return path;
}

void expectNoShape(const Recognition& r) {
    EXPECT_EQ(r.calls, 1);
    EXPECT_EQ(r.shape, BDXRecognizedShapeNone);
    EXPECT_EQ(r.angle, 0.0);
    EXPECT_EQ(r.boundingRect, Rect::zero());
    EXPECT_EQ(r.fittedRect, Rect::zero());
}

}  // namespace

TEST(BDXShapeRecognitionEngine, AnglesSnapToTheStepWithoutWrapping) {
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(355 + 90, 15), 450);
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(8, 15), 15);
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(7.9, 15), 0)
        << "the remainder is taken on whole numbers";
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(-10, 15), -15) << "a negative remainder adds nothing";
    EXPECT_EQ(BDXShapeRecognitionEngine::attachAngle(1.2, 0.5), 1.0)
        << "a step truncating to 0 must not fault";
}

TEST(BDXShapeRecognitionEngine, CompositeHoldsOnlyTheFourWordsWhateverStrokeColourIsHandedIn) {
    BDXShapeRecognitionEngine engine;
    G::PathRef stroke = normalisedPath({{0, 0}, {10, 3}, {20, 10}, {5, 20}});
    G::PathRef ellipse = G::newSyntheizedPathInRect(Rect(0, 0, 28, 28), 0, 0, Rect(0, 0, 28, 28));
    std::optional<Image> composite, red;
    unsigned long total = 0;
    engine.PimageFromUserPath(
        *stroke, Color::white(1, 0.5019607843137255), ellipse, Color::black(),
        [&](const Image& image, unsigned long pixels) { composite = image, total = pixels; });
    engine.PimageFromUserPath(*stroke, Color::red(), ellipse, Color::black(),
                              [&](const Image& image, unsigned long) { red = image; });
    ASSERT_TRUE(composite && red);
    EXPECT_TRUE(red->hasSamePixels(*composite));
    std::unique_ptr<std::uint32_t[]> pixels = engine.pixelValuesFromImage(*composite);
    int template_ = 0, shared = 0, strokeOnly = 0;
    for (int i = 0; i < 784; ++i) {
        std::uint32_t p = pixels[i];
        template_ += p == 0xFF000000, shared += p == 0xFF808080, strokeOnly += p == 0x80808080;
        EXPECT_TRUE(p == 0 || p == 0xFF000000 || p == 0xFF808080 || p == 0x80808080) << std::hex << p;
    }
    EXPECT_GT(shared, 0);
    EXPECT_GT(strokeOnly, 0);
    EXPECT_EQ(total, static_cast<unsigned long>(template_ + shared)) << "template pixels, covered or not";
    EXPECT_EQ(engine.pixelValuesFromImage(Image::filled(56, 56, 0xFF0000FF))[783], 0xFF0000FFu)
        << "drawn at 28";
}

TEST(BDXShapeRecognitionEngine, WeightsCountEachButtCappedInkPixelOnceEachWay) {
    BDXShapeRecognitionEngine engine;
    // x from 2 to 10 on rows 4 and 5, all top left; then rows 19 and 20 over columns 10 to 19.
    Path path = segment({2, 5}, {10, 5});
    path.appendPath(segment({10, 20}, {20, 20}));
    BDXMatchingInfo info = engine.userPathInfoFromPath(path);
    EXPECT_EQ(info.topWeight(), 16);
    EXPECT_EQ(info.bottomWeight(), 20);
    EXPECT_EQ(info.leftWeight(), 16 + 8);
    EXPECT_EQ(info.rightWeight(), 12);
    EXPECT_EQ(BDXShapeRecognitionEngine::userPathInfoFromMask(engine.weightsMaskFromPath(path)), info);
}

TEST(BDXShapeRecognitionEngine, CandidateScoresComeFromTheCounts) {
    BDXShapeRecognitionEngine engine(Method::Drawing);
    BDXMatchingInfo shared;
    shared.setTopWeight(30);
    shared.setBottomWeight(2);
    // The full-width line template covers rows 13 and 14 of all 28 columns; this stroke covers all of it.
    BDXMatchingInfo whole = engine.matchingInfoForPath(segment({1, 14}, {27, 14}), 3, shared);
    EXPECT_EQ(whole.value(), 56);
    EXPECT_EQ(whole.probability(), 1.0);
    EXPECT_EQ(whole.angle(), 0) << "the turn by 180 draws the same pixels and comes later";
    EXPECT_EQ(whole.matchRect(), Rect(0, 0, 28, 28));
    EXPECT_EQ(whole.topWeight(), 0) << "a match carries no weights";

    // Columns 0 to 14 of the line, and 16 pixels off it.
    Path half = segment({0, 14}, {14, 14});
    half.appendPath(segment({5, 2}, {5, 8}));
    BDXMatchingInfo partial = engine.matchingInfoForPath(half, 3, shared);
    EXPECT_EQ(partial.value(), 30);
    EXPECT_EQ(partial.refPathNotConsumedPercent(), static_cast<double>(26.0f / 56.0f));
    EXPECT_EQ(partial.probability(), static_cast<double>(0.5f * (1.0f + 30.0f / 56.0f)));
    EXPECT_EQ(partial.pathNotConsumedPercent(), static_cast<double>(16.0f / 32.0f));
    BDXShapeRecognitionEngine fast;
    EXPECT_EQ(fast.matchingInfoForStrokeMask(fast.strokeMaskFromPath(half), 3, shared), partial);
    EXPECT_EQ(fast.matchingInfoForStrokeMask(BDXRasterMask(), 0, shared), BDXMatchingInfo()) << "no overlap";
    // Every arrow inset draws the same arrow: only the width and mid height shape it.
    EXPECT_EQ(*fast.templateMask(2, 6, 355), *fast.templateMask(2, 0, 355));
}

TEST(BDXShapeRecognitionEngine, TapsRepeatedPointsAndNaNGiveNoShape) {
    for (Method method : {Method::TemplateMasks, Method::Drawing}) {
        BDXShapeRecognitionEngine engine(method);
        expectNoShape(recognize(engine, {{120, 300}}));
        expectNoShape(recognize(engine, {{50, 100}, {50, 100}, {50, 100}}));
        expectNoShape(recognize(engine, {}));
        expectNoShape(recognize(engine, {{1, 2}, {std::nan(""), 4}}));
    }
}

TEST(BDXShapeRecognitionEngine, StraightStrokesThroughTheCentreAreVetoedAsLines) {
    BDXShapeRecognitionEngine engine;
    HandDrawnStrokes hand(21);
    for (int i = 0; i < 6; ++i) {
        double a = hand.uniform(0, 3.14), r = hand.uniform(60, 160);
        Point c{hand.uniform(100, 300), hand.uniform(200, 600)};
        expectNoShape(recognize(engine, hand.line({c.x - r * std::cos(a), c.y - r * std::sin(a)},
                                                  {c.x + r * std::cos(a), c.y + r * std::sin(a)})));
    }
    // Perfectly flat: the empty axis keeps its scale, and the line explains the stroke with balanced ink.
    std::vector<Point> flat = {{20, 300}, {140, 300}, {320, 300}};
    G::PathRef path = normalisedPath(flat);
    ASSERT_FALSE(std::isnan(path->bounds().width()));
    BDXMatchingInfo shared = engine.userPathInfoFromPath(*path);
    EXPECT_EQ(shared.topWeight(), shared.bottomWeight());
    EXPECT_EQ(engine.matchingInfoForPath(*path, 3, shared).probability(), 1.0);
    expectNoShape(recognize(engine, flat));
}

TEST(BDXShapeRecognitionEngine, ALineWinningOnUnbalancedInkIsNotVetoed) {
    BDXShapeRecognitionEngine engine;
    // Drawn downwards: a straight line explains it even better than the arrow, but the head sits low.
    std::vector<Point> arrow = HandDrawnStrokes(8, 0.0).arrow({200, 200}, 200, 90);
    G::PathRef path = normalisedPath(arrow);
    BDXMatchingInfo shared = engine.userPathInfoFromPath(*path);
    ASSERT_GT(std::llabs(shared.topWeight() - shared.bottomWeight()), 9);
    ASSERT_GT(engine.matchingInfoForPath(*path, 3, shared).probability(),
              engine.matchingInfoForPath(*path, 2, shared).probability());
    Recognition r = recognize(engine, arrow);
    EXPECT_EQ(r.shape, BDXRecognizedShapeArrow);
    EXPECT_EQ(r.angle, 180);
}

TEST(BDXShapeRecognitionEngine, NoTemplateWinningStillGivesRectanglesCrossedForAWideStroke) {
    BDXShapeRecognitionEngine engine;
    // A hook: nothing clears the placeholder's 0.8.
    Recognition r = recognize(engine, {{0, 0}, {200, 0}, {200, 40}});
    EXPECT_EQ(r.shape, BDXRecognizedShapeNone);
    EXPECT_EQ(r.angle, 0.0);
    EXPECT_EQ(r.boundingRect, Rect(0, 0, 200, 40));
    // Wider than high: the shorter side runs across.
    EXPECT_NEAR(r.fittedRect.size.width, 40, 1e-6);
    EXPECT_NEAR(r.fittedRect.size.height, 200, 1e-6);
    EXPECT_NEAR(r.fittedRect.midY(), 20, 1e-6);
}

TEST(BDXShapeRecognitionEngine, AnArrowAngleCanExceedAFullTurn) {
    BDXShapeRecognitionEngine engine;
    // Rightwards and a little up: the template turned by 355 fits; a quarter turn on, 445 snaps to 450.
    const double up = -3 * 3.141592653589793 / 180, spread = 45 * 3.141592653589793 / 180;
    Point tail{100, 300}, tip{tail.x + 200 * std::cos(up), tail.y + 200 * std::sin(up)};
    auto head = [&](double side) {
        return Point{tip.x - 200.0 / 3 * std::cos(up + side), tip.y - 200.0 / 3 * std::sin(up + side)};
    };
    Recognition r = recognize(engine, {tail, tip, head(spread), tip, head(-spread)});
    EXPECT_EQ(r.shape, BDXRecognizedShapeArrow);
    EXPECT_EQ(r.angle, 450);
}

// Each hand-drawn kind comes out as itself or, near a threshold, as nothing, never as another shape. Most
// come out as themselves; a loop that covers at most 80 per cent of its best ellipse is rightly no circle.
TEST(BDXShapeRecognitionEngine, HandDrawnLoopsBoxesAndArrows) {
    BDXShapeRecognitionEngine engine;
    HandDrawnStrokes hand(2024);
    for (BDXRecognizedShape kind :
         {BDXRecognizedShapeCircle, BDXRecognizedShapeRectangle, BDXRecognizedShapeArrow}) {
        int recognised = 0;
        for (int i = 0; i < 24; ++i) {
            Point at{hand.uniform(120, 270), hand.uniform(200, 600)};
            double size = hand.uniform(50, 140), direction = 90 * (i % 4) + hand.uniform(-3, 3);
            std::vector<Point> stroke =
                kind == BDXRecognizedShapeCircle
                    ? hand.loop(at, size, size * hand.uniform(0.7, 1.0), hand.uniform(0, 180))
                : kind == BDXRecognizedShapeRectangle
                    ? hand.box(at, size * 1.6, size * hand.uniform(0.9, 2.4), hand.uniform(-4, 4))
                    : hand.arrow(at, size * 1.8, direction);
            Recognition r = recognize(engine, stroke);
            ASSERT_EQ(r.calls, 1);
            ASSERT_TRUE(r.shape == kind || r.shape == BDXRecognizedShapeNone)
                << kind << " taken for " << r.shape;
            if (r.shape == BDXRecognizedShapeNone)
                continue;
            ++recognised;
            EXPECT_EQ(std::fmod(r.angle, 15.0), 0.0) << r.angle;
            if (kind == BDXRecognizedShapeArrow) {
                // A quarter turn on from the direction drawn, within the template and snapping steps.
                EXPECT_LE(std::fabs(std::remainder(r.angle - 90 - direction, 360.0)), 15) << direction;
            } else {
                EXPECT_LE(r.angle, 180);
            }
        }
        EXPECT_GE(recognised, 18) << "shape " << kind;
    }
}

TEST(BDXShapeRecognitionEngine, EnginesOnSeveralThreadsAgreeWithOneThread) {
    HandDrawnStrokes hand(99);
    std::vector<std::vector<Point>> strokes;
    for (int i = 0; i < 8; ++i)
        strokes.push_back(hand.loop({200, 300}, 80, 60 + 5 * i, 20 * i));
    // Cold template rasters: the first strokes race to draw them.
    std::vector<Recognition> together(strokes.size());
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
    BDXShapeRecognitionEngine engine;
    for (std::size_t i = 0; i < strokes.size(); ++i)
        EXPECT_EQ(together[i], recognize(engine, strokes[i])) << i;
}
