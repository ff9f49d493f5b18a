#include "platform/gfx/Color.h"

#include <algorithm>
#include <cmath>

namespace bdx::gfx {

namespace {
std::uint32_t channel(double v) {
    return static_cast<std::uint32_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
}
}  // namespace

std::uint32_t Color::premultipliedARGB() const {
    const double k = std::clamp(a, 0.0, 1.0);
    return channel(k) << 24 | channel(r * k) << 16 | channel(g * k) << 8 | channel(b * k);
}

Color Color::fromPremultipliedARGB(std::uint32_t pixel) {
    const double k = (pixel >> 24 & 0xFF) / 255.0;
    if (k == 0) {
        return clear();
    }
    auto un = [k](std::uint32_t c) { return std::min(1.0, (c & 0xFF) / 255.0 / k); };
    return {un(pixel >> 16), un(pixel >> 8), un(pixel), k};
}

}  // namespace bdx::gfx
