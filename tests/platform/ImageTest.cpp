#include "platform/gfx/Image.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/platform/PixelTestSupport.h"

namespace bdx::gfx {
namespace {

using namespace test;

TEST(ImageValue, SizeInPointsFollowsScaleAndOrientation) {
    const Image image = Image::filled(30, 20, kRed, 2.0);
    EXPECT_EQ(image.size(), (Size{15, 10}));
    EXPECT_EQ(image.withScale(2.0, ImageOrientation::Right).size(), (Size{10, 15}));
    EXPECT_EQ(image.withScale(1.0, ImageOrientation::DownMirrored).size(), (Size{30, 20}));
    EXPECT_EQ(image.withScale(2.0, ImageOrientation::LeftMirrored).normalized().width(), 20);
    EXPECT_EQ(Image().size(), (Size{0, 0}));
}

TEST(ImageValue, RewrappingSharesPixelsAndNormalisingRearrangesThem) {
    // Stored 3x2:  1 2 3 / 4 5 6.
    const Image stored = Image::withPixels(3, 2, {1, 2, 3, 4, 5, 6});
    const Image turned = stored.withScale(3.0, ImageOrientation::Right);
    EXPECT_TRUE(turned.isSameImage(stored));
    EXPECT_EQ(turned.scale(), 3.0);
    // Shown turned clockwise: the bottom stored row becomes the left column.
    const Image upright = turned.normalized();
    ASSERT_EQ(upright.width(), 2);
    ASSERT_EQ(upright.height(), 3);
    EXPECT_EQ(upright.orientation(), ImageOrientation::Up);
    EXPECT_EQ(upright.scale(), 3.0);
    const std::uint32_t right[] = {4, 1, 5, 2, 6, 3};
    const std::uint32_t left[] = {3, 6, 2, 5, 1, 4};
    const std::uint32_t leftMirrored[] = {1, 4, 2, 5, 3, 6};
    const Image l = stored.withScale(1, ImageOrientation::Left).normalized();
    const Image lm = stored.withScale(1, ImageOrientation::LeftMirrored).normalized();
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(upright.pixels()[i], right[i]) << i;
        EXPECT_EQ(l.pixels()[i], left[i]) << i;
        EXPECT_EQ(lm.pixels()[i], leftMirrored[i]) << i;
    }
    EXPECT_TRUE(stored.normalized().isSameImage(stored));
}

TEST(ImageValue, BadDimensionsGiveNoImage) {
    EXPECT_TRUE(Image::withPixels(2, 2, {1, 2, 3}).isNull());
    EXPECT_TRUE(Image::withPixels(0, 5, {}).isNull());
    EXPECT_TRUE(Image::filled(-1, 5, 0).isNull());
    const Image image = Image::filled(2, 2, kBlue);
    EXPECT_EQ(image.pixelAt(1, 1), kBlue);
    EXPECT_EQ(image.pixelAt(2, 0), 0u);
    EXPECT_EQ(image.pixelAt(0, -1), 0u);
    EXPECT_TRUE(image.isOpaque());
    EXPECT_FALSE(Image::filled(1, 1, 0x80000000u).isOpaque());
}

}  // namespace
}  // namespace bdx::gfx

#include "platform/gfx/ImageFilters.h"

namespace bdx::gfx {
namespace {

using namespace test;

// Every pixel different: value = 1000 * y + x.
Image numbered(int w, int h) {
    std::vector<std::uint32_t> px;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            px.push_back(static_cast<std::uint32_t>(1000 * y + x));
        }
    }
    return Image::withPixels(w, h, px, 2.0, ImageOrientation::Down);
}

TEST(ImageFilters, PixellateFillsEachCellWithItsMiddlePixel) {
    const Image src = numbered(20, 10);
    // Cells of 8 on a grid through (2, 2): columns [-6,2) [2,10) [10,18) [18,26), middles -2, 6, 14, 22.
    const Image out = pixellate(src, {2, 2}, 8);
    ASSERT_EQ(out.width(), 20);
    EXPECT_EQ(out.scale(), 2.0);
    EXPECT_EQ(out.orientation(), ImageOrientation::Down);
    EXPECT_EQ(out.pixelAt(0, 0), 0u);             // middle (-2, -2) clamped to (0, 0)
    EXPECT_EQ(out.pixelAt(2, 2), 6u * 1000 + 6);  // cell [2,10) x [2,10)
    EXPECT_EQ(out.pixelAt(9, 9), 6u * 1000 + 6);
    EXPECT_EQ(out.pixelAt(10, 9), 6u * 1000 + 14);
    EXPECT_EQ(out.pixelAt(19, 1), 0u * 1000 + 19);  // middle (22, -2) clamped
    std::set<std::uint32_t> distinct;
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 20; ++x) {
            distinct.insert(out.pixelAt(x, y));
        }
    }
    EXPECT_EQ(distinct.size(), 4u * 2u);
    EXPECT_TRUE(pixellate(src, {0, 0}, 0.5).isNull());
    EXPECT_TRUE(pixellate(Image(), {0, 0}, 8).isNull());
    // Cells of one pixel change nothing.
    EXPECT_TRUE(pixellate(src, {0, 0}, 1).hasSamePixels(src));
}

TEST(ImageFilters, CropTakesWholePixelsInsideTheImage) {
    const Image src = numbered(10, 6);
    const Image c = cropped(src, {2.5, 1, 3, 2});
    ASSERT_EQ(c.width(), 4);
    ASSERT_EQ(c.height(), 2);
    EXPECT_EQ(c.pixelAt(0, 0), 1002u);
    EXPECT_EQ(c.pixelAt(3, 1), 2005u);
    EXPECT_EQ(c.scale(), 2.0);
    const Image edge = cropped(src, {8, 4, 10, 10});
    EXPECT_EQ(edge.width(), 2);
    EXPECT_EQ(edge.height(), 2);
    EXPECT_TRUE(cropped(src, {20, 20, 5, 5}).isNull());
}

}  // namespace
}  // namespace bdx::gfx
