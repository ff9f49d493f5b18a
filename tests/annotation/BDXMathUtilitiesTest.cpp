#include "annotation/BDXMathUtilities.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>

#include "platform/gfx/Image.h"

namespace {

bdx::Data deflated(const bdx::Data& input, int windowBits) {
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
    bdx::Data output(deflateBound(&stream, input.size()) + 32);
    stream.next_in = const_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = output.data();
    stream.avail_out = static_cast<uInt>(output.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    output.resize(stream.total_out);
    deflateEnd(&stream);
    return output;
}

}  // namespace

TEST(BDXMathUtilities, MatricesAccumulateInSinglePrecisionAndNormaliseOverTheWhole) {
    BDXFloatMatrix row = make2DMatrixWithDims(1, 3);
    BDXFloatMatrix column = make2DMatrixWithDims(3, 1);
    EXPECT_EQ(row[0][2], 0.0f);
    // 1e8 + 1 is 1e8 in single precision, so the 1 is lost before -1e8 comes in.
    row[0][0] = 1e8f, row[0][1] = 1.0f, row[0][2] = -1e8f;
    column[0][0] = column[1][0] = column[2][0] = 1.0f;
    EXPECT_EQ(multiplyMat(row, column)[0][0], 0.0f);
    EXPECT_EQ(multiplyMat(column, row)[1][0], 1e8f);
    EXPECT_TRUE(multiplyMat(row, row).empty()) << "inner dimensions disagree";
    EXPECT_EQ(rectify(row)[0][2], 0.0f);
    EXPECT_EQ(BDXMathUtilities::mutliplyMatrix({{1, 2}, {3, 4}}, {{5}, {6}}), (BDXNumberMatrix{{17}, {39}}));
    EXPECT_TRUE(BDXMathUtilities::mutliplyMatrix({{1, 2}, {3}}, {{5}, {6}}).empty()) << "ragged rows";
    EXPECT_EQ(BDXMathUtilities::rectify2D({{-1, 1}}), (BDXNumberMatrix{{0, 1}}));

    // One normaliser for all cells, not one per row.
    EXPECT_EQ(BDXMathUtilities::softMax({{0, 0}, {0, 0}}), (BDXNumberMatrix{{0.25, 0.25}, {0.25, 0.25}}));
    BDXFloatMatrix m = make2DMatrixWithDims(2, 1);
    m[0][0] = 2.0f;
    BDXFloatMatrix s = softMax(m);
    EXPECT_NEAR(s[0][0] + s[1][0], 1.0f, 1e-6f);
    EXPECT_NEAR(s[0][0] / s[1][0], 7.389056f, 1e-4f);
}

TEST(BDXMathUtilities, IsCloseIsRelativeToTheSecondArgument) {
    EXPECT_TRUE(isClose(1e6f, 1e6f + 8.0f));
    EXPECT_FALSE(isClose(1e6f, 1e6f + 16.0f));
    // Just above the absolute tolerance: close to x from 0 is measured against |x|, not the other way.
    const float x = 0x1.5799p-27f;
    EXPECT_TRUE(BDXMathUtilities::isClose(0.0f, x));
    EXPECT_FALSE(BDXMathUtilities::isClose(x, 0.0f));
}

TEST(BDXMathUtilities, InflatesGzipAndZlibAndRefusesBrokenStreams) {
    std::string written(5000, 'a');
    written += "end";  // appended in place: gcc 12 warns of a false overflow on the temporary
    bdx::Data text(written.begin(), written.end());
    EXPECT_EQ(BDXMathUtilities::uncompressGZip(deflated(text, 31)), text);
    // About a thousandfold: the output buffer grows many times by half the input size.
    bdx::Data zeros(200000, 0);
    EXPECT_EQ(BDXMathUtilities::uncompressGZip(deflated(zeros, 15)), zeros);
    EXPECT_EQ(BDXMathUtilities::uncompressGZip({}), bdx::Data());
    EXPECT_FALSE(BDXMathUtilities::uncompressGZip({'n', 'o', 't'}).has_value());
    bdx::Data truncated = deflated(text, 31);
    truncated.resize(truncated.size() / 2);
    EXPECT_FALSE(BDXMathUtilities::uncompressGZip(truncated).has_value());
}

TEST(BDXMathUtilities, PointsOfAnImageAreItsInkedPixels) {
    std::vector<std::uint32_t> pixels(784, 0);
    pixels[29] = 0x01010101;
    pixels[783] = 0x00FFFFFF;  // colour without alpha is no ink
    BDXFloatMatrix points = BDXMathUtilities::CpointsOfImage(bdx::gfx::Image::withPixels(28, 28, pixels));
    ASSERT_EQ(points.columns(), 784u);
    float total = 0;
    for (int i = 0; i < 784; ++i)
        total += points[0][i];
    EXPECT_EQ(total, 1.0f);
    EXPECT_EQ(points[0][29], 1.0f);
}
