#pragma once

#include <vector>

#include "annotation/BDXGeomtryUtilities.h"
#include "annotation/BDXShapeRecognitionEngine.h"

// What one recognition called back with, and how often.
struct Recognition {
    int calls = 0;
    BDXRecognizedShape shape = BDXRecognizedShapeNone;
    double angle = -1;
    bdx::gfx::Rect boundingRect, fittedRect;
    bool operator==(const Recognition&) const = default;
};

inline Recognition recognize(BDXShapeRecognitionEngine& engine, const std::vector<bdx::gfx::Point>& points) {
    Recognition r;
    engine.recognizeDrawing(
        {}, points,
        [&](BDXRecognizedShape shape, double angle, bdx::gfx::Rect bounds, bdx::gfx::Rect fitted) {
            r = {r.calls + 1, shape, angle, bounds, fitted};
        });
    return r;
}

// The stroke path as recognition builds it: into 26 by 26, aspect kept, centroid at (13, 13).
inline BDXGeomtryUtilities::PathRef normalisedPath(const std::vector<bdx::gfx::Point>& points) {
    using G = BDXGeomtryUtilities;
    bdx::gfx::Rect bounds = G::boundingRectForPoints(points);
    return G::newPathFromPoints(G::translatePoints(G::scalePoints(points, bounds.size, {26, 26}), {13, 13}));
}
