#include "platform/gfx/ImageFilters.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "platform/PlatformLog.h"

namespace bdx::gfx {

Image pixellate(const Image& image, Point center, double cellSize) {
    if (image.isNull()) {
        platformLog("gfx", "pixellate of no image");
        return {};
    }
    if (!(cellSize >= 1) || !std::isfinite(cellSize) || !std::isfinite(center.x) ||
        !std::isfinite(center.y)) {
        platformLog("gfx", "pixellate with cell size " + std::to_string(cellSize) + " refused");
        return {};
    }
    const int w = image.width(), h = image.height();
    // The source column and row that each output column and row takes its colour from.
    auto sources = [&](int n, double origin) {
        std::vector<int> from(static_cast<std::size_t>(n));
        for (int i = 0; i < n; ++i) {
            const double cell = std::floor((i + 0.5 - origin) / cellSize);
            const double middle = origin + (cell + 0.5) * cellSize;
            from[static_cast<std::size_t>(i)] = std::clamp(static_cast<int>(std::floor(middle)), 0, n - 1);
        }
        return from;
    };
    const std::vector<int> fromX = sources(w, center.x);
    const std::vector<int> fromY = sources(h, center.y);
    std::vector<std::uint32_t> out(image.pixelCount());
    for (int y = 0; y < h; ++y) {
        const std::uint32_t* src = image.row(fromY[static_cast<std::size_t>(y)]);
        std::uint32_t* dst = out.data() + static_cast<std::size_t>(y) * w;
        for (int x = 0; x < w; ++x) {
            dst[x] = src[fromX[static_cast<std::size_t>(x)]];
        }
    }
    return Image::withPixels(w, h, std::move(out), image.scale(), image.orientation());
}

Image cropped(const Image& image, const Rect& pixelRect) {
    if (image.isNull()) {
        return {};
    }
    const Rect r =
        pixelRect.integral().intersection(Rect{0, 0, double(image.width()), double(image.height())});
    if (r.isEmpty()) {
        return {};
    }
    const int x0 = static_cast<int>(r.minX()), y0 = static_cast<int>(r.minY());
    const int w = static_cast<int>(r.width()), h = static_cast<int>(r.height());
    std::vector<std::uint32_t> out(static_cast<std::size_t>(w) * h);
    for (int y = 0; y < h; ++y) {
        std::copy_n(image.row(y0 + y) + x0, w, out.data() + static_cast<std::size_t>(y) * w);
    }
    return Image::withPixels(w, h, std::move(out), image.scale(), image.orientation());
}

}  // namespace bdx::gfx
