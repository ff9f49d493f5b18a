// The cost of the cache's own layer: persistAll of a force-writing cache holding 1,000 small models (each
// asked for its record, the array built, made JSON, written atomically and flushed on the caller's thread),
// against one atomic write of the same JSON text. Both report the bytes each write puts on disk.

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <memory>
#include <string>

#include "foundation/AtomicFile.h"
#include "foundation/ClassRegistry.h"
#include "foundation/Sandbox.h"
#include "persistence/BDXCachable.h"
#include "persistence/BDXCache.h"
#include "persistence/BDXCacheDecoder.h"

namespace {

constexpr int kModels = 1000;

class SmallModel : public BDXCachable {
    BDX_DECLARE_CLASS(SmallModel, bdx::Object)

  public:
    SmallModel() = default;
    explicit SmallModel(int number) : identifier_("model-" + std::to_string(number)), number_(number) {}

    bdx::Value dictionaryValue() const override {
        bdx::Value record = bdx::Value::object();
        record[coderNameForSelector("identifier")] = identifier_;
        record[coderNameForSelector("number")] = number_;
        record[coderNameForSelector("isSent")] = false;
        return record;
    }
    bool initWithDictionary(const bdx::Value&) override { return true; }
    void send() override {}
    void save() override {}
    void remove() override {}
    bool isFullySent() const override { return false; }
    std::string identifier() const override { return identifier_; }

  private:
    std::string identifier_;
    int number_ = 0;
};

class SmallModelCache : public BDXCache {
    BDX_DECLARE_CLASS(SmallModelCache, BDXCache)

  public:
    SmallModelCache() : BDXCache(true) {}
    std::string cacheDiskPath() const override { return BDXCache::cacheDiskPath() + "/" + className(); }
};

void useBenchSandbox() {
    static const bool ready = [] {
        auto root = std::filesystem::temp_directory_path() / "bdx-bench-caches";
        std::filesystem::create_directories(root);
        bdx::Sandbox::setRoot(root);
        return true;
    }();
    (void)ready;
}

std::shared_ptr<SmallModelCache> filledCache() {
    auto cache = std::make_shared<SmallModelCache>();
    BDXCache::Models models;
    for (int i = 0; i < kModels; ++i) {
        models.push_back(std::make_shared<SmallModel>(i));
    }
    cache->append(models);
    return cache;
}

void CachePersistAll(benchmark::State& state) {
    useBenchSandbox();
    auto cache = filledCache();
    for (auto _ : state) {
        cache->persistAll();
    }
    const auto bytes = std::filesystem::file_size(cache->cacheDiskPath());
    state.counters["bytes_per_write"] = static_cast<double>(bytes);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

void AtomicWriteOfTheSameJson(benchmark::State& state) {
    useBenchSandbox();
    auto cache = filledCache();
    const std::string text = BDXCacheDecoder::getDicationaryFromModels(cache->getAllObjects()).dump();
    const auto path = std::filesystem::temp_directory_path() / "bdx-bench-caches" / "plain.json";
    for (auto _ : state) {
        bdx::AtomicFile::write(path, text);
    }
    state.counters["bytes_per_write"] = static_cast<double>(text.size());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

}  // namespace

BENCHMARK(CachePersistAll)->Unit(benchmark::kMillisecond);
BENCHMARK(AtomicWriteOfTheSameJson)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
