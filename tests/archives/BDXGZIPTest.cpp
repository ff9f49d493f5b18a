#include "archives/BDXGZIP.h"
#include "testing/TemporaryDirectory.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

// The output space offered to each deflate/inflate call of the code under test, recorded by
// interposing zlib's own entry points: the growth rule is visible only through them.
namespace {
std::vector<unsigned>* gDeflateOffers = nullptr;
std::vector<unsigned>* gInflateOffers = nullptr;
}  // namespace

extern "C" int deflate(z_streamp stream, int flush) {
    static auto real = reinterpret_cast<int (*)(z_streamp, int)>(dlsym(RTLD_NEXT, "deflate"));
    if (gDeflateOffers != nullptr) {
        gDeflateOffers->push_back(stream->avail_out);
    }
    return real(stream, flush);
}

extern "C" int inflate(z_streamp stream, int flush) {
    static auto real = reinterpret_cast<int (*)(z_streamp, int)>(dlsym(RTLD_NEXT, "inflate"));
    if (gInflateOffers != nullptr) {
        gInflateOffers->push_back(stream->avail_out);
    }
    return real(stream, flush);
}

namespace {

struct RecordOffers {
    std::vector<unsigned> deflateOffers;
    std::vector<unsigned> inflateOffers;
    RecordOffers() {
        gDeflateOffers = &deflateOffers;
        gInflateOffers = &inflateOffers;
    }
    ~RecordOffers() {
        gDeflateOffers = nullptr;
        gInflateOffers = nullptr;
    }
};

bdx::Data randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    bdx::Data data(size);
    for (auto& byte : data) {
        byte = static_cast<std::uint8_t>(generator());
    }
    return data;
}

// A JSON body of the kind the library sends: repetitive keys, varying values.
bdx::Data jsonBody(std::size_t minimumSize) {
    std::string text = "[";
    std::mt19937 generator(7);
    for (int i = 0; text.size() < minimumSize; ++i) {
        text += (i ? "," : "");
        text += "{\"date\":" + std::to_string(1700000000000ULL + generator() % 100000) +
                ",\"event\":\"tap\",\"view\":\"UIButton-" + std::to_string(generator() % 500) +
                "\",\"message\":\"Tapped on \\\"Send\\\" in BDXReportViewController\"}";
    }
    text += "]";
    return bdx::Data(text.begin(), text.end());
}

class GZipFiles : public ::testing::Test {
  protected:
    std::filesystem::path write(const std::string& name, const bdx::Data& data) {
        auto path = directory_.path() / name;
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(data.data()), data.size());
        return path;
    }
    static bdx::Data read(const std::filesystem::path& path) {
        std::ifstream in(path, std::ios::binary);
        return bdx::Data(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    static int run(const std::string& command) { return std::system(command.c_str()); }

    // What an independent reader (the gzip program) makes of bytes the library compressed.
    bdx::Data gunzipWithTool(const bdx::Data& compressed) {
        auto in = write("body.gz", compressed);
        auto out = directory_.path() / "body";
        EXPECT_EQ(0, run("gzip -t '" + in.string() + "'"));
        EXPECT_EQ(0, run("gzip -dc '" + in.string() + "' > '" + out.string() + "'"));
        return read(out);
    }

    bdx::testing::TemporaryDirectory directory_;
};

TEST_F(GZipFiles, CompressedBodiesAreReadBackByGzipTool) {
    for (const auto& input : {bdx::Data{'x'}, jsonBody(64 * 1024), jsonBody(3 * 1024 * 1024),
                              randomBytes(2 * 1024 * 1024 + 17, 1)}) {
        SCOPED_TRACE(input.size());
        bdx::Error error;
        auto compressed = bdx_dataByGZipCompressingWithError(input, &error);
        ASSERT_TRUE(compressed.has_value()) << error.localizedDescription();
        // The gzip wrapper: magic bytes, then deflate.
        ASSERT_GE(compressed->size(), 18u);
        EXPECT_EQ(0x1f, (*compressed)[0]);
        EXPECT_EQ(0x8b, (*compressed)[1]);
        EXPECT_EQ(8, (*compressed)[2]);
        EXPECT_EQ(input, gunzipWithTool(*compressed));
    }
}

TEST_F(GZipFiles, GzipToolOutputDecompresses) {
    auto input = jsonBody(2 * 1024 * 1024);
    auto plain = write("tool", input);
    ASSERT_EQ(0, run("gzip -9 -k '" + plain.string() + "'"));
    auto compressed = read(plain.string() + ".gz");
    bdx::Error error;
    auto decompressed = bdx_dataByGZipDecompressingDataWithError(compressed, &error);
    ASSERT_TRUE(decompressed.has_value()) << error.localizedDescription();
    EXPECT_EQ(input, *decompressed);
}

TEST_F(GZipFiles, AResultOfExactly1024BytesTakesOneCallAndIsWhole) {
    // Incompressible bytes are stored, so the result grows one for one with the input: find the size
    // that lands on exactly the first buffer.
    std::optional<bdx::Data> exact;
    bdx::Data input;
    for (std::size_t size = 900; size < 1100 && !exact; ++size) {
        input = randomBytes(size, 42);
        auto compressed = bdx_dataByGZipCompressingWithError(input);
        ASSERT_TRUE(compressed.has_value());
        if (compressed->size() == 1024) {
            exact = compressed;
        }
    }
    ASSERT_TRUE(exact.has_value()) << "no input size gave a 1,024-byte result";
    EXPECT_EQ(input, gunzipWithTool(*exact));

    RecordOffers offers;
    ASSERT_EQ(*exact, bdx_dataByGZipCompressingWithError(input));
    EXPECT_EQ(std::vector<unsigned>{1024}, offers.deflateOffers);

    // One byte more no longer fits: the full buffer is grown by exactly 1,024 bytes, once.
    input.push_back(0x5a);
    RecordOffers more;
    auto compressed = bdx_dataByGZipCompressingWithError(input);
    ASSERT_TRUE(compressed.has_value());
    EXPECT_EQ(1025u, compressed->size());
    EXPECT_EQ((std::vector<unsigned>{1024, 1024}), more.deflateOffers);
    EXPECT_EQ(input, gunzipWithTool(*compressed));
}

}  // namespace

TEST(GZip, EveryDeflateCallIsOfferedTheNext1024Bytes) {
    auto input = randomBytes(100 * 1024, 3);
    RecordOffers offers;
    auto compressed = bdx_dataByGZipCompressingWithError(input);
    ASSERT_TRUE(compressed.has_value());
    ASSERT_FALSE(offers.deflateOffers.empty());
    for (unsigned offered : offers.deflateOffers) {
        EXPECT_EQ(1024u, offered);
    }
    // The last call finishes inside its chunk; every earlier one filled its chunk.
    EXPECT_EQ((compressed->size() + 1023) / 1024, offers.deflateOffers.size());
}

TEST(GZip, InflateStartsAtOneAndAHalfTheInputAndGrowsByHalfThat) {
    auto input = jsonBody(512 * 1024);
    auto compressed = bdx_dataByGZipCompressingWithError(input);
    ASSERT_TRUE(compressed.has_value());
    const std::size_t initial = compressed->size() + compressed->size() / 2;
    const std::size_t step = initial / 2;

    RecordOffers offers;
    auto decompressed = bdx_dataByGZipDecompressingDataWithError(*compressed);
    ASSERT_TRUE(decompressed.has_value());
    EXPECT_EQ(input, *decompressed);
    ASSERT_GE(offers.inflateOffers.size(), 2u) << "a well-compressed body needs more than the first buffer";
    EXPECT_EQ(initial, offers.inflateOffers.front());
    for (std::size_t i = 1; i < offers.inflateOffers.size(); ++i) {
        EXPECT_EQ(step, offers.inflateOffers[i]) << "call " << i;
    }
}

TEST(GZip, EmptyDataComesBackAsItIsWithoutError) {
    bdx::Error error("untouched", 99);
    auto compressed = bdx_dataByGZipCompressingWithError({}, &error);
    ASSERT_TRUE(compressed.has_value());
    EXPECT_TRUE(compressed->empty());
    auto decompressed = bdx_dataByGZipDecompressingDataWithError({}, &error);
    ASSERT_TRUE(decompressed.has_value());
    EXPECT_TRUE(decompressed->empty());
    EXPECT_EQ(99, error.code());
    EXPECT_EQ("untouched", error.domain());
}

TEST(GZip, OtherSettingsRoundTrip) {
    auto input = jsonBody(200 * 1024);
    // Best compression with the zlib wrapper, read back with the same window size.
    auto zlibWrapped = bdx_dataByGZipCompressingAtLevel(input, 9, 15, 9, Z_DEFAULT_STRATEGY);
    ASSERT_TRUE(zlibWrapped.has_value());
    EXPECT_EQ(0x78, (*zlibWrapped)[0]);
    EXPECT_EQ(input, bdx_dataByGZipDecompressingDataWithWindowSize(*zlibWrapped, 15));
    // Window size 47 detects either wrapper.
    EXPECT_EQ(input, bdx_dataByGZipDecompressingDataWithWindowSize(*zlibWrapped, 47));
    auto stored = bdx_dataByGZipCompressingAtLevel(input, 0, 31, 8, Z_DEFAULT_STRATEGY);
    ASSERT_TRUE(stored.has_value());
    EXPECT_GT(stored->size(), input.size());
    EXPECT_EQ(input, bdx_dataByGZipDecompressingDataWithError(*stored));
}

TEST(GZipFailures, NonGzipInputIsAnInflateErrorWithTheZlibStatus) {
    const std::string text = "this is plain text, not a gzip stream";
    bdx::Error error;
    auto result = bdx_dataByGZipDecompressingDataWithError(bdx::Data(text.begin(), text.end()), &error);
    EXPECT_FALSE(result.has_value());
    EXPECT_EQ("Error inflating payload", error.localizedDescription());
    EXPECT_EQ(Z_DATA_ERROR, error.code());
    EXPECT_EQ(kBDXGZIPErrorDomain, error.domain());

    // A zlib-wrapped stream is not a gzip one either.
    auto zlibWrapped = bdx_dataByGZipCompressingAtLevel(jsonBody(1000), -1, 15, 8, 0);
    ASSERT_TRUE(zlibWrapped.has_value());
    EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithError(*zlibWrapped, &error).has_value());
    EXPECT_EQ(Z_DATA_ERROR, error.code());
    // Without an error argument the caller gets nothing, and nothing else happens.
    EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithError(*zlibWrapped).has_value());
}

TEST(GZipFailures, DamagedStreamsFailWithoutHangingOrCrashing) {
    auto input = jsonBody(300 * 1024);
    auto compressed = bdx_dataByGZipCompressingWithError(input);
    ASSERT_TRUE(compressed.has_value());

    // Cut short: the input runs out before the stream ends, which no output space can cure.
    bdx::Data truncated(compressed->begin(), compressed->begin() + compressed->size() / 2);
    bdx::Error error;
    EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithError(truncated, &error).has_value());
    EXPECT_EQ("Error inflating payload", error.localizedDescription());
    EXPECT_EQ(Z_BUF_ERROR, error.code());

    for (std::size_t size : {1u, 5u, 10u}) {
        bdx::Data head(compressed->begin(), compressed->begin() + size);
        EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithError(head, &error).has_value()) << size;
        EXPECT_EQ("Error inflating payload", error.localizedDescription());
    }

    // A wrong check value in the trailer.
    auto damaged = *compressed;
    damaged[damaged.size() - 6] ^= 0xff;
    EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithError(damaged, &error).has_value());
    EXPECT_EQ(Z_DATA_ERROR, error.code());
}

TEST(GZipFailures, BadSettingsFailAtInit) {
    const bdx::Data input{'a', 'b', 'c'};
    bdx::Error error;
    EXPECT_FALSE(bdx_dataByGZipCompressingAtLevel(input, 10, 31, 8, 0, &error).has_value());
    EXPECT_EQ("Failed deflateInit", error.localizedDescription());
    EXPECT_EQ(Z_STREAM_ERROR, error.code());
    EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithWindowSize(input, 3, &error).has_value());
    EXPECT_EQ("Failed inflateInit", error.localizedDescription());
    EXPECT_EQ(Z_STREAM_ERROR, error.code());
}
