#include "platform/gfx/ImageContext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <numbers>
#include <set>

namespace bdx::gfx {
namespace {

constexpr std::uint32_t kRed = 0xFFFF0000;
constexpr std::uint32_t kGreen = 0xFF00FF00;
constexpr std::uint32_t kBlue = 0xFF0000FF;
constexpr std::uint32_t kBlack = 0xFF000000;
constexpr std::uint32_t kWhite = 0xFFFFFFFF;

// Every distinct pixel value and how often it occurs.
std::map<std::uint32_t, int> histogram(const ImageContext& ctx) {
    std::map<std::uint32_t, int> h;
    for (int y = 0; y < ctx.pixelHeight(); ++y) {
        for (int x = 0; x < ctx.pixelWidth(); ++x) {
            ++h[ctx.pixelAt(x, y)];
        }
    }
    return h;
}

int countOf(const ImageContext& ctx, std::uint32_t value) {
    auto h = histogram(ctx);
    auto it = h.find(value);
    return it == h.end() ? 0 : it->second;
}

TEST(ImageContextSetup, SizeScaleAndInitialContent) {
    ImageContext clear({10, 5}, false, 2);
    ASSERT_TRUE(clear.isValid());
    EXPECT_EQ(clear.pixelWidth(), 20);
    EXPECT_EQ(clear.pixelHeight(), 10);
    EXPECT_EQ(histogram(clear), (std::map<std::uint32_t, int>{{0u, 200}}));

    ImageContext opaque({3, 3}, true, 1);
    EXPECT_EQ(histogram(opaque), (std::map<std::uint32_t, int>{{kBlack, 9}}));
    // Clearing an opaque bitmap leaves black, never transparency.
    opaque.setFillColor(Color::white());
    opaque.fillRect({0, 0, 3, 3});
    opaque.clearRect({0, 0, 1, 3});
    EXPECT_EQ(opaque.pixelAt(0, 1), kBlack);
    EXPECT_EQ(opaque.pixelAt(2, 1), kWhite);
    EXPECT_EQ(opaque.imageFromCurrentContext().pixelAt(0, 0), kBlack);

    // Fractional sizes round up to whole pixels; a screen of 390 points at 3 is exactly 1170.
    EXPECT_EQ(ImageContext({10.2, 1}, false, 1).pixelWidth(), 11);
    EXPECT_EQ(ImageContext({390, 844}, false, 3).pixelWidth(), 1170);
}

TEST(ImageContextSetup, ScaleZeroTakesTheMainScreenScale) {
    setMainScreenScale(3);
    ImageContext ctx({4, 4}, false, 0);
    EXPECT_EQ(ctx.scale(), 3);
    EXPECT_EQ(ctx.pixelWidth(), 12);
    EXPECT_EQ(ctx.imageFromCurrentContext().scale(), 3);
    EXPECT_EQ(ctx.imageFromCurrentContext().size(), (Size{4, 4}));
    setMainScreenScale(1);
}

TEST(ImageContextSetup, EmptySizeGivesAContextThatIgnoresEverything) {
    ImageContext ctx({0, 10}, false, 1);
    EXPECT_FALSE(ctx.isValid());
    ctx.fillRect({0, 0, 10, 10});
    ctx.saveGState();
    ctx.restoreGState();
    EXPECT_TRUE(ctx.imageFromCurrentContext().isNull());
    EXPECT_EQ(ctx.pixelAt(0, 0), 0u);
}

TEST(ImageContextAntialias, OffGivesOnlyExactColours) {
    ImageContext ctx({28, 28}, false, 1);
    ctx.setShouldAntialias(false);
    ctx.setStrokeColor(Color::red());
    ctx.setLineWidth(2);
    Path path;
    path.moveTo({3.3, 4.1});
    path.curveTo({24.7, 20.2}, {10, 27}, {20, -3});
    path.lineTo({5.5, 22.9});
    ctx.addPath(path);
    ctx.strokePath();
    auto h = histogram(ctx);
    EXPECT_EQ(h.size(), 2u);
    EXPECT_GT(h[kRed], 40);

    // With antialiasing on, the same stroke leaves partly covered edge pixels.
    ImageContext smooth({28, 28}, false, 1);
    smooth.setStrokeColor(Color::red());
    smooth.setLineWidth(2);
    smooth.addPath(path);
    smooth.strokePath();
    EXPECT_GT(histogram(smooth).size(), 2u);
}

TEST(ImageContextStroke, TwoPixelLineCoversTwoRowsAndCapsExtendIt) {
    // A horizontal line from x=5 to x=15 along y=10, two points wide, antialiasing off.
    auto draw = [](LineCap cap) {
        ImageContext ctx({28, 28}, false, 1);
        ctx.setShouldAntialias(false);
        ctx.setLineCap(cap);
        ctx.setLineWidth(2);
        ctx.setStrokeColor(Color::black());
        ctx.strokeLineSegments({{5, 10}, {15, 10}});
        return ctx.imageFromCurrentContext();
    };
    const Image butt = draw(LineCap::Butt);
    const Image round = draw(LineCap::Round);
    const Image square = draw(LineCap::Square);
    auto count = [](const Image& img) {
        int n = 0;
        for (int y = 0; y < img.height(); ++y) {
            for (int x = 0; x < img.width(); ++x) {
                n += img.pixelAt(x, y) == kBlack;
            }
        }
        return n;
    };
    // Butt: exactly the 10x2 rectangle [5,15] x [9,11].
    EXPECT_EQ(count(butt), 20);
    EXPECT_EQ(butt.pixelAt(5, 9), kBlack);
    EXPECT_EQ(butt.pixelAt(14, 10), kBlack);
    EXPECT_EQ(butt.pixelAt(4, 9), 0u);
    EXPECT_EQ(butt.pixelAt(15, 10), 0u);
    EXPECT_EQ(butt.pixelAt(10, 8), 0u);
    // Square: half the width more at each end.
    EXPECT_EQ(count(square), 24);
    EXPECT_EQ(square.pixelAt(4, 9), kBlack);
    EXPECT_EQ(square.pixelAt(15, 10), kBlack);
    // Round: the caps add pixels beyond the ends, fewer than the square caps do.
    EXPECT_GT(count(round), count(butt));
    EXPECT_LE(count(round), count(square));
    EXPECT_EQ(round.pixelAt(4, 9), kBlack);
}

}  // namespace
}  // namespace bdx::gfx
