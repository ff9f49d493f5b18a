#include <gtest/gtest.h>

#include "annotation/BDXGeomtryUtilities.h"
#include "annotation/BDXShapeRecognitionEngine.h"
#include "testing/HandDrawnStrokes.h"
#include "tests/annotation/RecognitionTestSupport.h"

using bdx::gfx::Point;
using bdx::gfx::Rect;
using G = BDXGeomtryUtilities;
using Method = BDXShapeRecognitionEngine::MatchingMethod;

namespace {

// Loops, boxes, arrows, lines and scribbles of every size, turn and care, and degenerate ones.
std::vector<Point> variedStroke(bdx::testing::HandDrawnStrokes& picker, std::uint32_t seed, int kind) {
    bdx::testing::HandDrawnStrokes hand(seed, picker.uniform(0.0, 2.5));
    Point c{picker.uniform(60, 330), picker.uniform(80, 760)};
    double size = picker.uniform(20, 160), turn = picker.uniform(0, 360);
    switch (kind) {
        case 0:
            return hand.loop(c, size, size * picker.uniform(0.3, 1.0), turn);
        case 1:
            return hand.box(c, size * 1.5, size * picker.uniform(0.3, 1.6), turn / 6 - 30);
        case 2:
            return hand.arrow(c, size * 1.5, turn);
        case 3:
            return hand.line(c, {c.x + size * std::cos(turn), c.y + size * std::sin(turn)});
        case 4: {
            std::vector<Point> scribble = {c};
            for (int k = static_cast<int>(picker.uniform(3, 40)); k > 0; --k) {
                Point last = scribble.back();
                scribble.push_back(
                    {last.x + picker.uniform(-size, size) / 4, last.y + picker.uniform(-size, size) / 4});
            }
            return scribble;
        }
        default:
            return seed % 3 == 0   ? std::vector<Point>{c, {c.x + size, c.y}}
                   : seed % 3 == 1 ? std::vector<Point>{c, {c.x, c.y + size}, {c.x, c.y + size / 3}}
                                   : std::vector<Point>{c, {c.x + 0.5, c.y + 0.25}, {c.x + 0.1, c.y + 0.9}};
    }
}

}  // namespace

// Drawing every template with the stroke and counting on template masks go through the same drawing, so
// any difference, in a match record or in a result, is a fault of one of them.
TEST(BDXShapeRecognitionMethods, MasksAndDrawingAgreeOnVariedStrokes) {
    BDXShapeRecognitionEngine drawing(Method::Drawing);
    BDXShapeRecognitionEngine masks(Method::TemplateMasks);
    bdx::testing::HandDrawnStrokes picker(41);
    int answers[5] = {0, 0, 0, 0, 0};
    for (std::uint32_t i = 0; i < 84; ++i) {
        std::vector<Point> stroke = variedStroke(picker, 1000 + i, static_cast<int>(i % 6));
        Recognition slow = recognize(drawing, stroke);
        ASSERT_EQ(slow.calls, 1);
        EXPECT_EQ(recognize(masks, stroke), slow) << "stroke " << i;
        ++answers[slow.shape];
        if (i % 4 != 0) {
            continue;
        }
        // Every fourth stroke: the match records of all four sweeps, field by field.
        G::PathRef path = normalisedPath(stroke);
        if (!path || std::isnan(path->bounds().width())) {
            continue;
        }
        BDXMatchingInfo shared = drawing.userPathInfoFromPath(*path);
        ASSERT_EQ(BDXShapeRecognitionEngine::userPathInfoFromMask(masks.weightsMaskFromPath(*path)), shared);
        BDXRasterMask strokeMask = masks.strokeMaskFromPath(*path);
        for (int shape = 0; shape < 4; ++shape) {
            EXPECT_EQ(masks.matchingInfoForStrokeMask(strokeMask, shape, shared),
                      drawing.matchingInfoForPath(*path, shape, shared))
                << "stroke " << i << ", shape " << shape;
        }
    }
    // The comparison is only fair if the set reaches every answer.
    for (int shape : {0, 1, 2, 4})
        EXPECT_GT(answers[shape], 0) << shape;
}
