// Gzip compression of JSON request bodies: the library's encoder, which grows its output 1,024 bytes per
// deflate call, against one plain deflate call into a buffer of deflateBound at the same settings.
// ratio_to_plain is the encoder's throughput as a share of the plain call's (aim: at least 0.95).

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <chrono>
#include <map>
#include <optional>
#include <random>
#include <string>

#include "archives/BDXGZIP.h"

namespace {

bdx::Data jsonBody(std::size_t size) {
    std::string text = "[";
    std::mt19937 generator(11);
    for (int i = 0; text.size() < size; ++i) {
        text += (i ? "," : "");
        text += "{\"date\":" + std::to_string(1700000000000ULL + generator() % 1000000) +
                ",\"type\":\"network\",\"url\":\"https://api.example.com/v2/items/" +
                std::to_string(generator() % 10000) + "?page=" + std::to_string(generator() % 50) +
                "\",\"method\":\"GET\",\"status\":" + std::to_string(200 + generator() % 3 * 100) +
                ",\"duration\":" + std::to_string(generator() % 2000) +
                ",\"response_headers\":{\"Content-Type\":" +
                "\"application/json\",\"Cache-Control\":\"no-cache\"}}";
    }
    text.resize(size - 1);
    text += "]";
    return bdx::Data(text.begin(), text.end());
}

const bdx::Data& body(std::size_t size) {
    static std::map<std::size_t, bdx::Data> bodies;
    auto found = bodies.find(size);
    if (found == bodies.end()) {
        found = bodies.emplace(size, jsonBody(size)).first;
    }
    return found->second;
}

bdx::Data plainDeflate(const bdx::Data& input) {
    z_stream stream{};
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY);
    bdx::Data out(deflateBound(&stream, input.size()));
    stream.next_in = const_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    int status = deflate(&stream, Z_FINISH);
    deflateEnd(&stream);
    out.resize(status == Z_STREAM_END ? stream.total_out : 0);
    return out;
}

double seconds(std::chrono::steady_clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

// The two encoders run alternately in every iteration, so that both see the same machine load (the
// machine is shared); the reported time and bytes per second are the library's.
void GZipJSONBody(benchmark::State& state) {
    const auto& input = body(static_cast<std::size_t>(state.range(0)));
    double libraryTime = 0;
    double plainTime = 0;
    std::size_t outSize = 0;
    bool libraryFirst = true;
    for (auto _ : state) {
        std::optional<bdx::Data> compressed;
        bdx::Data plain;
        auto runLibrary = [&] {
            auto start = std::chrono::steady_clock::now();
            compressed = bdx_dataByGZipCompressingWithError(input);
            return seconds(std::chrono::steady_clock::now() - start);
        };
        auto runPlain = [&] {
            auto start = std::chrono::steady_clock::now();
            plain = plainDeflate(input);
            return seconds(std::chrono::steady_clock::now() - start);
        };
        // Taking turns at going first, so that neither always finds the other's memory warm.
        double library = 0;
        if (libraryFirst) {
            library = runLibrary();
            plainTime += runPlain();
        } else {
            plainTime += runPlain();
            library = runLibrary();
        }
        libraryFirst = !libraryFirst;
        if (!compressed || *compressed != plain) {
            state.SkipWithError("the library's output differs from one plain deflate call");
            break;
        }
        outSize = compressed->size();
        libraryTime += library;
        state.SetIterationTime(library);
    }
    const double bytes = static_cast<double>(state.iterations()) * static_cast<double>(input.size());
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
    state.counters["library_MBps"] = bytes / libraryTime / 1e6;
    state.counters["plain_MBps"] = bytes / plainTime / 1e6;
    state.counters["ratio_to_plain"] = plainTime / libraryTime;
    state.counters["out_in"] = static_cast<double>(outSize) / static_cast<double>(input.size());
}

BENCHMARK(GZipJSONBody)
    ->Arg(64 << 10)
    ->Arg(1 << 20)
    ->Arg(5 << 20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
