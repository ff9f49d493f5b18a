#include "annotation/BDXGeomtryUtilities.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "annotation/BDXMathUtilities.h"
#include "annotation/BDXRecognizedShape.h"
#include "foundation/Singleton.h"

using bdx::gfx::AffineTransform;
using bdx::gfx::Path;
using bdx::gfx::Point;
using bdx::gfx::Rect;
using bdx::gfx::Size;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The raster of shape recognition is 28 by 28; a stroke is drawn inside a one-pixel margin, centred.
constexpr Rect kStrokeFitRect{1, 1, 26, 26};
constexpr Point kRasterCentre{14, 14};

// Closeness as the tie tests and the fitting see it: both values narrowed to single precision.
bool closeAsFloats(double a, double b) {
    return isClose(static_cast<float>(a), static_cast<float>(b));
}

// A turn by the angle (degrees) about a centre, composed as the platform composes it.
AffineTransform rotationAbout(Point centre, double degrees) {
    return AffineTransform::makeTranslation(centre.x, centre.y)
        .rotatedBy(BDXGeomtryUtilities::degreeToRadian(degrees))
        .translatedBy(-centre.x, -centre.y);
}

Point pointAlong(Point from, Point to, double fraction) {
    return {from.x + (to.x - from.x) * fraction, from.y + (to.y - from.y) * fraction};
}

double length(Point from, Point to) {
    return std::hypot(to.x - from.x, to.y - from.y);
}

bool isPortrait(long orientation) {
    return orientation == 1 || orientation == 2;
}
bool isLandscape(long orientation) {
    return orientation == 3 || orientation == 4;
}

}  // namespace

std::recursive_mutex& BDXGeomtryUtilities::lock() {
    return bdx::neverDestroyed<std::recursive_mutex, BDXGeomtryUtilities>();
}

double BDXGeomtryUtilities::degreeToRadian(double degrees) {
    return degrees * 0.017453292519943295;
}

double BDXGeomtryUtilities::radianToDegree(double radians) {
    return radians * 180.0 / 3.141592653589793;
}

Point BDXGeomtryUtilities::centeroidnpOfPoints(const Points& points) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    double sumX = 0;
    double sumY = 0;
    for (const Point& p : points) {
        sumX += p.x;
        sumY += p.y;
    }
    auto count = static_cast<double>(points.size());
    return {sumX / count, sumY / count};
}

BDXGeomtryUtilities::Points BDXGeomtryUtilities::translatePoints(const Points& points, Point toPoint) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    Point centroid = centeroidnpOfPoints(points);
    double dx = toPoint.x - centroid.x;
    double dy = toPoint.y - centroid.y;
    Points moved;
    moved.reserve(points.size());
    for (const Point& p : points) {
        moved.push_back({p.x + dx, p.y + dy});
    }
    return moved;
}

BDXGeomtryUtilities::Points BDXGeomtryUtilities::rotatePoints(const Points& points, double withAngle) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    Point centroid = centeroidnpOfPoints(points);
    Points centred = translatePoints(points, Point::zero());
    double radians = degreeToRadian(withAngle);
    double cosine = std::cos(radians);
    double sine = std::sin(radians);
    Points turned;
    turned.reserve(centred.size());
    for (const Point& p : centred) {
        turned.push_back({p.x * cosine - p.y * sine, p.x * sine + p.y * cosine});
    }
    return translatePoints(turned, centroid);
}

BDXGeomtryUtilities::Points BDXGeomtryUtilities::boundingPointsForPoints(const Points& points) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    Point left{kInfinity, 0};
    Point top{0, kInfinity};
    Point right{-kInfinity, 0};
    Point bottom{0, -kInfinity};
    for (const Point& p : points) {
        if (p.x < left.x || (closeAsFloats(p.x, left.x) && p.y < left.y)) {
            left = p;
        }
        if (p.y < top.y || (closeAsFloats(p.y, top.y) && p.x > top.x)) {
            top = p;
        }
        if (p.x > right.x || (closeAsFloats(p.x, right.x) && p.y < right.y)) {
            right = p;
        }
        if (p.y > bottom.y || (closeAsFloats(p.y, bottom.y) && p.x < bottom.x)) {
            bottom = p;
        }
    }
    return {left, top, right, bottom};
}

Rect BDXGeomtryUtilities::boundingRectForPoints(const Points& points) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    Points extremes = boundingPointsForPoints(points);
    const Point& left = extremes[0];
    const Point& top = extremes[1];
    const Point& right = extremes[2];
    const Point& bottom = extremes[3];
    return Rect(left.x, top.y, right.x - left.x, bottom.y - top.y);
}

BDXGeomtryUtilities::Points BDXGeomtryUtilities::scalePoints(const Points& points, Size fromSize,
                                                             Size toSize) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    Point centroid = centeroidnpOfPoints(points);
    Points centred = translatePoints(points, Point::zero());

    double ratio = fromSize.width / fromSize.height;
    double targetWidth = toSize.width;
    double targetHeight = toSize.height;
    if (ratio > 1.0) {
        targetHeight = targetWidth / ratio;
    } else {
        targetWidth = ratio * targetHeight;
    }
    double scaleX = closeAsFloats(targetWidth, 0) ? 1.0 : targetWidth / fromSize.width;
    double scaleY = closeAsFloats(targetHeight, 0) ? 1.0 : targetHeight / fromSize.height;

    Points scaled;
    scaled.reserve(centred.size());
    for (const Point& p : centred) {
        scaled.push_back({p.x * scaleX, p.y * scaleY});
    }
    return translatePoints(scaled, centroid);
}

double BDXGeomtryUtilities::angleBetweenVectors(Point vector, Point andVector) {
    double dot = vector.x * andVector.x + vector.y * andVector.y;
    double lengths = std::sqrt(vector.x * vector.x + vector.y * vector.y) *
                     std::sqrt(andVector.x * andVector.x + andVector.y * andVector.y);
    return radianToDegree(std::acos(dot / lengths));
}

Size BDXGeomtryUtilities::dimsOfPoints(const Points& points) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    double bestDifference = kInfinity;
    int keptAngle = 0;
    for (int angle = 0; angle < 360; ++angle) {
        Points extremes = boundingPointsForPoints(rotatePoints(points, angle));
        Point across{extremes[2].x - extremes[0].x, extremes[2].y - extremes[0].y};
        Point down{extremes[3].x - extremes[1].x, extremes[3].y - extremes[1].y};
        double difference = std::fabs(angleBetweenVectors(across, down) - 90.0);
        // NaN compares false, so a degenerate pair of vectors never wins.
        if (difference < bestDifference) {
            bestDifference = difference;
            keptAngle = angle;
        }
    }
    Points extremes = boundingPointsForPoints(rotatePoints(points, keptAngle));
    return {extremes[2].x - extremes[0].x, extremes[3].y - extremes[1].y};
}

BDXGeomtryUtilities::PathRef BDXGeomtryUtilities::newPathFromPoints(const Points& points) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    if (points.empty()) {
        return nullptr;
    }
    auto polyline = std::make_shared<Path>();
    polyline->moveTo(points.front());
    for (std::size_t i = 1; i < points.size(); ++i) {
        polyline->lineTo(points[i]);
    }
    PathRef fitted = newScaledPath(std::move(polyline), kStrokeFitRect);
    Rect box = fitted->bounds();
    return std::make_shared<Path>(fitted->transformed(
        AffineTransform::makeTranslation(kRasterCentre.x - box.midX(), kRasterCentre.y - box.midY())));
}

BDXGeomtryUtilities::PathRef BDXGeomtryUtilities::newScaledPath(PathRef path, const Rect& toRect) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    if (!path) {
        return nullptr;
    }
    // The box of every point of the path, curve control points included, as the platform's path box is:
    // a turned ellipse's box is then a little larger than the curve, and its template a little smaller.
    Rect box = path->bounds();
    double widthRatio = box.width() / toRect.width();
    double heightRatio = box.height() / toRect.height();
    if (closeAsFloats(heightRatio, 1) || closeAsFloats(widthRatio, 1) || closeAsFloats(heightRatio, 0)) {
        return path;
    }
    double scale = 1.0 / std::max(widthRatio, heightRatio);
    Point centre = toRect.center();
    AffineTransform about = AffineTransform::makeTranslation(centre.x, centre.y)
                                .scaledBy(scale, scale)
                                .translatedBy(-centre.x, -centre.y);
    return std::make_shared<Path>(path->transformed(about));
}

BDXGeomtryUtilities::PathRef BDXGeomtryUtilities::newSyntheizedPathInRect(const Rect& rect, int andShape,
                                                                          double withAngle,
                                                                          const Rect& withInRect) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    AffineTransform turn = rotationAbout(rect.center(), withAngle);
    auto path = std::make_shared<Path>();
    switch (andShape) {
        case BDXRecognizedShapeCircle:
            path->addEllipseInRect(rect);
            path->applyTransform(turn);
            return newScaledPath(std::move(path), withInRect);
        case BDXRecognizedShapeRectangle:
            path->addRect(rect);
            path->applyTransform(turn);
            return newScaledPath(std::move(path), withInRect);
        case BDXRecognizedShapeArrow:
            return newArrowPathInRect(rect, withAngle);
        case BDXRecognizedShapeLine:
            path->moveTo({rect.minX(), rect.midY()});
            path->lineTo({rect.maxX(), rect.midY()});
            path->applyTransform(turn);
            return path;
        default:
            return nullptr;
    }
}

BDXGeomtryUtilities::PathRef BDXGeomtryUtilities::newArrowPathInRect(const Rect& rect, double withAngle) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    double head = (rect.width() / 3) * 0.707;
    Point tip{rect.maxX(), rect.midY()};
    auto path = std::make_shared<Path>();
    path->moveTo({rect.minX(), rect.midY()});
    path->lineTo(tip);
    path->lineTo({rect.maxX() - head, rect.midY() + head});
    path->moveTo(tip);
    path->lineTo({rect.maxX() - head, rect.midY() - head});
    path->applyTransform(rotationAbout(rect.center(), withAngle));
    return path;
}

bool BDXGeomtryUtilities::shouldRotateWithFirstOrientation(long first, long AndSecondOrientation) {
    return (isPortrait(first) && isLandscape(AndSecondOrientation)) ||
           (isLandscape(first) && isPortrait(AndSecondOrientation));
}

std::optional<BDXGeomtryUtilities::Points> BDXGeomtryUtilities::syntheizedObjectInRect(const Rect& rect,
                                                                                       int andShape,
                                                                                       int count) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    switch (andShape) {
        case BDXRecognizedShapeCircle:
            return circlePoints(rect, count);
        case BDXRecognizedShapeRectangle:
            return pointsFromRect(rect, count);
        case BDXRecognizedShapeArrow:
            return arrowPoints(rect, count);
        default:
            return std::nullopt;
    }
}

BDXGeomtryUtilities::Points BDXGeomtryUtilities::circlePoints(const Rect& rect, int count) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    Points points;
    if (count <= 0) {
        return points;
    }
    double step = 360.0 / count;
    for (int i = 0; i < count; ++i) {
        double radians = degreeToRadian(i * step);
        points.push_back({rect.midX() + rect.width() * 0.5 * std::cos(radians),
                          rect.midY() + rect.height() * 0.5 * std::sin(radians)});
    }
    return points;
}

BDXGeomtryUtilities::Points BDXGeomtryUtilities::pointsFromRect(const Rect& rect, int withCount) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    Points points;
    if (withCount <= 0) {
        return points;
    }
    // Clockwise on screen from the top-left corner: top, right, bottom, left.
    const Point corners[5] = {{rect.minX(), rect.minY()},
                              {rect.maxX(), rect.minY()},
                              {rect.maxX(), rect.maxY()},
                              {rect.minX(), rect.maxY()},
                              {rect.minX(), rect.minY()}};
    for (int side = 0; side < 4; ++side) {
        int onSide = withCount / 4 + (side < withCount % 4 ? 1 : 0);
        for (int i = 0; i < onSide; ++i) {
            points.push_back(pointAlong(corners[side], corners[side + 1], static_cast<double>(i) / onSide));
        }
    }
    return points;
}

BDXGeomtryUtilities::Points BDXGeomtryUtilities::arrowPoints(const Rect& rect, int count) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    Points points;
    if (count <= 0) {
        return points;
    }
    double head = (rect.width() / 3) * 0.707;
    Point tip{rect.maxX(), rect.midY()};
    // Shaft to the tip, then each side of the head away from the tip.
    const Point segments[3][2] = {{{rect.minX(), rect.midY()}, tip},
                                  {tip, {rect.maxX() - head, rect.midY() + head}},
                                  {tip, {rect.maxX() - head, rect.midY() - head}}};
    double lengths[3];
    double total = 0;
    for (int s = 0; s < 3; ++s) {
        lengths[s] = length(segments[s][0], segments[s][1]);
        total += lengths[s];
    }
    for (int i = 0; i < count; ++i) {
        double along = total * i / count;
        int s = 0;
        while (s < 2 && along > lengths[s]) {
            along -= lengths[s];
            ++s;
        }
        double fraction = lengths[s] > 0 ? std::min(along / lengths[s], 1.0) : 0.0;
        points.push_back(pointAlong(segments[s][0], segments[s][1], fraction));
    }
    return points;
}

Rect BDXGeomtryUtilities::rectOfRectangle(const Points& boundingPoints) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    if (boundingPoints.size() < 4) {
        return Rect::null();
    }
    const Point& left = boundingPoints[0];
    const Point& top = boundingPoints[1];
    const Point& right = boundingPoints[2];
    const Point& bottom = boundingPoints[3];
    Rect box(left.x, top.y, right.x - left.x, bottom.y - top.y);
    double across = distanceBetweenPoint(left, top);
    double down = distanceBetweenPoint(top, right);
    if (closeAsFloats(across, 0)) {
        across = box.size.width;
    }
    if (closeAsFloats(down, 0)) {
        down = box.size.height;
    }
    return box.insetBy(std::fabs(box.size.width - across) * 0.5, std::fabs(box.size.height - down) * 0.5);
}

double BDXGeomtryUtilities::distanceBetweenPoint(Point point, Point andPoint) {
    float dx = static_cast<float>(andPoint.x - point.x);
    float dy = static_cast<float>(andPoint.y - point.y);
    return std::sqrt(dx * dx + dy * dy);
}

double BDXGeomtryUtilities::distanceBetweenPoints(const Points& points, const Points& andPoints) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    auto nearestSum = [](const Points& from, const Points& to) {
        double sum = 0;
        for (const Point& p : from) {
            double nearest = kInfinity;
            for (const Point& q : to) {
                nearest = std::min(nearest, distanceBetweenPoint(p, q));
            }
            sum += nearest;
        }
        return sum;
    };
    return nearestSum(points, andPoints) + nearestSum(andPoints, points);
}

double BDXGeomtryUtilities::matchingAngleOfPoints(const Points& points, const Points& toRefereence) {
    std::lock_guard<std::recursive_mutex> guard(lock());
    double bestDistance = kInfinity;
    int bestAngle = 0;
    for (int angle = 0; angle <= 360; ++angle) {
        double distance = distanceBetweenPoints(rotatePoints(points, angle), toRefereence);
        if (distance < bestDistance) {
            bestDistance = distance;
            bestAngle = angle;
        }
    }
    return bestAngle;
}
