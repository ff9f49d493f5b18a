// Public header: installed with the library for hosts to include.
#pragma once

#include <cstdint>

namespace bdx::gfx {

// A colour in device RGB with straight (not premultiplied) components in 0..1.
struct Color {
    double r = 0;
    double g = 0;
    double b = 0;
    double a = 0;

    static constexpr Color rgba(double red, double green, double blue, double alpha = 1.0) {
        return {red, green, blue, alpha};
    }
    // 0..255 components, as colours are often written down.
    static constexpr Color rgba255(int red, int green, int blue, double alpha = 1.0) {
        return {red / 255.0, green / 255.0, blue / 255.0, alpha};
    }
    static constexpr Color white(double w, double alpha = 1.0) { return {w, w, w, alpha}; }

    static constexpr Color black() { return {0, 0, 0, 1}; }
    static constexpr Color white() { return {1, 1, 1, 1}; }
    static constexpr Color clear() { return {0, 0, 0, 0}; }
    static constexpr Color red() { return {1, 0, 0, 1}; }
    static constexpr Color green() { return {0, 1, 0, 1}; }
    static constexpr Color blue() { return {0, 0, 1, 1}; }
    static constexpr Color gray() { return {0.5, 0.5, 0.5, 1}; }
    static constexpr Color lightGray() { return {2.0 / 3.0, 2.0 / 3.0, 2.0 / 3.0, 1}; }
    static constexpr Color darkGray() { return {1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0, 1}; }
    static constexpr Color yellow() { return {1, 1, 0, 1}; }
    static constexpr Color cyan() { return {0, 1, 1, 1}; }
    static constexpr Color magenta() { return {1, 0, 1, 1}; }
    static constexpr Color orange() { return {1, 0.5, 0, 1}; }

    constexpr Color withAlpha(double alpha) const { return {r, g, b, alpha}; }

    // The premultiplied 0xAARRGGBB word this colour becomes in an image's pixel (components
    // clamped to 0..1 and rounded the way the drawing engine does).
    std::uint32_t premultipliedARGB() const;
    // The colour a premultiplied 0xAARRGGBB pixel shows (components un-premultiplied).
    static Color fromPremultipliedARGB(std::uint32_t pixel);

    friend constexpr bool operator==(const Color&, const Color&) = default;
};

}  // namespace bdx::gfx
