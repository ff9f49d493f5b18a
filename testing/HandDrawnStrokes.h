#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <tuple>
#include <vector>

#include "platform/gfx/Geometry.h"

namespace bdx::testing {

// Strokes as a finger draws them, in view points: a parametric shape traced with uneven speed, a slow
// wobble, touch jitter, and an overshoot or gap where the finger lifts. Seeded, and built only from the
// raw output of the standard engine (its sequence is fixed), so every platform sees the same strokes.
// Sloppiness scales the wobble, the jitter and the overshoot; 0 draws the exact shape.
class HandDrawnStrokes {
  public:
    using Point = bdx::gfx::Point;
    using Points = std::vector<Point>;

    explicit HandDrawnStrokes(std::uint32_t seed, double sloppiness = 1.0)
        : random_(seed), sloppy_(sloppiness) {}

    double uniform(double low, double high) { return low + (high - low) * (random_() / 4294967296.0); }

    // A loop round an ellipse turned by the angle (degrees), from anywhere to a little short of or past it.
    Points loop(Point centre, double radiusX, double radiusY, double turn) {
        Wobble wobble(*this, 0.025 * sloppy_);
        double start = uniform(0, 2 * kPi), sweep = 2 * kPi * (1 + sloppy_ * uniform(-0.05, 0.1));
        Points points;
        for (int i = 0, count = static_cast<int>(uniform(50, 90)); i <= count; ++i) {
            double s = uneven(static_cast<double>(i) / count), t = start + sweep * s, r = 1 + wobble.at(s);
            points.push_back(turned({radiusX * r * std::cos(t), radiusY * r * std::sin(t)}, centre, turn));
        }
        return jittered(points, 1.0);
    }

    // A box traced from a corner round to a little past it, mostly clockwise, its sides slightly bowed.
    Points box(Point centre, double width, double height, double turn) {
        const Point corners[4] = {{-width / 2, -height / 2},
                                  {width / 2, -height / 2},
                                  {width / 2, height / 2},
                                  {-width / 2, height / 2}};
        int first = static_cast<int>(uniform(0, 4)) % 4, step = uniform(0, 1) < 0.7 ? 1 : 3;
        Points points;
        for (int side = 0; side < 5; ++side) {
            Point a = corners[(first + side * step) % 4], b = corners[(first + (side + 1) * step) % 4];
            // The fifth side is the overshoot past the starting corner.
            double reach = side == 4 ? sloppy_ * uniform(0.0, 0.15) : 1.0;
            double bow = sloppy_ * uniform(-0.03, 0.03) * (width + height) / 2;
            int count = static_cast<int>(uniform(12, 22) * reach) + 1;
            for (int i = side == 0 ? 0 : 1; i <= count; ++i) {
                double s = reach * uneven(static_cast<double>(i) / count);
                points.push_back(turned(along(a, b, s, bow * std::sin(kPi * s)), centre, turn));
            }
        }
        return jittered(points, 1.0);
    }

    // An arrow in one stroke: tail to tip, out along one side of the head, back to the tip, out along the
    // other. The direction is in degrees, turning from +x towards +y.
    Points arrow(Point tail, double length, double direction) {
        double a = direction * kPi / 180, head = length * uniform(0.3, 0.4),
               spread = uniform(38, 50) * kPi / 180;
        Point tip{tail.x + length * std::cos(a), tail.y + length * std::sin(a)};
        Point sideA{tip.x - head * std::cos(a - spread), tip.y - head * std::sin(a - spread)};
        Point sideB{tip.x - head * std::cos(a + spread), tip.y - head * std::sin(a + spread)};
        Points points{tail};
        Wobble wobble(*this, 0.015 * sloppy_);
        for (auto [from, to, count] :
             {std::tuple{tail, tip, 32}, {tip, sideA, 10}, {sideA, tip, 10}, {tip, sideB, 10}}) {
            appendSegment(points, from, to, count, wobble, length);
        }
        return jittered(points, 0.8);
    }

    Points line(Point from, Point to) {
        Points points{from};
        appendSegment(points, from, to, 32, Wobble(*this, 0.01 * sloppy_),
                      std::hypot(to.x - from.x, to.y - from.y));
        return jittered(points, 0.8);
    }

  private:
    static constexpr double kPi = 3.141592653589793;

    // A slow, smooth deviation along the stroke, a fraction of its size.
    struct Wobble {
        Wobble(HandDrawnStrokes& strokes, double amplitude) {
            for (int k = 0; k < 3; ++k) {
                amplitudes[k] = amplitude * strokes.uniform(0.3, 1.0) / (k + 1);
                phases[k] = strokes.uniform(0, 2 * kPi);
            }
        }
        double at(double s) const {
            return amplitudes[0] * std::sin(2 * kPi * s + phases[0]) +
                   amplitudes[1] * std::sin(4 * kPi * s + phases[1]) +
                   amplitudes[2] * std::sin(6 * kPi * s + phases[2]);
        }
        double amplitudes[3], phases[3];
    };

    // The finger is slower at the ends of a movement than in its middle.
    static double uneven(double s) { return s - 0.16 * std::sin(2 * kPi * s) / (2 * kPi); }

    // The point a fraction s of the way from a to b, lifted sideways.
    static Point along(Point a, Point b, double s, double lift) {
        double length = std::hypot(b.x - a.x, b.y - a.y);
        return {a.x + (b.x - a.x) * s - (b.y - a.y) / length * lift,
                a.y + (b.y - a.y) * s + (b.x - a.x) / length * lift};
    }

    static Point turned(Point p, Point centre, double degrees) {
        double a = degrees * kPi / 180;
        return {centre.x + p.x * std::cos(a) - p.y * std::sin(a),
                centre.y + p.x * std::sin(a) + p.y * std::cos(a)};
    }

    void appendSegment(Points& points, Point from, Point to, int count, const Wobble& wobble, double size) {
        for (int i = 1; i <= count; ++i) {
            double s = uneven(static_cast<double>(i) / count);
            points.push_back(along(from, to, s, wobble.at(s) * size * std::sin(kPi * s)));
        }
    }

    Points jittered(Points points, double amount) {
        for (Point& p : points) {
            p.x += uniform(-amount * sloppy_, amount * sloppy_);
            p.y += uniform(-amount * sloppy_, amount * sloppy_);
        }
        return points;
    }

    std::mt19937 random_;
    double sloppy_;
};

}  // namespace bdx::testing
