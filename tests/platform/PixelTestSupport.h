#pragma once

#include <cstdint>
#include <cstdlib>
#include <map>

#include <gtest/gtest.h>

#include "platform/gfx/Image.h"
#include "platform/gfx/ImageContext.h"

namespace bdx::gfx::test {

inline constexpr std::uint32_t kRed = 0xFFFF0000;
inline constexpr std::uint32_t kGreen = 0xFF00FF00;
inline constexpr std::uint32_t kBlue = 0xFF0000FF;
inline constexpr std::uint32_t kBlack = 0xFF000000;
inline constexpr std::uint32_t kWhite = 0xFFFFFFFF;

// Every distinct pixel value of the bitmap and how often it occurs.
inline std::map<std::uint32_t, int> histogram(const Image& image) {
    std::map<std::uint32_t, int> h;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            ++h[image.pixelAt(x, y)];
        }
    }
    return h;
}

inline std::map<std::uint32_t, int> histogram(const ImageContext& ctx) {
    return histogram(ctx.imageFromCurrentContext());
}

inline int countOf(const Image& image, std::uint32_t value) {
    auto h = histogram(image);
    auto it = h.find(value);
    return it == h.end() ? 0 : it->second;
}

// Whether each 8-bit channel of two premultiplied pixels differs by at most `tolerance`.
inline bool channelsNear(std::uint32_t a, std::uint32_t b, int tolerance) {
    for (int shift = 0; shift < 32; shift += 8) {
        const int ca = static_cast<int>(a >> shift & 0xFF);
        const int cb = static_cast<int>(b >> shift & 0xFF);
        if (std::abs(ca - cb) > tolerance) {
            return false;
        }
    }
    return true;
}

inline void expectNear(Point a, Point b, double tolerance = 1e-9) {
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
}

inline void expectNear(const Rect& a, const Rect& b, double tolerance = 1e-9) {
    expectNear(a.origin, b.origin, tolerance);
    EXPECT_NEAR(a.size.width, b.size.width, tolerance);
    EXPECT_NEAR(a.size.height, b.size.height, tolerance);
}

}  // namespace bdx::gfx::test
