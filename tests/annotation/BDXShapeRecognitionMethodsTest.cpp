#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "annotation/BDXGeomtryUtilities.h"
#include "annotation/BDXShapeRecognitionEngine.h"
#include "testing/HandDrawnStrokes.h"

using bdx::gfx::Image;
using bdx::gfx::Point;
using bdx::gfx::Rect;
using bdx::gfx::Size;
using G = BDXGeomtryUtilities;
using bdx::testing::HandDrawnStrokes;
using Method = BDXShapeRecognitionEngine::MatchingMethod;

namespace {

struct Outcome {
    int calls = 0;
    BDXRecognizedShape shape = BDXRecognizedShapeNone;
    double angle = 0;
    Rect boundingRect;
    Rect fittedRect;
};

Outcome run(BDXShapeRecognitionEngine& engine, const std::vector<Point>& points) {
    Outcome outcome;
    engine.recognizeDrawing(Image(), points,
                            [&](BDXRecognizedShape shape, double angle, Rect bounds, Rect fitted) {
                                ++outcome.calls;
                                outcome.shape = shape;
                                outcome.angle = angle;
                                outcome.boundingRect = bounds;
                                outcome.fittedRect = fitted;
                            });
    return outcome;
}

// Circles, boxes, arrows, lines and scribbles of every size, turn and care, and a few degenerate ones.
std::vector<std::vector<Point>> variedStrokes(std::uint32_t seed, int count) {
    HandDrawnStrokes picker(seed);
    std::vector<std::vector<Point>> strokes;
    for (int i = 0; i < count; ++i) {
        HandDrawnStrokes hand(seed * 1000 + static_cast<std::uint32_t>(i), picker.uniform(0.0, 2.5));
        Point centre{picker.uniform(60, 330), picker.uniform(80, 760)};
        double size = picker.uniform(20, 160);
        switch (i % 6) {
            case 0:
                strokes.push_back(
                    hand.loop(centre, size, size * picker.uniform(0.3, 1.0), picker.uniform(0, 360)));
                break;
            case 1:
                strokes.push_back(
                    hand.box(centre, size * 1.5, size * picker.uniform(0.3, 1.6), picker.uniform(-30, 30)));
                break;
            case 2:
                strokes.push_back(hand.arrow(centre, size * 1.5, picker.uniform(0, 360)));
                break;
            case 3: {
                double a = picker.uniform(0, 6.3);
                strokes.push_back(
                    hand.line(centre, {centre.x + size * std::cos(a), centre.y + size * std::sin(a)}));
                break;
            }
            case 4: {
                std::vector<Point> scribble = {centre};
                int steps = static_cast<int>(picker.uniform(3, 40));
                for (int k = 0; k < steps; ++k) {
                    scribble.push_back({scribble.back().x + picker.uniform(-size, size) / 4,
                                        scribble.back().y + picker.uniform(-size, size) / 4});
                }
                strokes.push_back(scribble);
                break;
            }
            default:
                // Flat, upright, two-point and tap-like strokes.
                if (i % 4 == 0) {
                    strokes.push_back({centre, {centre.x + size, centre.y}});
                } else if (i % 4 == 1) {
                    strokes.push_back({centre, {centre.x, centre.y + size}, {centre.x, centre.y + size / 3}});
                } else if (i % 4 == 2) {
                    strokes.push_back({centre, centre});
                } else {
                    strokes.push_back(
                        {centre, {centre.x + 0.5, centre.y + 0.25}, {centre.x + 0.1, centre.y + 0.9}});
                }
        }
    }
    return strokes;
}

}  // namespace

// Drawing every template with the stroke and counting by bit masks must not differ anywhere: both go
// through the same drawing, so any difference is a fault of one of them.
TEST(BDXShapeRecognitionMethods, MasksAndDrawingGiveTheSameMatchesOnVariedStrokes) {
    BDXShapeRecognitionEngine drawing(Method::Drawing);
    BDXShapeRecognitionEngine masks(Method::TemplateMasks);
    std::vector<std::vector<Point>> strokes = variedStrokes(17, 24);
    int compared = 0;
    for (std::size_t i = 0; i < strokes.size(); ++i) {
        Rect bounds = G::boundingRectForPoints(strokes[i]);
        G::PathRef path = G::newPathFromPoints(
            G::translatePoints(G::scalePoints(strokes[i], bounds.size, Size(26, 26)), {13, 13}));
        if (!path || !drawing.validPoints({{path->bounds().minX(), path->bounds().minY()}})) {
            continue;
        }
        BDXMatchingInfo shared = drawing.userPathInfoFromPath(*path);
        ASSERT_EQ(BDXShapeRecognitionEngine::userPathInfoFromMask(masks.weightsMaskFromPath(*path)), shared)
            << "stroke " << i;
        BDXRasterMask strokeMask = masks.strokeMaskFromPath(*path);
        for (int shape = 0; shape < 4; ++shape) {
            EXPECT_EQ(masks.matchingInfoForStrokeMask(strokeMask, shape, shared),
                      drawing.matchingInfoForPath(*path, shape, shared))
                << "stroke " << i << ", shape " << shape;
        }
        ++compared;
    }
    EXPECT_GE(compared, 18);
}

TEST(BDXShapeRecognitionMethods, MasksAndDrawingGiveTheSameResultsOnVariedStrokes) {
    BDXShapeRecognitionEngine drawing(Method::Drawing);
    BDXShapeRecognitionEngine masks(Method::TemplateMasks);
    std::vector<std::vector<Point>> strokes = variedStrokes(41, 72);
    int shapes[5] = {0, 0, 0, 0, 0};
    for (std::size_t i = 0; i < strokes.size(); ++i) {
        Outcome slow = run(drawing, strokes[i]);
        Outcome fast = run(masks, strokes[i]);
        ASSERT_EQ(slow.calls, 1);
        ASSERT_EQ(fast.calls, 1);
        EXPECT_EQ(fast.shape, slow.shape) << "stroke " << i;
        EXPECT_EQ(fast.angle, slow.angle) << "stroke " << i;
        EXPECT_EQ(fast.boundingRect, slow.boundingRect) << "stroke " << i;
        EXPECT_EQ(fast.fittedRect, slow.fittedRect) << "stroke " << i;
        ++shapes[slow.shape];
    }
    // The set is only a fair comparison if it reaches every answer.
    EXPECT_GT(shapes[BDXRecognizedShapeCircle], 0);
    EXPECT_GT(shapes[BDXRecognizedShapeRectangle], 0);
    EXPECT_GT(shapes[BDXRecognizedShapeArrow], 0);
    EXPECT_GT(shapes[BDXRecognizedShapeNone], 0);
}
