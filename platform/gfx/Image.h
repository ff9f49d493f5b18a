// Public header: installed with the library for hosts to include.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/gfx/Geometry.h"

namespace bdx::gfx {

// How the stored pixels are turned for display; the values and meanings of the platform's image
// orientations.
enum class ImageOrientation {
    Up = 0,             // as stored
    Down = 1,           // turned 180 degrees
    Left = 2,           // shown turned 90 degrees counter-clockwise
    Right = 3,          // shown turned 90 degrees clockwise
    UpMirrored = 4,     // flipped horizontally
    DownMirrored = 5,   // flipped vertically
    LeftMirrored = 6,   // flipped horizontally, then turned 90 degrees counter-clockwise
    RightMirrored = 7,  // flipped horizontally, then turned 90 degrees clockwise
};

// Whether the orientation swaps width and height for display.
bool orientationSwapsAxes(ImageOrientation o);

// An immutable bitmap: premultiplied 32-bit pixels stored as native-endian words 0xAARRGGBB, rows top
// to bottom, with the scale (pixels per point) and the orientation it is shown in. Copies share
// the pixels, so an Image is cheap to pass around and safe to read from any thread. A
// default-constructed Image holds nothing and stands for "no image".
class Image {
  public:
    Image() = default;

    // An image of the given pixels (width * height words, premultiplied ARGB). A size that does not
    // match gives a null image and a log line.
    static Image withPixels(int width, int height, std::vector<std::uint32_t> pixels, double scale = 1.0,
                            ImageOrientation orientation = ImageOrientation::Up);
    // Every pixel the same premultiplied word.
    static Image filled(int width, int height, std::uint32_t pixel, double scale = 1.0);

    bool isNull() const { return !pixels_; }
    explicit operator bool() const { return !isNull(); }

    // Stored dimensions, in pixels.
    int width() const { return width_; }
    int height() const { return height_; }
    double scale() const { return scale_; }
    ImageOrientation orientation() const { return orientation_; }
    // Display size in points: pixels / scale, axes swapped for the rotated orientations.
    Size size() const;

    // The stored pixel at (x, y), 0 outside the image.
    std::uint32_t pixelAt(int x, int y) const;
    // Row access: `stride()` bytes from one row to the next (always width * 4 here).
    const std::uint32_t* row(int y) const { return pixels_->data() + static_cast<std::size_t>(y) * width_; }
    const std::uint32_t* pixels() const { return pixels_ ? pixels_->data() : nullptr; }
    std::size_t stride() const { return static_cast<std::size_t>(width_) * 4; }
    std::size_t pixelCount() const { return static_cast<std::size_t>(width_) * height_; }
    // Whether every pixel has alpha 0xFF.
    bool isOpaque() const;

    // The same pixels shown at another scale and orientation (no copy).
    Image withScale(double scale, ImageOrientation orientation) const;
    // The pixels as they are displayed (orientation applied), scale kept, orientation Up.
    Image normalized() const;

    // Two images are the same when they share their pixels (the same object, as the platform
    // compares references).
    bool isSameImage(const Image& other) const { return pixels_ == other.pixels_; }
    // Same dimensions and pixels.
    bool hasSamePixels(const Image& other) const;

  private:
    std::shared_ptr<const std::vector<std::uint32_t>> pixels_;
    int width_ = 0;
    int height_ = 0;
    double scale_ = 1.0;
    ImageOrientation orientation_ = ImageOrientation::Up;
};

}  // namespace bdx::gfx
