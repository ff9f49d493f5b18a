#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "platform/gfx/Geometry.h"

namespace bdx::testing {

// Strokes as a finger draws them, in view points: a parametric shape traced with uneven speed, a slow
// wobble, touch jitter, and the overshoot or gap where the finger lifts. Seeded, and built only from the
// raw output of the standard engine (whose sequence is fixed), so every platform sees the same strokes.
class HandDrawnStrokes {
  public:
    using Points = std::vector<bdx::gfx::Point>;

    // Sloppiness scales the wobble, the jitter and how far the end of a closed shape misses its start.
    explicit HandDrawnStrokes(std::uint32_t seed, double sloppiness = 1.0)
        : random_(seed), sloppiness_(sloppiness) {}

    double uniform(double low, double high) {
        return low + (high - low) * (static_cast<double>(random_()) / 4294967296.0);
    }

    // A closed loop around an ellipse, starting anywhere, ending a little short of or past its start.
    Points loop(bdx::gfx::Point centre, double radiusX, double radiusY, double turnDegrees) {
        Wobble wobble(*this, 0.025 * sloppiness_);
        double start = uniform(0, 2 * kPi);
        double sweep = 2 * kPi * (1 + sloppiness_ * uniform(-0.05, 0.1));
        Points points;
        int count = static_cast<int>(uniform(50, 90));
        for (int i = 0; i <= count; ++i) {
            double s = unevenly(static_cast<double>(i) / count);
            double t = start + sweep * s;
            double r = 1 + wobble.at(s);
            points.push_back(
                turned({radiusX * r * std::cos(t), radiusY * r * std::sin(t)}, centre, turnDegrees));
        }
        return jittered(points, 1.0 * sloppiness_);
    }

    // A box traced corner to corner from one corner round to a little past it, sides slightly bowed.
    Points box(bdx::gfx::Point centre, double width, double height, double turnDegrees) {
        const bdx::gfx::Point corners[4] = {{-width / 2, -height / 2},
                                            {width / 2, -height / 2},
                                            {width / 2, height / 2},
                                            {-width / 2, height / 2}};
        int first = static_cast<int>(uniform(0, 4)) % 4;
        bool clockwise = uniform(0, 1) < 0.7;
        Points points;
        for (int side = 0; side < 5; ++side) {
            int from = clockwise ? (first + side) % 4 : (first - side + 8) % 4;
            int to = clockwise ? (from + 1) % 4 : (from + 3) % 4;
            // The last side is the overshoot past the starting corner.
            double reach = side == 4 ? sloppiness_ * uniform(0.0, 0.15) : 1.0;
            double bow = sloppiness_ * uniform(-0.03, 0.03) * (width + height) / 2;
            int count = static_cast<int>(uniform(12, 22) * reach) + 1;
            for (int i = side == 0 ? 0 : 1; i <= count; ++i) {
                double s = reach * unevenly(static_cast<double>(i) / count);
                bdx::gfx::Point a = corners[from];
                bdx::gfx::Point b = corners[to];
                double nx = -(b.y - a.y);
                double ny = b.x - a.x;
                double norm = std::hypot(nx, ny);
                double lift = bow * std::sin(kPi * s);
                bdx::gfx::Point p{a.x + (b.x - a.x) * s + nx / norm * lift,
                                  a.y + (b.y - a.y) * s + ny / norm * lift};
                points.push_back(turned(p, centre, turnDegrees));
            }
        }
        return jittered(points, 1.0 * sloppiness_);
    }

    // An arrow in one stroke: tail to tip, back along one side of the head, to the tip again, then along
    // the other side. The direction is in degrees, turning from +x towards +y.
    Points arrow(bdx::gfx::Point tail, double length, double directionDegrees) {
        double direction = directionDegrees * kPi / 180;
        bdx::gfx::Point tip{tail.x + length * std::cos(direction), tail.y + length * std::sin(direction)};
        double headLength = length * uniform(0.3, 0.4);
        double spread = uniform(38, 50) * kPi / 180;
        bdx::gfx::Point headA{tip.x - headLength * std::cos(direction - spread),
                              tip.y - headLength * std::sin(direction - spread)};
        bdx::gfx::Point headB{tip.x - headLength * std::cos(direction + spread),
                              tip.y - headLength * std::sin(direction + spread)};
        Points points;
        Wobble wobble(*this, 0.015 * sloppiness_);
        appendSegment(points, tail, tip, static_cast<int>(uniform(25, 40)), wobble, length, true);
        appendSegment(points, tip, headA, static_cast<int>(uniform(8, 12)), wobble, length, false);
        appendSegment(points, headA, tip, static_cast<int>(uniform(8, 12)), wobble, length, false);
        appendSegment(points, tip, headB, static_cast<int>(uniform(8, 12)), wobble, length, false);
        return jittered(points, 0.8 * sloppiness_);
    }

    // A straight stroke with a slight wobble.
    Points line(bdx::gfx::Point from, bdx::gfx::Point to) {
        Points points;
        Wobble wobble(*this, 0.01 * sloppiness_);
        appendSegment(points, from, to, static_cast<int>(uniform(25, 40)), wobble,
                      std::hypot(to.x - from.x, to.y - from.y), true);
        return jittered(points, 0.8 * sloppiness_);
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
            double value = 0;
            for (int k = 0; k < 3; ++k)
                value += amplitudes[k] * std::sin(2 * kPi * (k + 1) * s + phases[k]);
            return value;
        }
        double amplitudes[3];
        double phases[3];
    };

    // The finger speeds up in the middle of a movement and slows at its ends.
    double unevenly(double s) { return s - 0.08 * std::sin(2 * kPi * s) / (2 * kPi) * 2; }

    static bdx::gfx::Point turned(bdx::gfx::Point p, bdx::gfx::Point centre, double degrees) {
        double a = degrees * kPi / 180;
        return {centre.x + p.x * std::cos(a) - p.y * std::sin(a),
                centre.y + p.x * std::sin(a) + p.y * std::cos(a)};
    }

    void appendSegment(Points& points, bdx::gfx::Point from, bdx::gfx::Point to, int count,
                       const Wobble& wobble, double size, bool includeStart) {
        double length = std::hypot(to.x - from.x, to.y - from.y);
        double nx = -(to.y - from.y) / length;
        double ny = (to.x - from.x) / length;
        for (int i = includeStart ? 0 : 1; i <= count; ++i) {
            double s = unevenly(static_cast<double>(i) / count);
            double lift = wobble.at(s) * size * std::sin(kPi * s);
            points.push_back(
                {from.x + (to.x - from.x) * s + nx * lift, from.y + (to.y - from.y) * s + ny * lift});
        }
    }

    Points jittered(Points points, double amount) {
        for (bdx::gfx::Point& p : points) {
            p.x += uniform(-amount, amount);
            p.y += uniform(-amount, amount);
        }
        return points;
    }

    std::mt19937 random_;
    double sloppiness_;
};

}  // namespace bdx::testing
