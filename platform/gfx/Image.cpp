#include "platform/gfx/Image.h"

#include <string>

#include "platform/PlatformLog.h"

namespace bdx::gfx {

bool orientationSwapsAxes(ImageOrientation o) {
    switch (o) {
        case ImageOrientation::Left:
        case ImageOrientation::Right:
        case ImageOrientation::LeftMirrored:
        case ImageOrientation::RightMirrored:
            return true;
        default:
            return false;
    }
}

Image Image::withPixels(int width, int height, std::vector<std::uint32_t> pixels, double scale,
                        ImageOrientation orientation) {
    if (width <= 0 || height <= 0 ||
        pixels.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {
        platformLog("gfx", "image of " + std::to_string(width) + "x" + std::to_string(height) + " with " +
                               std::to_string(pixels.size()) + " pixels refused");
        return {};
    }
    if (!(scale > 0)) {
        platformLog("gfx", "image scale " + std::to_string(scale) + " replaced by 1");
        scale = 1.0;
    }
    Image image;
    image.pixels_ = std::make_shared<const std::vector<std::uint32_t>>(std::move(pixels));
    image.width_ = width;
    image.height_ = height;
    image.scale_ = scale;
    image.orientation_ = orientation;
    return image;
}

Image Image::filled(int width, int height, std::uint32_t pixel, double scale) {
    if (width <= 0 || height <= 0) {
        return withPixels(width, height, {}, scale);
    }
    return withPixels(width, height,
                      std::vector<std::uint32_t>(static_cast<std::size_t>(width) * height, pixel), scale);
}

Size Image::size() const {
    if (isNull()) {
        return {};
    }
    const double w = width_ / scale_;
    const double h = height_ / scale_;
    return orientationSwapsAxes(orientation_) ? Size{h, w} : Size{w, h};
}

std::uint32_t Image::pixelAt(int x, int y) const {
    if (isNull() || x < 0 || y < 0 || x >= width_ || y >= height_) {
        return 0;
    }
    return (*pixels_)[static_cast<std::size_t>(y) * width_ + x];
}

bool Image::isOpaque() const {
    if (isNull()) {
        return false;
    }
    for (std::uint32_t p : *pixels_) {
        if ((p >> 24) != 0xFF) {
            return false;
        }
    }
    return true;
}

Image Image::withScale(double scale, ImageOrientation orientation) const {
    if (isNull()) {
        return {};
    }
    Image copy = *this;
    copy.scale_ = scale > 0 ? scale : 1.0;
    copy.orientation_ = orientation;
    return copy;
}

Image Image::normalized() const {
    if (isNull() || orientation_ == ImageOrientation::Up) {
        return *this;
    }
    const int W = width_, H = height_;
    const bool swap = orientationSwapsAxes(orientation_);
    const int dw = swap ? H : W;
    const int dh = swap ? W : H;
    std::vector<std::uint32_t> out(static_cast<std::size_t>(dw) * dh);
    // For each displayed pixel, the stored pixel it shows.
    for (int y = 0; y < dh; ++y) {
        for (int x = 0; x < dw; ++x) {
            int sx = x, sy = y;
            switch (orientation_) {
                case ImageOrientation::Up:
                    break;
                case ImageOrientation::UpMirrored:
                    sx = W - 1 - x;
                    break;
                case ImageOrientation::Down:
                    sx = W - 1 - x;
                    sy = H - 1 - y;
                    break;
                case ImageOrientation::DownMirrored:
                    sy = H - 1 - y;
                    break;
                case ImageOrientation::LeftMirrored:
                    sx = y;
                    sy = x;
                    break;
                case ImageOrientation::Right:
                    sx = y;
                    sy = H - 1 - x;
                    break;
                case ImageOrientation::RightMirrored:
                    sx = W - 1 - y;
                    sy = H - 1 - x;
                    break;
                case ImageOrientation::Left:
                    sx = W - 1 - y;
                    sy = x;
                    break;
            }
            out[static_cast<std::size_t>(y) * dw + x] = (*pixels_)[static_cast<std::size_t>(sy) * W + sx];
        }
    }
    return withPixels(dw, dh, std::move(out), scale_, ImageOrientation::Up);
}

bool Image::hasSamePixels(const Image& other) const {
    if (isNull() || other.isNull()) {
        return isNull() && other.isNull();
    }
    return width_ == other.width_ && height_ == other.height_ && *pixels_ == *other.pixels_;
}

}  // namespace bdx::gfx
