// The network log under a host's traffic: exchanges with 2 KiB JSON bodies (request and response) saved
// through saveLogWithRequest, in records per second until the last one is stored (its write saved through
// the store's chain), and the time the call itself takes on the caller's thread. Past 1000 records every
// record starts a purge, as in a long session.

#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

#include "Logging/BDXNetworkLogger.h"
#include "foundation/RunLoop.h"
#include "foundation/Sandbox.h"
#include "persistence/BDXCoreDataPersistenceManager.h"
#include "persistence/BDXDALService.h"
#include "platform/net/URLResponse.h"

namespace {

namespace fs = std::filesystem;

constexpr int kRecordsPerBatch = 500;

void openStore() {
    static const bool opened = [] {
        auto root = fs::temp_directory_path() / "bdx-bench-netlog";
        fs::remove_all(root);
        fs::create_directories(root);
        bdx::Sandbox::setRoot(root);
        bdx::RunLoop::startEmbeddedMainThread();
        auto manager = BDXCoreDataPersistenceManager::sharedManager();
        manager->initializeCoreData();
        while (!manager->hasAddedPersistentStore()) {
            std::this_thread::yield();
        }
        return true;
    }();
    (void)opened;
}

// A JSON document of 2048 bytes.
bdx::Data jsonBody(char fill) {
    const std::string json = R"({"payload":")" + std::string(2048 - 15, fill) + R"("})";
    return bdx::Data(json.begin(), json.end());
}

// Waits until every write queued so far in the network logger's lane has been saved.
void drainLane() {
    std::mutex mutex;
    std::condition_variable saved;
    bool done = false;
    BDXNetworkLogger::dataLayerService()->writeASync([](const auto&) {},
                                                     [&](const bdx::Error&) {
                                                         std::lock_guard lock(mutex);
                                                         done = true;
                                                         saved.notify_all();
                                                     });
    std::unique_lock lock(mutex);
    saved.wait(lock, [&] { return done; });
}

struct Exchange {
    bdx::net::URLRequest request{"https://api.example.com/v1/orders?page=2"};
    bdx::Data body = jsonBody('q');
    bdx::Data data = jsonBody('r');
    std::shared_ptr<const bdx::net::URLResponse> response = std::make_shared<const bdx::net::HTTPURLResponse>(
        "https://api.example.com/v1/orders?page=2", 200, "HTTP/1.1",
        bdx::net::HTTPHeaderFields{{"Content-Type", "application/json; charset=utf-8"},
                                   {"X-Request-Id", "r-1"}});
    Exchange() {
        request.setHTTPMethod("POST");
        request.setValueForHTTPHeaderField("application/json", "Content-Type");
        request.setValueForHTTPHeaderField("Bearer token", "Authorization");
    }
};

// Records per second, from the first call to the last record saved; and, as a counter, the microseconds
// each call kept its caller (the rest of the work goes on in the logger's lane).
void BM_NetworkLogSavedUntilStored(benchmark::State& state) {
    openStore();
    const Exchange exchange;
    std::chrono::duration<double, std::micro> onCaller{0};
    for (auto _ : state) {
        for (int n = 0; n < kRecordsPerBatch; ++n) {
            const auto start = std::chrono::steady_clock::now();
            BDXNetworkLogger::init()->saveLogWithRequest(exchange.request, exchange.body, exchange.response,
                                                         exchange.data, std::nullopt, 12.5, nullptr);
            onCaller += std::chrono::steady_clock::now() - start;
        }
        drainLane();
    }
    const double calls = static_cast<double>(state.iterations()) * kRecordsPerBatch;
    state.SetItemsProcessed(static_cast<std::int64_t>(calls));
    state.counters["caller_us_per_call"] = onCaller.count() / calls;
}
BENCHMARK(BM_NetworkLogSavedUntilStored)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2);

}  // namespace

BENCHMARK_MAIN();
