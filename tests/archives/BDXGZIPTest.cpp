#include "archives/BDXGZIP.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "platform/host/Info.h"
#include "testing/TemporaryDirectory.h"

// The output space offered to each deflate/inflate call, recorded by interposing zlib's entry points:
// the growth rule is visible only there.
namespace {
std::vector<unsigned>* gOffers = nullptr;
int forward(const char* name, z_streamp stream, int flush) {
    if (gOffers != nullptr) {
        gOffers->push_back(stream->avail_out);
    }
    return reinterpret_cast<int (*)(z_streamp, int)>(dlsym(RTLD_NEXT, name))(stream, flush);
}
}  // namespace
extern "C" int deflate(z_streamp stream, int flush) {
    return forward("deflate", stream, flush);
}
extern "C" int inflate(z_streamp stream, int flush) {
    return forward("inflate", stream, flush);
}

namespace {

struct RecordOffers {
    std::vector<unsigned> offers;
    RecordOffers() { gOffers = &offers; }
    ~RecordOffers() { gOffers = nullptr; }
};

bdx::Data randomBytes(std::size_t size) {
    std::mt19937 generator(42);
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
        text += (i ? ",{\"date\":" : "{\"date\":") + std::to_string(1700000000000ULL + generator() % 100000) +
                ",\"view\":\"UIButton-" + std::to_string(generator() % 500) + "\",\"event\":\"tap\"}";
    }
    return bdx::Data(text.begin(), text.end());
}

// What the gzip program makes of the bytes.
bdx::Data gunzipWithTool(const bdx::Data& compressed) {
    bdx::testing::TemporaryDirectory directory;
    const auto in = directory.path() / "body.gz";
    std::ofstream(in, std::ios::binary)
        .write(reinterpret_cast<const char*>(compressed.data()), compressed.size());
    EXPECT_EQ(0, std::system(("gzip -t '" + in.string() + "' && gzip -d '" + in.string() + "'").c_str()));
    std::ifstream out(directory.path() / "body", std::ios::binary);
    return bdx::Data(std::istreambuf_iterator<char>(out), std::istreambuf_iterator<char>());
}

TEST(GZip, OutputIsReadBackByTheGzipTool) {
    for (const auto& input : {bdx::Data{'x'}, jsonBody(3 << 20), randomBytes((2 << 20) + 17)}) {
        SCOPED_TRACE(input.size());
        auto compressed = bdx_dataByGZipCompressingWithError(input);
        ASSERT_TRUE(compressed.has_value());
        EXPECT_EQ(input, gunzipWithTool(*compressed));
        EXPECT_EQ(input, bdx_dataByGZipDecompressingDataWithError(*compressed));
    }
    // And the other way: the tool's output at its best level.
    bdx::testing::TemporaryDirectory directory;
    const auto plain = directory.path() / "plain";
    const auto input = jsonBody(1 << 20);
    std::ofstream(plain, std::ios::binary).write(reinterpret_cast<const char*>(input.data()), input.size());
    ASSERT_EQ(0, std::system(("gzip -9 '" + plain.string() + "'").c_str()));
    std::ifstream in(plain.string() + ".gz", std::ios::binary);
    EXPECT_EQ(input, bdx_dataByGZipDecompressingDataWithError(
                         bdx::Data(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())));
}

TEST(GZip, EachDeflateCallIsOfferedExactlyTheNext1024Bytes) {
    // Incompressible bytes are stored, so the result grows one for one with the input: find the input
    // whose result fills the first buffer exactly.
    bdx::Data input;
    std::optional<bdx::Data> exact;
    for (std::size_t size = 950; size < 1050 && !exact; ++size) {
        input = randomBytes(size);
        if (auto compressed = bdx_dataByGZipCompressingWithError(input); compressed->size() == 1024) {
            exact = compressed;
        }
    }
    ASSERT_TRUE(exact.has_value()) << "no input gave a 1,024-byte result";
    EXPECT_EQ(input, gunzipWithTool(*exact));
    {
        RecordOffers record;
        EXPECT_EQ(exact, bdx_dataByGZipCompressingWithError(input));
        EXPECT_EQ(std::vector<unsigned>{1024}, record.offers) << "a full buffer at the end takes no growth";
    }
    input.push_back(0x5a);
    RecordOffers record;
    auto compressed = bdx_dataByGZipCompressingWithError(input);
    EXPECT_EQ(1025u, compressed->size());
    EXPECT_EQ((std::vector<unsigned>{1024, 1024}), record.offers);
    EXPECT_EQ(input, gunzipWithTool(*compressed));

    RecordOffers large;
    compressed = bdx_dataByGZipCompressingWithError(randomBytes(100 * 1024));
    EXPECT_EQ(std::vector<unsigned>((compressed->size() + 1023) / 1024, 1024), large.offers);
}

TEST(GZip, InflateStartsAtOneAndAHalfTheInputAndGrowsByHalfThat) {
    const auto input = jsonBody(512 * 1024);
    const auto compressed = *bdx_dataByGZipCompressingWithError(input);
    const unsigned initial = static_cast<unsigned>(compressed.size() + compressed.size() / 2);
    RecordOffers record;
    EXPECT_EQ(input, bdx_dataByGZipDecompressingDataWithError(compressed));
    ASSERT_GE(record.offers.size(), 3u);
    EXPECT_EQ(initial, record.offers[0]);
    EXPECT_EQ(std::vector<unsigned>(record.offers.size() - 1, initial / 2),
              std::vector<unsigned>(record.offers.begin() + 1, record.offers.end()));
}

TEST(GZip, EmptyDataComesBackAsItIs) {
    bdx::Error error("untouched", 99);
    EXPECT_EQ(bdx::Data{}, bdx_dataByGZipCompressingWithError({}, &error));
    EXPECT_EQ(bdx::Data{}, bdx_dataByGZipDecompressingDataWithError({}, &error));
    EXPECT_EQ(99, error.code());
}

TEST(GZipFailures, TheHostsStringsTableMayRewordTheMessage) {
    bdx::host::Info::shared()->setLocalizedStrings("", {{"Error inflating payload", "Antwort unlesbar"}});
    const std::string text = "not gzip";
    bdx::Error error;
    EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithError(bdx::Data(text.begin(), text.end()), &error));
    EXPECT_EQ("Antwort unlesbar", error.localizedDescription());
    EXPECT_EQ(Z_DATA_ERROR, error.code());
}

TEST(GZipFailures, BadInputGivesNothingAndTheZlibStatus) {
    const std::string text = "plain text, not a gzip stream";
    bdx::Error error;
    EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithError(bdx::Data(text.begin(), text.end()), &error));
    EXPECT_EQ("Error inflating payload", error.localizedDescription());
    EXPECT_EQ(Z_DATA_ERROR, error.code());
    EXPECT_EQ(kBDXGZIPErrorDomain, error.domain());

    // Cut short, the input runs out before the stream ends: no output space can cure that.
    const auto compressed = *bdx_dataByGZipCompressingWithError(jsonBody(300 * 1024));
    for (std::size_t size : {std::size_t{1}, std::size_t{10}, compressed.size() / 2, compressed.size() - 1}) {
        error = bdx::Error();
        EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithError(
            bdx::Data(compressed.begin(), compressed.begin() + static_cast<long>(size)), &error));
        EXPECT_EQ("Error inflating payload", error.localizedDescription()) << size;
        EXPECT_EQ(Z_BUF_ERROR, error.code()) << size;
    }
    auto damaged = compressed;
    damaged[damaged.size() - 6] ^= 0xff;  // the check value
    EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithError(damaged, &error));
    EXPECT_EQ(Z_DATA_ERROR, error.code());

    EXPECT_FALSE(bdx_dataByGZipCompressingAtLevel(compressed, 10, 31, 8, 0, &error));
    EXPECT_EQ("Failed deflateInit", error.localizedDescription());
    EXPECT_EQ(Z_STREAM_ERROR, error.code());
    EXPECT_FALSE(bdx_dataByGZipDecompressingDataWithWindowSize(compressed, 3, &error));
    EXPECT_EQ("Failed inflateInit", error.localizedDescription());
    EXPECT_EQ(Z_STREAM_ERROR, error.code());
}

}  // namespace
