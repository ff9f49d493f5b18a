#include "annotation/BDXRasterMask.h"

namespace {

template <typename Predicate>
BDXRasterMask maskWhere(Predicate covers) {
    BDXRasterMask mask;
    for (int i = 0; i < BDXRasterMask::kPixelCount; ++i) {
        if (covers(i / BDXRasterMask::kSide, i % BDXRasterMask::kSide)) {
            mask.set(i);
        }
    }
    return mask;
}

}  // namespace

const BDXRasterMask& BDXRasterMask::topHalf() {
    static const BDXRasterMask half = maskWhere([](int row, int) { return row < kSide / 2; });
    return half;
}

const BDXRasterMask& BDXRasterMask::leftHalf() {
    static const BDXRasterMask half = maskWhere([](int, int column) { return column < kSide / 2; });
    return half;
}
