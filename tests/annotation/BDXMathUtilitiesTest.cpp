#include "annotation/BDXMathUtilities.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <numeric>
#include <string>

#include "platform/gfx/Image.h"

namespace {

bdx::Data deflated(const bdx::Data& input, int windowBits) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY), Z_OK);
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

bdx::Data textBytes(const std::string& text) {
    return bdx::Data(text.begin(), text.end());
}

}  // namespace

TEST(BDXMathUtilitiesMatrices, AllocationIsZeroFilledRowPointers) {
    BDXFloatMatrix m = make2DMatrixWithDims(3, 5);
    ASSERT_EQ(m.rows(), 3u);
    ASSERT_EQ(m.columns(), 5u);
    for (std::size_t r = 0; r < 3; ++r) {
        EXPECT_EQ(m.rowPointers()[r], m[r]);
        for (std::size_t c = 0; c < 5; ++c) {
            EXPECT_EQ(m[r][c], 0.0f);
        }
    }
    BDXIntMatrix counts = intMake2DMatrixWithDims(2, 2);
    counts[1][1] = 7;
    BDXIntMatrix copy = counts;
    copy[1][1] = 9;
    EXPECT_EQ(counts[1][1], 7) << "a copy owns its own cells";
    EXPECT_EQ(copy[1][0], 0);
}

TEST(BDXMathUtilitiesMatrices, ProductAccumulatesInSinglePrecision) {
    BDXFloatMatrix a = make2DMatrixWithDims(2, 3);
    BDXFloatMatrix b = make2DMatrixWithDims(3, 2);
    float av[2][3] = {{1, 2, 3}, {4, 5, 6}};
    float bv[3][2] = {{7, 8}, {9, 10}, {11, 12}};
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 3; ++c)
            a[r][c] = av[r][c], b[c][r] = bv[c][r];
    BDXFloatMatrix p = multiplyMat(a, b);
    ASSERT_EQ(p.rows(), 2u);
    ASSERT_EQ(p.columns(), 2u);
    EXPECT_EQ(p[0][0], 58.0f);
    EXPECT_EQ(p[0][1], 64.0f);
    EXPECT_EQ(p[1][0], 139.0f);
    EXPECT_EQ(p[1][1], 154.0f);

    // 1e8 + 1 is 1e8 in single precision, so the 1 is lost before -1e8 comes in.
    BDXFloatMatrix row = make2DMatrixWithDims(1, 3);
    BDXFloatMatrix ones = make2DMatrixWithDims(3, 1);
    row[0][0] = 1e8f, row[0][1] = 1.0f, row[0][2] = -1e8f;
    ones[0][0] = ones[1][0] = ones[2][0] = 1.0f;
    EXPECT_EQ(multiplyMat(row, ones)[0][0], 0.0f);

    EXPECT_TRUE(multiplyMat(a, a).empty()) << "inner dimensions 3 and 2 do not agree";
}

TEST(BDXMathUtilitiesMatrices, RectifyAndSoftMaxOverTheWholeMatrix) {
    BDXFloatMatrix m = make2DMatrixWithDims(2, 2);
    m[0][0] = -1.5f, m[0][1] = 2.0f, m[1][0] = 0.0f, m[1][1] = -0.0f;
    BDXFloatMatrix r = rectify(m);
    EXPECT_EQ(r[0][0], 0.0f);
    EXPECT_EQ(r[0][1], 2.0f);
    EXPECT_EQ(m[0][0], -1.5f) << "the input is left as it was";

    BDXFloatMatrix zeros = make2DMatrixWithDims(2, 2);
    BDXFloatMatrix uniform = softMax(zeros);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(uniform[i / 2][i % 2], 0.25f) << "one normaliser for all four cells, not one per row";
    }

    BDXFloatMatrix s = softMax(m);
    float total = 0.0f;
    for (int i = 0; i < 4; ++i)
        total += s[i / 2][i % 2];
    EXPECT_NEAR(total, 1.0f, 1e-6f);
    EXPECT_GT(s[0][1], s[1][0]);
    EXPECT_NEAR(s[0][1] / s[1][0], std::exp(2.0f), 1e-5f);
}

TEST(BDXMathUtilitiesMatrices, IsCloseIsRelativeToTheSecondArgument) {
    EXPECT_TRUE(isClose(1.0f, 1.0f));
    EXPECT_TRUE(isClose(1e6f, 1e6f + 8.0f));
    EXPECT_FALSE(isClose(1e6f, 1e6f + 16.0f));
    // Just above the absolute tolerance: close to x from 0 is measured against |x|, not the other way.
    const float x = 0x1.5799p-27f;
    EXPECT_TRUE(isClose(0.0f, x));
    EXPECT_FALSE(isClose(x, 0.0f));
    EXPECT_EQ(BDXMathUtilities::isClose(0.0f, x), isClose(0.0f, x));
    EXPECT_EQ(BDXMathUtilities::isClose(x, 0.0f), isClose(x, 0.0f));
}

TEST(BDXMathUtilitiesMatrices, BoxedFormsAgreeWithThePlainFunctions) {
    BDXNumberMatrix a = {{1, 2}, {3, 4}};
    BDXNumberMatrix b = {{5}, {6}};
    EXPECT_EQ(BDXMathUtilities::mutliplyMatrix(a, b), (BDXNumberMatrix{{17}, {39}}));
    EXPECT_TRUE(BDXMathUtilities::mutliplyMatrix(b, b).empty());
    EXPECT_TRUE(BDXMathUtilities::mutliplyMatrix({{1, 2}, {3}}, b).empty()) << "ragged rows";
    EXPECT_EQ(BDXMathUtilities::rectify2D({{-1, 1}}), (BDXNumberMatrix{{0, 1}}));
    EXPECT_EQ(BDXMathUtilities::make2DMatrixWithDims(2, 3),
              (BDXNumberMatrix(2, std::vector<double>(3, 0.0))));
    BDXNumberMatrix s = BDXMathUtilities::softMax({{0, 0}, {0, 0}});
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[1][1], 0.25);
}

TEST(BDXMathUtilitiesInflate, GzipAndZlibStreamsAreBothRecognised) {
    bdx::Data text = textBytes("The quick brown fox jumps over the lazy dog, again and again and again.");
    EXPECT_EQ(BDXMathUtilities::uncompressGZip(deflated(text, 15 + 16)), text);
    EXPECT_EQ(BDXMathUtilities::uncompressGZip(deflated(text, 15)), text);
}

TEST(BDXMathUtilitiesInflate, OutputGrowsFarBeyondTheFirstGuess) {
    // Compresses about a thousandfold, so the buffer must grow many times by half the input size.
    bdx::Data zeros(200000, 0);
    std::iota(zeros.begin(), zeros.begin() + 256, 0);
    bdx::Data packed = deflated(zeros, 31);
    ASSERT_LT(packed.size(), 2000u);
    EXPECT_EQ(BDXMathUtilities::uncompressGZip(packed), zeros);
}

TEST(BDXMathUtilitiesInflate, EmptyComesBackAndBrokenGivesNothing) {
    std::optional<bdx::Data> empty = BDXMathUtilities::uncompressGZip({});
    ASSERT_TRUE(empty.has_value());
    EXPECT_TRUE(empty->empty());

    EXPECT_FALSE(BDXMathUtilities::uncompressGZip(textBytes("not compressed at all")).has_value());
    EXPECT_FALSE(BDXMathUtilities::uncompressGZip({0x1f}).has_value());

    bdx::Data packed = deflated(textBytes(std::string(5000, 'a') + "tail"), 31);
    packed.resize(packed.size() / 2);
    EXPECT_FALSE(BDXMathUtilities::uncompressGZip(packed).has_value()) << "a truncated stream never ends";
}

TEST(BDXMathUtilitiesImages, PointsOfAnImageAreItsInkedPixels) {
    std::vector<std::uint32_t> pixels(784, 0);
    pixels[0] = 0xFF000000;
    pixels[29] = 0x01010101;
    pixels[783] = 0x00FFFFFF;  // colour without alpha is no ink
    BDXFloatMatrix points = BDXMathUtilities::CpointsOfImage(bdx::gfx::Image::withPixels(28, 28, pixels));
    ASSERT_EQ(points.rows(), 1u);
    ASSERT_EQ(points.columns(), 784u);
    float total = 0;
    for (int i = 0; i < 784; ++i)
        total += points[0][i];
    EXPECT_EQ(total, 2.0f);
    EXPECT_EQ(points[0][0], 1.0f);
    EXPECT_EQ(points[0][29], 1.0f);
    EXPECT_EQ(points[0][783], 0.0f);
    EXPECT_EQ(BDXMathUtilities::CpointsOfImage(bdx::gfx::Image()).columns(), 784u);
}
