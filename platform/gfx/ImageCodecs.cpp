#include "platform/gfx/ImageCodecs.h"

// clang-format off
#include <cstdio>  // jpeglib.h needs FILE declared first
#include <jpeglib.h>
// clang-format on
#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/PlatformLog.h"

namespace bdx::gfx {

namespace {

// Pixel counts beyond this are refused rather than allocated (about 1 GB of pixels).
constexpr std::size_t kMaxPixels = std::size_t{1} << 28;

void log(const std::string& message) {
    platformLog("gfx", message);
}

std::uint8_t unpremultiply(std::uint32_t c, std::uint32_t a) {
    if (a == 0) {
        return 0;
    }
    if (a == 255) {
        return static_cast<std::uint8_t>(c);
    }
    return static_cast<std::uint8_t>(std::min<std::uint32_t>(255, (c * 255 + a / 2) / a));
}

std::uint32_t premultiplied(std::uint8_t r, std::uint8_t g, std::uint8_t b, std::uint8_t a) {
    if (a == 255) {
        return 0xFF000000u | std::uint32_t{r} << 16 | std::uint32_t{g} << 8 | b;
    }
    auto mul = [a](std::uint8_t c) -> std::uint32_t {
        // Rounded c * a / 255.
        const std::uint32_t t = std::uint32_t{c} * a + 128;
        return (t + (t >> 8)) >> 8;
    };
    return std::uint32_t{a} << 24 | mul(r) << 16 | mul(g) << 8 | mul(b);
}

// ---- PNG ----

struct PngWriteJob {
    Data* out;
    std::string error;
};

void pngWriteData(png_structp png, png_bytep bytes, png_size_t length) {
    auto* job = static_cast<PngWriteJob*>(png_get_io_ptr(png));
    job->out->insert(job->out->end(), bytes, bytes + length);
}

void pngFlush(png_structp) {}

void pngError(png_structp png, png_const_charp message) {
    auto* job = static_cast<PngWriteJob*>(png_get_error_ptr(png));
    job->error = message ? message : "unknown error";
    png_longjmp(png, 1);
}

void pngWarning(png_structp, png_const_charp) {}

// Only plain data lives in this frame: libpng leaves it by longjmp on error.
bool writePng(const Image& image, bool withAlpha, std::uint8_t* rowBuffer, PngWriteJob* job) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, job, pngError, pngWarning);
    if (!png) {
        job->error = "out of memory";
        return false;
    }
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        job->error = "out of memory";
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_set_write_fn(png, job, pngWriteData, pngFlush);
    // Screens are large flat areas: a fast deflate level loses little size and saves much time.
    png_set_compression_level(png, 3);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB | PNG_FILTER_UP);
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.width()), static_cast<png_uint_32>(image.height()),
                 8, withAlpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_BASE, PNG_FILTER_TYPE_BASE);
    png_set_sRGB(png, info, PNG_sRGB_INTENT_PERCEPTUAL);
    png_write_info(png, info);
    const int channels = withAlpha ? 4 : 3;
    for (int y = 0; y < image.height(); ++y) {
        const std::uint32_t* src = image.row(y);
        std::uint8_t* dst = rowBuffer;
        for (int x = 0; x < image.width(); ++x) {
            const std::uint32_t p = src[x];
            const std::uint32_t a = p >> 24;
            dst[0] = unpremultiply(p >> 16 & 0xFF, a);
            dst[1] = unpremultiply(p >> 8 & 0xFF, a);
            dst[2] = unpremultiply(p & 0xFF, a);
            if (withAlpha) {
                dst[3] = static_cast<std::uint8_t>(a);
            }
            dst += channels;
        }
        png_write_row(png, rowBuffer);
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

Image decodePng(const Data& data, double scale) {
    png_image img;
    std::memset(&img, 0, sizeof img);
    img.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&img, data.data(), data.size())) {
        log(std::string("PNG could not be read: ") + img.message);
        png_image_free(&img);
        return {};
    }
    img.format = PNG_FORMAT_RGBA;
    const std::size_t pixels = static_cast<std::size_t>(img.width) * img.height;
    if (img.width == 0 || img.height == 0 || pixels > kMaxPixels) {
        log("PNG of " + std::to_string(img.width) + "x" + std::to_string(img.height) + " pixels refused");
        png_image_free(&img);
        return {};
    }
    std::vector<std::uint8_t> rgba(PNG_IMAGE_SIZE(img));
    if (!png_image_finish_read(&img, nullptr, rgba.data(), 0, nullptr)) {
        log(std::string("PNG could not be decoded: ") + img.message);
        png_image_free(&img);
        return {};
    }
    std::vector<std::uint32_t> out(pixels);
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint8_t* p = rgba.data() + i * 4;
        out[i] = premultiplied(p[0], p[1], p[2], p[3]);
    }
    return Image::withPixels(static_cast<int>(img.width), static_cast<int>(img.height), std::move(out),
                             scale);
}

// ---- JPEG ----

// The 32-bit word 0xAARRGGBB as libjpeg names its bytes in memory.
constexpr J_COLOR_SPACE kWordWithPadding =
    std::endian::native == std::endian::little ? JCS_EXT_BGRX : JCS_EXT_XRGB;
constexpr J_COLOR_SPACE kWordWithAlpha =
    std::endian::native == std::endian::little ? JCS_EXT_BGRA : JCS_EXT_ARGB;

struct JpegError {
    jpeg_error_mgr mgr;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

void jpegErrorExit(j_common_ptr cinfo) {
    auto* err = reinterpret_cast<JpegError*>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, err->message);
    std::longjmp(err->jump, 1);
}

void jpegOutputMessage(j_common_ptr) {}

// Only plain data lives in this frame: libjpeg leaves it by longjmp on error.
bool writeJpeg(const Image& image, int quality, unsigned char** buffer, unsigned long* size, JpegError* err) {
    jpeg_compress_struct cinfo;
    cinfo.err = jpeg_std_error(&err->mgr);
    err->mgr.error_exit = jpegErrorExit;
    err->mgr.output_message = jpegOutputMessage;
    if (setjmp(err->jump)) {
        jpeg_destroy_compress(&cinfo);
        return false;
    }
    jpeg_create_compress(&cinfo);
    jpeg_mem_dest(&cinfo, buffer, size);
    cinfo.image_width = static_cast<JDIMENSION>(image.width());
    cinfo.image_height = static_cast<JDIMENSION>(image.height());
    cinfo.input_components = 4;
    cinfo.in_color_space = kWordWithPadding;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    jpeg_start_compress(&cinfo, TRUE);
    while (cinfo.next_scanline < cinfo.image_height) {
        // Premultiplied colour with the alpha byte skipped is the picture drawn over black.
        JSAMPROW row = reinterpret_cast<JSAMPROW>(
            const_cast<std::uint32_t*>(image.row(static_cast<int>(cinfo.next_scanline))));
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    return true;
}

struct JpegDecoded {
    std::vector<std::uint32_t> pixels;
    int width = 0;
    int height = 0;
};

bool readJpeg(const Data& data, JpegDecoded* out, JpegError* err) {
    jpeg_decompress_struct cinfo;
    cinfo.err = jpeg_std_error(&err->mgr);
    err->mgr.error_exit = jpegErrorExit;
    err->mgr.output_message = jpegOutputMessage;
    if (setjmp(err->jump)) {
        jpeg_destroy_decompress(&cinfo);
        return false;
    }
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, data.data(), static_cast<unsigned long>(data.size()));
    jpeg_read_header(&cinfo, TRUE);
    if (cinfo.jpeg_color_space == JCS_CMYK || cinfo.jpeg_color_space == JCS_YCCK) {
        std::snprintf(err->message, sizeof err->message, "CMYK JPEG is not supported");
        jpeg_destroy_decompress(&cinfo);
        return false;
    }
    cinfo.out_color_space = kWordWithAlpha;
    const std::size_t pixels = static_cast<std::size_t>(cinfo.image_width) * cinfo.image_height;
    if (pixels == 0 || pixels > kMaxPixels) {
        std::snprintf(err->message, sizeof err->message, "JPEG of %ux%u pixels refused", cinfo.image_width,
                      cinfo.image_height);
        jpeg_destroy_decompress(&cinfo);
        return false;
    }
    jpeg_start_decompress(&cinfo);
    out->width = static_cast<int>(cinfo.output_width);
    out->height = static_cast<int>(cinfo.output_height);
    out->pixels.resize(static_cast<std::size_t>(out->width) * out->height);
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW row = reinterpret_cast<JSAMPROW>(
            out->pixels.data() + static_cast<std::size_t>(cinfo.output_scanline) * out->width);
        jpeg_read_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return true;
}

}  // namespace

Data pngData(const Image& image) {
    if (image.isNull()) {
        log("pngData of no image");
        return {};
    }
    const bool withAlpha = !image.isOpaque();
    std::vector<std::uint8_t> row(static_cast<std::size_t>(image.width()) * 4);
    Data out;
    out.reserve(image.pixelCount());
    PngWriteJob job{&out, {}};
    if (!writePng(image, withAlpha, row.data(), &job)) {
        log("PNG encoding failed: " + job.error);
        return {};
    }
    return out;
}

Data jpegData(const Image& image, double quality) {
    if (image.isNull()) {
        log("jpegData of no image");
        return {};
    }
    if (std::isnan(quality)) {
        quality = 1.0;
    }
    const int q = static_cast<int>(std::lround(std::clamp(quality, 0.0, 1.0) * 100));
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    JpegError err{};
    const bool ok = writeJpeg(image, q, &buffer, &size, &err);
    Data out;
    if (ok) {
        out.assign(buffer, buffer + size);
    } else {
        log(std::string("JPEG encoding failed: ") + err.message);
    }
    std::free(buffer);
    return out;
}

Image imageWithData(const Data& data, double scale) {
    if (!(scale > 0) || !std::isfinite(scale)) {
        scale = 1.0;
    }
    static constexpr std::uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (data.size() >= 8 && std::equal(kPngSignature, kPngSignature + 8, data.begin())) {
        return decodePng(data, scale);
    }
    if (data.size() >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF) {
        JpegDecoded decoded;
        JpegError err{};
        if (!readJpeg(data, &decoded, &err)) {
            log(std::string("JPEG could not be decoded: ") + err.message);
            return {};
        }
        return Image::withPixels(decoded.width, decoded.height, std::move(decoded.pixels), scale);
    }
    log("image data of " + std::to_string(data.size()) + " bytes is neither PNG nor JPEG");
    return {};
}

}  // namespace bdx::gfx
