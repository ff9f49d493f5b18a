#include "platform/gfx/ImageCodecs.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/gfx/ImageContext.h"
#include "testing/TemporaryDirectory.h"
#include "tests/platform/PixelTestSupport.h"

namespace bdx::gfx {
namespace {

using namespace test;
namespace fs = std::filesystem;

// A directory of its own per test, removed afterwards.
class CodecFiles : public ::testing::Test {
  protected:
    fs::path write(const std::string& name, const Data& data) {
        const fs::path p = dir_ / name;
        std::ofstream(p, std::ios::binary)
            .write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
        return p;
    }

    static Data read(const fs::path& p) {
        std::ifstream in(p, std::ios::binary);
        return Data(std::istreambuf_iterator<char>(in), {});
    }

    // Runs a shell command; gives its exit status and standard output.
    static int run(const std::string& command, std::string* output = nullptr) {
        std::string ignored;
        output = output ? output : &ignored;
        FILE* pipe = ::popen(command.c_str(), "r");
        if (!pipe) {
            return -1;
        }
        std::string out;
        char buf[4096];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, pipe)) > 0) {
            out.append(buf, n);
        }
        const int status = ::pclose(pipe);
        *output = out;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    static void requireTool(const std::string& tool) {
        ASSERT_EQ(run("command -v " + tool + " >/dev/null 2>&1"), 0)
            << tool << " is missing; ./scripts/deps installs it";
    }

    bdx::testing::TemporaryDirectory scratch_;
    const fs::path dir_ = scratch_.path();
};

// A picture with opaque, half-transparent and empty areas: left half red, top right blue at half
// alpha, a green square bottom right, the rest empty.
Image sampleImage() {
    ImageContext ctx({40, 30}, false, 1);
    ctx.setShouldAntialias(false);
    ctx.setFillColor(Color::red());
    ctx.fillRect({0, 0, 20, 30});
    ctx.setFillColor(Color::blue().withAlpha(0.5));
    ctx.fillRect({20, 0, 20, 15});
    ctx.setFillColor(Color::green());
    ctx.fillRect({30, 20, 5, 5});
    return ctx.imageFromCurrentContext();
}

// Reads a PNG with nothing but Python's zlib: checks every chunk's CRC, inflates the IDAT stream,
// undoes the row filters and prints "width height colourType" and then "r g b a" for each pixel asked.
constexpr const char* kPngReader = R"PY(
import sys, zlib, struct
data = open(sys.argv[1], 'rb').read()
assert data[:8] == b'\x89PNG\r\n\x1a\n', 'signature'
pos, idat, ihdr = 8, b'', None
while pos < len(data):
    length, kind = struct.unpack('>I4s', data[pos:pos + 8])
    body = data[pos + 8:pos + 8 + length]
    crc = struct.unpack('>I', data[pos + 8 + length:pos + 12 + length])[0]
    assert zlib.crc32(kind + body) & 0xffffffff == crc, 'crc of ' + kind.decode()
    if kind == b'IHDR': ihdr = struct.unpack('>IIBBBBB', body)
    if kind == b'IDAT': idat += body
    pos += 12 + length
    if kind == b'IEND': break
w, h, depth, ctype = ihdr[0], ihdr[1], ihdr[2], ihdr[3]
assert depth == 8
bpp = {2: 3, 6: 4}[ctype]
raw = zlib.decompress(idat)
stride = w * bpp
rows, prev, i = [], bytearray(stride), 0
for y in range(h):
    f = raw[i]; line = bytearray(raw[i + 1:i + 1 + stride]); i += 1 + stride
    for x in range(stride):
        a = line[x - bpp] if x >= bpp else 0
        b = prev[x]
        c = prev[x - bpp] if x >= bpp else 0
        if f == 1: line[x] = (line[x] + a) & 255
        elif f == 2: line[x] = (line[x] + b) & 255
        elif f == 3: line[x] = (line[x] + (a + b) // 2) & 255
        elif f == 4:
            p = a + b - c; pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
            line[x] = (line[x] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
    rows.append(line); prev = line
print(w, h, ctype)
for arg in sys.argv[2:]:
    x, y = map(int, arg.split(','))
    px = rows[y][x * bpp:(x + 1) * bpp]
    print(*(list(px) + ([255] if bpp == 3 else [])))
)PY";

TEST_F(CodecFiles, PngReadsBackWithIndependentTools) {
    requireTool("pngcheck");
    requireTool("python3");
    const Data png = pngData(sampleImage());
    ASSERT_FALSE(png.empty());
    const fs::path file = write("sample.png", png);
    std::string out;
    EXPECT_EQ(run("pngcheck " + file.string() + " 2>&1", &out), 0) << out;
    EXPECT_NE(out.find("OK"), std::string::npos) << out;

    std::ofstream(dir_ / "read.py") << kPngReader;
    ASSERT_EQ(
        run("python3 " + (dir_ / "read.py").string() + " " + file.string() + " 5,5 25,5 32,22 25,25 2>&1",
            &out),
        0)
        << out;
    std::istringstream in(out);
    int w, h, type;
    in >> w >> h >> type;
    EXPECT_EQ(w, 40);
    EXPECT_EQ(h, 30);
    EXPECT_EQ(type, 6) << "an image with transparency is written with alpha";
    auto next = [&] {
        std::array<int, 4> px{};
        in >> px[0] >> px[1] >> px[2] >> px[3];
        return px;
    };
    EXPECT_EQ(next(), (std::array<int, 4>{255, 0, 0, 255}));
    // Written un-premultiplied: full blue at half alpha.
    EXPECT_EQ(next(), (std::array<int, 4>{0, 0, 255, 128}));
    EXPECT_EQ(next(), (std::array<int, 4>{0, 255, 0, 255}));
    EXPECT_EQ(next(), (std::array<int, 4>{0, 0, 0, 0}));

    // Fully opaque pictures are written without an alpha channel.
    const fs::path opaque = write("opaque.png", pngData(Image::filled(7, 3, kGreen)));
    ASSERT_EQ(run("python3 " + (dir_ / "read.py").string() + " " + opaque.string() + " 6,2", &out), 0) << out;
    EXPECT_EQ(out, "7 3 2\n0 255 0 255\n");
}

TEST_F(CodecFiles, PngRoundTripsThroughOurDecoder) {
    const Image original = sampleImage();
    const Image decoded = imageWithData(pngData(original), 2.0);
    ASSERT_FALSE(decoded.isNull());
    EXPECT_EQ(decoded.size(), (Size{20, 15})) << "40x30 pixels at scale 2";
    EXPECT_TRUE(decoded.hasSamePixels(original));

    // Every alpha level comes back within one step of rounding.
    std::vector<std::uint32_t> ramp;
    for (std::uint32_t a = 0; a < 256; ++a) {
        ramp.push_back(a << 24 | (a * 3 / 4) << 16 | (a / 2) << 8 | a / 5);
    }
    const Image rampImage = Image::withPixels(256, 1, ramp);
    const Image back = imageWithData(pngData(rampImage));
    ASSERT_FALSE(back.isNull());
    for (int x = 0; x < 256; ++x) {
        EXPECT_TRUE(channelsNear(back.pixelAt(x, 0), ramp[x], 1)) << x;
    }
}

TEST_F(CodecFiles, PngWrittenElsewhereDecodesWithPremultipliedColours) {
    requireTool("python3");
    // 2x1 RGBA written by Python: opaque orange, then white at alpha 64.
    std::ofstream(dir_ / "write.py") << R"PY(
import sys, zlib, struct
def chunk(k, b): return struct.pack('>I', len(b)) + k + b + struct.pack('>I', zlib.crc32(k + b) & 0xffffffff)
raw = b'\x00' + bytes([255, 128, 0, 255, 255, 255, 255, 64])
png = b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', 2, 1, 8, 6, 0, 0, 0)) \
    + chunk(b'IDAT', zlib.compress(raw)) + chunk(b'IEND', b'')
open(sys.argv[1], 'wb').write(png)
)PY";
    const fs::path file = dir_ / "other.png";
    ASSERT_EQ(run("python3 " + (dir_ / "write.py").string() + " " + file.string()), 0);
    const Image image = imageWithData(read(file));
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.pixelAt(0, 0), 0xFFFF8000u);
    EXPECT_EQ(image.pixelAt(1, 0), 0x40404040u);
}

// The pixels of a binary PPM as djpeg writes it.
struct Ppm {
    int width = 0, height = 0;
    std::vector<std::uint8_t> rgb;
    std::array<int, 3> at(int x, int y) const {
        const std::size_t i = (static_cast<std::size_t>(y) * width + x) * 3;
        return {rgb[i], rgb[i + 1], rgb[i + 2]};
    }
};

Ppm parsePpm(const Data& data) {
    Ppm ppm;
    std::string header(data.begin(), data.begin() + std::min<std::size_t>(data.size(), 64));
    std::istringstream in(header);
    std::string magic;
    int maxval = 0;
    in >> magic >> ppm.width >> ppm.height >> maxval;
    if (magic != "P6" || maxval != 255) {
        return {};
    }
    const std::size_t offset = static_cast<std::size_t>(in.tellg()) + 1;
    ppm.rgb.assign(data.begin() + static_cast<std::ptrdiff_t>(offset), data.end());
    if (ppm.rgb.size() != static_cast<std::size_t>(ppm.width) * ppm.height * 3) {
        return {};
    }
    return ppm;
}

bool near(std::array<int, 3> a, std::array<int, 3> b, int tolerance) {
    return channelsNear(0xFFu << 24 | a[0] << 16 | a[1] << 8 | a[2],
                        0xFFu << 24 | b[0] << 16 | b[1] << 8 | b[2], tolerance);
}

Image quadrants() {
    ImageContext ctx({64, 64}, false, 1);
    ctx.setFillColor(Color::red());
    ctx.fillRect({0, 0, 32, 32});
    ctx.setFillColor(Color::green());
    ctx.fillRect({32, 0, 32, 32});
    ctx.setFillColor(Color::blue());
    ctx.fillRect({0, 32, 32, 32});
    // Bottom right: white at half alpha, which JPEG shows over black.
    ctx.setFillColor(Color::white().withAlpha(0.5));
    ctx.fillRect({32, 32, 32, 32});
    return ctx.imageFromCurrentContext();
}

TEST_F(CodecFiles, JpegReadsBackWithDjpeg) {
    requireTool("djpeg");
    const Data jpeg = jpegData(quadrants(), 1.0);
    ASSERT_FALSE(jpeg.empty());
    const fs::path file = write("q.jpg", jpeg);
    const fs::path ppmFile = dir_ / "q.ppm";
    ASSERT_EQ(run("djpeg -pnm -outfile " + ppmFile.string() + " " + file.string()), 0);
    const Ppm ppm = parsePpm(read(ppmFile));
    ASSERT_EQ(ppm.width, 64);
    ASSERT_EQ(ppm.height, 64);
    EXPECT_TRUE(near(ppm.at(16, 16), {255, 0, 0}, 4));
    EXPECT_TRUE(near(ppm.at(48, 16), {0, 255, 0}, 4));
    EXPECT_TRUE(near(ppm.at(16, 48), {0, 0, 255}, 4));
    EXPECT_TRUE(near(ppm.at(48, 48), {128, 128, 128}, 4));
}

// The first entry of every quantisation table of a baseline JPEG.
std::vector<int> firstQuantizers(const Data& jpeg) {
    std::vector<int> out;
    for (std::size_t i = 2; i + 4 < jpeg.size();) {
        if (jpeg[i] != 0xFF) {
            break;
        }
        const int marker = jpeg[i + 1];
        const std::size_t length = static_cast<std::size_t>(jpeg[i + 2]) << 8 | jpeg[i + 3];
        if (marker == 0xDB) {
            for (std::size_t t = i + 4; t < i + 2 + length; t += 65) {
                out.push_back(jpeg[t + 1]);
            }
        }
        if (marker == 0xDA) {
            break;
        }
        i += 2 + length;
    }
    return out;
}

TEST_F(CodecFiles, JpegQualityMapsOntoTheEncoderScale) {
    const Image image = quadrants();
    // 1 is the encoder's 100 (every quantiser 1); 0.5 is 50, the standard tables unscaled (16 for
    // luminance, 17 for chrominance); 0.75 halves them; out-of-range qualities are held to the ends.
    for (const auto& [quality, expected] : std::vector<std::pair<double, std::vector<int>>>{
             {1.0, {1, 1}}, {0.5, {16, 17}}, {0.75, {8, 9}}, {7.0, {1, 1}}}) {
        EXPECT_EQ(firstQuantizers(jpegData(image, quality)), expected) << quality;
    }
    EXPECT_GT(jpegData(image, 1.0).size(), jpegData(image, 0.1).size());
}

TEST_F(CodecFiles, JpegRoundTripsThroughOurDecoder) {
    const Image decoded = imageWithData(jpegData(quadrants(), 0.9), 3.0);
    ASSERT_FALSE(decoded.isNull());
    EXPECT_EQ(decoded.scale(), 3.0);
    EXPECT_TRUE(decoded.isOpaque());
    EXPECT_TRUE(channelsNear(decoded.pixelAt(16, 16), kRed, 6)) << std::hex << decoded.pixelAt(16, 16);
    EXPECT_TRUE(channelsNear(decoded.pixelAt(48, 16), kGreen, 6));
    EXPECT_TRUE(channelsNear(decoded.pixelAt(16, 48), kBlue, 6));
}

TEST(ImageCodecsFailures, BadInputGivesNothingAndNeverThrows) {
    EXPECT_TRUE(pngData(Image()).empty());
    EXPECT_TRUE(jpegData(Image(), 1.0).empty());
    EXPECT_TRUE(imageWithData({}).isNull());
    EXPECT_TRUE(imageWithData({'G', 'I', 'F', '8', '9', 'a'}).isNull());
    Data png = pngData(Image::filled(8, 8, kRed));
    png.resize(png.size() / 2);
    EXPECT_TRUE(imageWithData(png).isNull());
    // A JPEG that stops after its first marker.
    EXPECT_TRUE(imageWithData({0xFF, 0xD8, 0xFF, 0xE0, 0x00}).isNull());
    Data damaged = jpegData(Image::filled(8, 8, kRed), 1.0);
    damaged.resize(20);
    EXPECT_TRUE(imageWithData(damaged).isNull());
}

}  // namespace
}  // namespace bdx::gfx
