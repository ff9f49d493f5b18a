#pragma once

#include "foundation/Data.h"
#include "platform/gfx/Image.h"

namespace bdx::gfx {

// PNG of the image's stored pixels (un-premultiplied, 8 bits per channel; RGB when every pixel is
// opaque, RGBA otherwise). Empty data and a log line on failure or for a null image.
Data pngData(const Image& image);

// JPEG of the image's stored pixels at a quality from 0 (smallest) to 1 (best), mapped linearly onto
// the encoder's 0..100. JPEG has no alpha: transparent areas come out as if drawn over black. Empty
// data and a log line on failure or for a null image.
Data jpegData(const Image& image, double quality);

// Decodes PNG or JPEG (told by the signature) into premultiplied pixels at the given scale,
// orientation Up. A null image and a log line for anything else or for damaged data.
Image imageWithData(const Data& data, double scale = 1.0);

}  // namespace bdx::gfx
