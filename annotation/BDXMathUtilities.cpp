#include "annotation/BDXMathUtilities.h"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "annotation/BDXShapeRecognitionEngine.h"
#include "platform/gfx/Image.h"

namespace {

// The two constants differ on purpose: the normaliser sums powers of e in double precision while each
// cell raises the single-precision e, which is what the results at the last digit depend on.
constexpr double kSumE = 2.718281828459045;
constexpr float kCellE = 2.7182817459106445f;

BDXFloatMatrix toFloatMatrix(const BDXNumberMatrix& numbers) {
    std::size_t columns = numbers.empty() ? 0 : numbers.front().size();
    BDXFloatMatrix matrix(numbers.size(), columns);
    for (std::size_t r = 0; r < numbers.size(); ++r) {
        for (std::size_t c = 0; c < columns && c < numbers[r].size(); ++c) {
            matrix[r][c] = static_cast<float>(numbers[r][c]);
        }
    }
    return matrix;
}

BDXNumberMatrix toNumberMatrix(const BDXFloatMatrix& matrix) {
    BDXNumberMatrix numbers(matrix.rows(), std::vector<double>(matrix.columns()));
    for (std::size_t r = 0; r < matrix.rows(); ++r) {
        for (std::size_t c = 0; c < matrix.columns(); ++c) {
            numbers[r][c] = matrix[r][c];
        }
    }
    return numbers;
}

bool isRectangular(const BDXNumberMatrix& numbers) {
    return std::all_of(numbers.begin(), numbers.end(),
                       [&](const std::vector<double>& row) { return row.size() == numbers.front().size(); });
}

}  // namespace

BDXFloatMatrix make2DMatrixWithDims(std::size_t rows, std::size_t columns) {
    return BDXFloatMatrix(rows, columns);
}

BDXIntMatrix intMake2DMatrixWithDims(std::size_t rows, std::size_t columns) {
    return BDXIntMatrix(rows, columns);
}

BDXFloatMatrix multiplyMat(const BDXFloatMatrix& a, const BDXFloatMatrix& b) {
    if (a.columns() != b.rows()) {
        return {};
    }
    BDXFloatMatrix product(a.rows(), b.columns());
    for (std::size_t r = 0; r < a.rows(); ++r) {
        for (std::size_t c = 0; c < b.columns(); ++c) {
            float sum = 0.0f;
            for (std::size_t k = 0; k < a.columns(); ++k) {
                sum += a[r][k] * b[k][c];
            }
            product[r][c] = sum;
        }
    }
    return product;
}

BDXFloatMatrix rectify(const BDXFloatMatrix& matrix) {
    BDXFloatMatrix result(matrix.rows(), matrix.columns());
    for (std::size_t r = 0; r < matrix.rows(); ++r) {
        for (std::size_t c = 0; c < matrix.columns(); ++c) {
            result[r][c] = std::max(0.0f, matrix[r][c]);
        }
    }
    return result;
}

BDXFloatMatrix softMax(const BDXFloatMatrix& matrix) {
    float total = 0.0f;
    for (std::size_t r = 0; r < matrix.rows(); ++r) {
        for (std::size_t c = 0; c < matrix.columns(); ++c) {
            total = static_cast<float>(total + std::pow(kSumE, static_cast<double>(matrix[r][c])));
        }
    }
    BDXFloatMatrix result(matrix.rows(), matrix.columns());
    for (std::size_t r = 0; r < matrix.rows(); ++r) {
        for (std::size_t c = 0; c < matrix.columns(); ++c) {
            result[r][c] = std::pow(kCellE, matrix[r][c]) / total;
        }
    }
    return result;
}

BDXNumberMatrix BDXMathUtilities::mutliplyMatrix(const BDXNumberMatrix& matrix,
                                                 const BDXNumberMatrix& matrixB) {
    if (matrix.empty() || matrixB.empty() || !isRectangular(matrix) || !isRectangular(matrixB)) {
        return {};
    }
    BDXFloatMatrix product = multiplyMat(toFloatMatrix(matrix), toFloatMatrix(matrixB));
    return product.empty() ? BDXNumberMatrix{} : toNumberMatrix(product);
}

BDXNumberMatrix BDXMathUtilities::rectify2D(const BDXNumberMatrix& matrix) {
    BDXNumberMatrix result = matrix;
    for (auto& row : result) {
        for (double& cell : row) {
            cell = std::max(0.0, cell);
        }
    }
    return result;
}

BDXNumberMatrix BDXMathUtilities::softMax(const BDXNumberMatrix& matrix) {
    if (matrix.empty() || !isRectangular(matrix)) {
        return {};
    }
    return toNumberMatrix(::softMax(toFloatMatrix(matrix)));
}

BDXNumberMatrix BDXMathUtilities::make2DMatrixWithDims(std::size_t dims, std::size_t width) {
    return BDXNumberMatrix(dims, std::vector<double>(width, 0.0));
}

bool BDXMathUtilities::isClose(float a, float toFloat) {
    return ::isClose(a, toFloat);
}

BDXFloatMatrix BDXMathUtilities::CpointsOfImage(const bdx::gfx::Image& image) {
    constexpr int kPixels = BDXRasterMask::kPixelCount;
    std::unique_ptr<std::uint32_t[]> pixels = BDXShapeRecognitionEngine().pixelValuesFromImage(image);
    BDXFloatMatrix points(1, kPixels);
    for (int i = 0; i < kPixels; ++i) {
        points[0][i] = (pixels[i] >> 24) != 0 ? 1.0f : 0.0f;
    }
    return points;
}

std::optional<bdx::Data> BDXMathUtilities::uncompressGZip(const bdx::Data& data) {
    if (data.empty()) {
        return data;
    }
    const std::size_t growth = std::max<std::size_t>(data.size() / 2, 1);
    bdx::Data output(data.size() + growth);

    z_stream stream{};
    stream.next_in = const_cast<Bytef*>(data.data());
    stream.avail_in = static_cast<uInt>(data.size());
    // 32 + 15: the largest window, with the gzip or zlib header told apart by zlib itself.
    if (inflateInit2(&stream, 47) != Z_OK) {
        return std::nullopt;
    }
    bool finished = false;
    for (;;) {
        if (stream.total_out >= output.size()) {
            output.resize(output.size() + growth);
        }
        stream.next_out = output.data() + stream.total_out;
        stream.avail_out = static_cast<uInt>(output.size() - stream.total_out);
        int status = inflate(&stream, Z_SYNC_FLUSH);
        if (status == Z_STREAM_END) {
            finished = true;
            break;
        }
        if (status != Z_OK) {
            break;
        }
    }
    std::size_t produced = stream.total_out;
    if (inflateEnd(&stream) != Z_OK || !finished) {
        return std::nullopt;
    }
    output.resize(produced);
    return output;
}
