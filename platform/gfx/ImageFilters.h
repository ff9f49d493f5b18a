#pragma once

#include "platform/gfx/Geometry.h"
#include "platform/gfx/Image.h"

namespace bdx::gfx {

// A mosaic of the image: square cells of `cellSize` pixels on a grid through `center` (in stored
// pixels from the top-left corner), each filled with the pixel at its middle (clamped into the
// image). Same size, scale and orientation as the source; a null image and a log line for a null
// source or a cell size below 1.
Image pixellate(const Image& image, Point center, double cellSize);

// The stored pixels inside the rectangle (in pixels, rounded outwards to whole pixels and cut to
// the image), with the source's scale and orientation. Null when nothing is left.
Image cropped(const Image& image, const Rect& pixelRect);

}  // namespace bdx::gfx
