#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/gfx/Geometry.h"
#include "platform/gfx/Path.h"

// Stateless operations on strokes (arrays of points, y down, angles in degrees) and on paths: they
// normalise a stroke, build the templates that stroke recognition matches against, and measure a
// stroke's own width and height. Every operation that transforms points returns a new array.
//
// Paths are shared: an operation whose name starts with `new` hands out a path the caller owns, and
// `newScaledPath` may give back the very path it was handed.
class BDXGeomtryUtilities {
  public:
    using Points = std::vector<bdx::gfx::Point>;
    using PathRef = std::shared_ptr<bdx::gfx::Path>;

    // One process-wide recursive lock, held by every path and point operation; recursive because the
    // operations call one another.
    static std::recursive_mutex& lock();

    static double degreeToRadian(double degrees);
    static double radianToDegree(double radians);

    // The mean of the points (NaN for none).
    static bdx::gfx::Point centeroidnpOfPoints(const Points& points);
    // Moves the points so that their centroid lands on the target.
    static Points translatePoints(const Points& points, bdx::gfx::Point toPoint);
    // Turns the points about their own centroid.
    static Points rotatePoints(const Points& points, double withAngle);
    // Left, top, right and bottom extremes, in that order, each a real point of the input. Ties on the
    // extreme coordinate go to the smaller y (left, right), the larger x (top) or the smaller x (bottom).
    // None of the points give the infinite start values.
    static Points boundingPointsForPoints(const Points& points);
    static bdx::gfx::Rect boundingRectForPoints(const Points& points);
    // Scales about the centroid so that the source size, aspect kept, fits the target size. An axis whose
    // fitted extent is zero keeps a factor of 1; a source without extent gives NaN.
    static Points scalePoints(const Points& points, bdx::gfx::Size fromSize, bdx::gfx::Size toSize);
    // Width and height of the stroke in the whole-degree rotation at which its extremes stand square.
    static bdx::gfx::Size dimsOfPoints(const Points& points);
    // Angle in degrees between two vectors.
    static double angleBetweenVectors(bdx::gfx::Point vector, bdx::gfx::Point andVector);

    // A polyline through the points, fitted to the recognition raster's (1, 1, 26, 26) and centred on
    // (14, 14). Nothing for no points.
    static PathRef newPathFromPoints(const Points& points);
    // Takes the path over: gives it back unchanged when it already fits the rectangle along one side (or
    // has no height), otherwise a copy scaled about the rectangle's centre so that it does.
    static PathRef newScaledPath(PathRef path, const bdx::gfx::Rect& toRect);
    // One recognition template: ellipse (0), rectangle (1), arrow (2) or line (3), turned by the angle about
    // the rectangle's centre; ellipse and rectangle are then fitted to the second rectangle. Nothing for
    // any other code.
    static PathRef newSyntheizedPathInRect(const bdx::gfx::Rect& rect, int andShape, double withAngle,
                                           const bdx::gfx::Rect& withInRect);
    // An arrow pointing along +x before the turn, with its tip at the middle of the right edge.
    static PathRef newArrowPathInRect(const bdx::gfx::Rect& rect, double withAngle);

    // Whether the two interface orientations are one portrait (1, 2) and one landscape (3, 4).
    static bool shouldRotateWithFirstOrientation(long first, long AndSecondOrientation);

    // Point-cloud forms of the templates and a nearest-point matcher. Recognition does not use them.
    static std::optional<Points> syntheizedObjectInRect(const bdx::gfx::Rect& rect, int andShape, int count);
    static Points circlePoints(const bdx::gfx::Rect& rect, int count);
    static Points pointsFromRect(const bdx::gfx::Rect& rect, int withCount);
    static Points arrowPoints(const bdx::gfx::Rect& rect, int count);
    // The upright rectangle a tilted one's four bounding points (left, top, right, bottom) describe.
    static bdx::gfx::Rect rectOfRectangle(const Points& boundingPoints);
    // In single precision.
    static double distanceBetweenPoint(bdx::gfx::Point point, bdx::gfx::Point andPoint);
    // Sum over both sets of each point's distance to the nearest point of the other set.
    static double distanceBetweenPoints(const Points& points, const Points& andPoints);
    // The whole angle from 0 to 360 that turns the points closest to the reference; the earliest of equals.
    static double matchingAngleOfPoints(const Points& points, const Points& toRefereence);
};
