#pragma once

#include <array>
#include <bit>
#include <cstdint>

// One bit per pixel of the 28 by 28 recognition raster, index row * 28 + column, row 0 at the top. With
// antialiasing off a drawn pixel is either covered or not, so a mask holds all a raster says about one
// colour, and overlaps between rasters are counted with a few popcounts.
class BDXRasterMask {
  public:
    static constexpr int kSide = 28;
    static constexpr int kPixelCount = kSide * kSide;
    static constexpr int kWordCount = (kPixelCount + 63) / 64;

    constexpr BDXRasterMask() = default;

    // The pixels of a raster (kPixelCount words) that are exactly the given word.
    static BDXRasterMask ofPixelsEqualTo(const std::uint32_t* pixels, std::uint32_t word) {
        BDXRasterMask mask;
        for (int i = 0; i < kPixelCount; ++i) {
            if (pixels[i] == word) {
                mask.set(i);
            }
        }
        return mask;
    }
    // Rows 0 to 13, and columns 0 to 13.
    static const BDXRasterMask& topHalf();
    static const BDXRasterMask& leftHalf();

    void set(int index) { words_[index / 64] |= std::uint64_t{1} << (index % 64); }
    bool test(int index) const { return (words_[index / 64] >> (index % 64)) & 1u; }

    int count() const {
        int total = 0;
        for (std::uint64_t w : words_)
            total += std::popcount(w);
        return total;
    }
    // Pixels in both masks.
    int countAnd(const BDXRasterMask& other) const {
        int total = 0;
        for (int i = 0; i < kWordCount; ++i)
            total += std::popcount(words_[i] & other.words_[i]);
        return total;
    }
    // Pixels in this mask and not in the other.
    int countAndNot(const BDXRasterMask& other) const {
        int total = 0;
        for (int i = 0; i < kWordCount; ++i)
            total += std::popcount(words_[i] & ~other.words_[i]);
        return total;
    }

    friend bool operator==(const BDXRasterMask&, const BDXRasterMask&) = default;

  private:
    std::array<std::uint64_t, kWordCount> words_{};
};
