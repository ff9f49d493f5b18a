#include "platform/gfx/Image.h"

#include <gtest/gtest.h>

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
    EXPECT_EQ(image.stride(), 8u);
    EXPECT_TRUE(image.isOpaque());
    EXPECT_FALSE(Image::filled(1, 1, 0x80000000u).isOpaque());
}

}  // namespace
}  // namespace bdx::gfx
