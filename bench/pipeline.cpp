// The price of the request pipeline against the network itself: 1,000 JSON requests of about 2 KiB
// pushed at once to the reference collector on loopback, each body made JSON, gzip-compressed, written
// to a temporary file and sent as an upload task, with its reply parsed and judged on the main queue;
// then the same compressed payloads posted by plain libcurl (multi interface, bodies from memory, the
// same number of connections to the host) to the same collector in the same run.
//
// Counters: pipeline_seconds, pipeline_rps, curl_seconds, curl_rps, ratio (pipeline_rps / curl_rps)
// and rss_growth_kib (resident set after the pipeline's 1,000 requests minus before).
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "archives/BDXGZIP.h"
#include "bench/ResidentMemory.h"
#include "core/BDXDefaults.h"
#include "core/BDXIntializationManager.h"
#include "core/BDXOperation.h"
#include "foundation/RunLoop.h"
#include "foundation/Sandbox.h"
#include "testing/Collector.h"
#include "testing/TemporaryDirectory.h"
#include "transport/BDXHighLevelRequest.h"
#include "transport/BDXReachabilityInstance.h"
#include "transport/BDXServerDataRequest.h"
#include "transport/BDXServerManager.h"
#include "transport/BDXServerRequestDelegate.h"

namespace {

constexpr int kRequests = 1000;

bdx::Value payloadOf(int index) {
    // About 2 KiB of JSON in the shape of a session record.
    bdx::Value payload = {
        {"application_token", "bench-token"}, {"index", index}, {"events", bdx::Value::array()}};
    for (int event = 0; event < 24; ++event) {
        payload["events"].push_back({{"name", "screen_view_" + std::to_string(event)},
                                     {"at", 1709283600000.0 + index * 100 + event},
                                     {"detail", "MainViewController/Settings"}});
    }
    return payload;
}

// A high-level request of the catalogue's kind: judged by the common rule and handed back.
class BenchRequest : public BDXHighLevelRequest,
                     public BDXServerRequestDelegate,
                     public std::enable_shared_from_this<BenchRequest> {
    BDX_DECLARE_CLASS(BenchRequest, bdx::Object)

  public:
    BenchRequest(std::string url, bdx::Value payload, std::atomic<int>& done)
        : url_(std::move(url)), payload_(std::move(payload)), done_(done) {}
    void executeNow() override {
        setIsExecuting(true);
        request_ = BDXServerDataRequest::executeWithURL(url_, BDXHTTPMethodPOST, payload_, weak_from_this());
    }
    void serverExecutionDone(const std::shared_ptr<BDXServerProtocol>&, std::int64_t statusCode,
                             const std::optional<bdx::Error>& error, const bdx::Value& response) override {
        judgeResult(statusCode, error, response);
        BDXServerManager::getInstance()->handleRequest(shared_from_this());
        if (isSuccess()) {
            ++done_;
        }
    }

  private:
    std::string url_;
    bdx::Value payload_;
    std::atomic<int>& done_;
    std::shared_ptr<BDXServerDataRequest> request_;
};

double pipelineSeconds(const std::string& baseURL) {
    std::atomic<int> done{0};
    const auto start = std::chrono::steady_clock::now();
    for (int index = 0; index < kRequests; ++index) {
        BDXServerManager::getInstance()->pushRequest(
            std::make_shared<BenchRequest>(baseURL + "/sessions", payloadOf(index), done));
    }
    while (done < kRequests) {
        bdx::RunLoop::main().runOnce(0.05);
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

size_t discard(char*, size_t size, size_t count, void*) {
    return size * count;
}

double curlSeconds(const std::string& baseURL, int connections) {
    std::vector<bdx::Data> bodies;
    for (int index = 0; index < kRequests; ++index) {
        const std::string json = payloadOf(index).dump();
        bodies.push_back(bdx_dataByGZipCompressingWithError(bdx::Data(json.begin(), json.end())).value());
    }
    const std::string url = baseURL + "/sessions";
    curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
    headers = curl_slist_append(headers, "Content-Encoding: gzip");
    const auto start = std::chrono::steady_clock::now();
    CURLM* multi = curl_multi_init();
    curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, static_cast<long>(connections));
    for (const auto& body : bodies) {
        CURL* easy = curl_easy_init();
        curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
        curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.data());
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, discard);
        curl_multi_add_handle(multi, easy);
    }
    int running = 0;
    do {
        curl_multi_perform(multi, &running);
        int messages = 0;
        while (CURLMsg* message = curl_multi_info_read(multi, &messages)) {
            if (message->msg == CURLMSG_DONE) {
                curl_multi_remove_handle(multi, message->easy_handle);
                curl_easy_cleanup(message->easy_handle);
            }
        }
        if (running) {
            curl_multi_poll(multi, nullptr, 0, 100, nullptr);
        }
    } while (running);
    curl_multi_cleanup(multi);
    curl_slist_free_all(headers);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void PipelineAgainstPlainCurl(benchmark::State& state) {
    bdx::testing::TemporaryDirectory sandbox;
    bdx::Sandbox::setRoot(sandbox.path());
    bdx::testing::Collector collector;
    const std::string baseURL = collector.baseURL();
    BDXDefaults::getInstance()->setBaseURL(baseURL);
    auto initialization = BDXIntializationManager::getInstance();
    initialization->addOperation(BDXServerManager::getInstance()->initializationOperation());
    initialization->addOperation(BDXReachabilityInstance::getInstance()->initializationOperation());
    while (!BDXReachabilityInstance::isReachable()) {
        bdx::RunLoop::main().runOnce(0.05);
    }
    const int connections =
        BDXServerManager::getInstance()->backgroundSession()->configuration().HTTPMaximumConnectionsPerHost();

    for (auto _ : state) {
        const long rssBefore = residentKiB();
        const double pipeline = pipelineSeconds(baseURL);
        const long rssAfter = residentKiB();
        const double curl = curlSeconds(baseURL, connections);
        state.counters["pipeline_seconds"] = pipeline;
        state.counters["pipeline_rps"] = kRequests / pipeline;
        state.counters["curl_seconds"] = curl;
        state.counters["curl_rps"] = kRequests / curl;
        state.counters["ratio"] = curl / pipeline;
        state.counters["rss_growth_kib"] = static_cast<double>(rssAfter - rssBefore);
    }
    BDXServerManager::destroy();
}

BENCHMARK(PipelineAgainstPlainCurl)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
