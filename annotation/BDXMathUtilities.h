#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "foundation/Data.h"

namespace bdx::gfx {
class Image;
}

// A dense rows-by-columns matrix laid out as an array of row pointers into one zero-filled block, so that
// `m[r][c]` and `m.rowPointers()` read as the plain two-dimensional arrays of C. The owner of the value
// owns the cells.
template <typename Cell>
class BDXMatrix {
  public:
    BDXMatrix() = default;
    BDXMatrix(std::size_t rows, std::size_t columns)
        : rows_(rows), columns_(columns), cells_(rows * columns, Cell{}), rowPointers_(rows) {
        linkRows();
    }
    BDXMatrix(const BDXMatrix& other)
        : rows_(other.rows_), columns_(other.columns_), cells_(other.cells_), rowPointers_(other.rows_) {
        linkRows();
    }
    BDXMatrix(BDXMatrix&&) noexcept = default;
    BDXMatrix& operator=(BDXMatrix other) noexcept {
        rows_ = other.rows_;
        columns_ = other.columns_;
        cells_.swap(other.cells_);
        rowPointers_.swap(other.rowPointers_);
        return *this;
    }

    std::size_t rows() const { return rows_; }
    std::size_t columns() const { return columns_; }
    bool empty() const { return cells_.empty(); }

    Cell* operator[](std::size_t row) { return rowPointers_[row]; }
    const Cell* operator[](std::size_t row) const { return rowPointers_[row]; }
    Cell* const* rowPointers() { return rowPointers_.data(); }

  private:
    void linkRows() {
        for (std::size_t r = 0; r < rows_; ++r) {
            rowPointers_[r] = cells_.data() + r * columns_;
        }
    }

    std::size_t rows_ = 0;
    std::size_t columns_ = 0;
    std::vector<Cell> cells_;
    std::vector<Cell*> rowPointers_;
};

using BDXFloatMatrix = BDXMatrix<float>;
using BDXIntMatrix = BDXMatrix<std::int32_t>;

// Nested arrays of numbers, the boxed form of the same matrices.
using BDXNumberMatrix = std::vector<std::vector<double>>;

// The small dense-matrix toolkit. Shape recognition matches templates and needs none of it but `isClose`;
// the rest stays available as plain functions and as the class operations of `BDXMathUtilities`.
BDXFloatMatrix make2DMatrixWithDims(std::size_t rows, std::size_t columns);
BDXIntMatrix intMake2DMatrixWithDims(std::size_t rows, std::size_t columns);
// Product accumulated in single precision; an empty matrix when the inner dimensions disagree.
BDXFloatMatrix multiplyMat(const BDXFloatMatrix& a, const BDXFloatMatrix& b);
BDXFloatMatrix rectify(const BDXFloatMatrix& matrix);
// Normalised over the whole matrix, not per row.
BDXFloatMatrix softMax(const BDXFloatMatrix& matrix);
// Relative closeness of a to b (so not symmetric): |a - b| <= 1e-08 + 1e-05 * |b|, the difference taken in
// single precision. Inline: the tie tests of stroke geometry call it for every point of every turn.
inline bool isClose(float a, float b) {
    float difference = std::fabs(a - b);
    return static_cast<double>(difference) <= 1e-08 + 1e-05 * std::fabs(static_cast<double>(b));
}

class BDXMathUtilities {
  public:
    static BDXNumberMatrix mutliplyMatrix(const BDXNumberMatrix& matrix, const BDXNumberMatrix& matrixB);
    static BDXNumberMatrix rectify2D(const BDXNumberMatrix& matrix);
    static BDXNumberMatrix softMax(const BDXNumberMatrix& matrix);
    static BDXNumberMatrix make2DMatrixWithDims(std::size_t dims, std::size_t width);
    static bool isClose(float a, float toFloat);
    // One row of 784 cells, 1.0 where the image drawn at 28 by 28 has any alpha, else 0.0.
    static BDXFloatMatrix CpointsOfImage(const bdx::gfx::Image& image);
    // Inflates gzip or zlib data, telling the two apart by their header. Empty data comes back as it is;
    // data that does not inflate to its end gives nothing.
    static std::optional<bdx::Data> uncompressGZip(const bdx::Data& data);
};
