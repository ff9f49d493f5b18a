// The price of the URL session's file-backed uploads: 1,000 JSON bodies of 2 KiB, each written to a file
// and sent as an upload task, against the same bodies posted from memory by plain libcurl (multi
// interface, the same limit of connections per host), both to the reference collector on loopback in
// the same run. Counters: requests per second of each, their ratio, and the growth of the resident set
// over the session's run.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "bench/ResidentMemory.h"
#include "platform/net/URLSession.h"
#include "testing/Collector.h"
#include "testing/TemporaryDirectory.h"

namespace {

constexpr int kRequests = 1000;
constexpr std::size_t kBodySize = 2048;

std::string jsonBody(int index) {
    std::string body =
        "{\"application_token\":\"bench\",\"index\":" + std::to_string(index) + ",\"padding\":\"";
    body.append(kBodySize - body.size() - 2, 'x');
    body += "\"}";
    return body;
}

class CountingDelegate : public bdx::net::URLSessionDelegate {
  public:
    void didCompleteWithError(const std::shared_ptr<bdx::net::URLSession>&,
                              const std::shared_ptr<bdx::net::URLSessionTask>&,
                              const std::optional<bdx::Error>& error) override {
        std::lock_guard lock(mutex);
        ++completed;
        failed += error ? 1 : 0;
        done.notify_all();
    }
    std::mutex mutex;
    std::condition_variable done;
    int completed = 0;
    int failed = 0;
};

// Seconds for the session to write and send every body.
double runSession(const std::string& url, const std::filesystem::path& folder, int& failed) {
    auto delegate = std::make_shared<CountingDelegate>();
    auto session = bdx::net::URLSession::sessionWithConfiguration(
        bdx::net::URLSessionConfiguration::backgroundSessionConfigurationWithIdentifier("bench"), delegate);
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::shared_ptr<bdx::net::URLSessionUploadTask>> tasks;
    for (int i = 0; i < kRequests; ++i) {
        const auto path = folder / ("body" + std::to_string(i));
        std::ofstream(path, std::ios::binary) << jsonBody(i);
        bdx::net::URLRequest request(url);
        request.setHTTPMethod("POST");
        request.setValueForHTTPHeaderField("application/json", "Content-Type");
        tasks.push_back(session->uploadTaskWithRequestFromFile(request, path.string()));
        tasks.back()->resume();
    }
    std::unique_lock lock(delegate->mutex);
    delegate->done.wait(lock, [&] { return delegate->completed == kRequests; });
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    failed += delegate->failed;
    session->finishTasksAndInvalidate();
    return seconds;
}

size_t discard(char*, size_t size, size_t count, void*) {
    return size * count;
}

// Seconds for plain libcurl to post every body from memory.
double runPlainCurl(const std::string& url, int& failed) {
    CURLM* multi = curl_multi_init();
    curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, 6L);
    curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
    headers = curl_slist_append(headers, "Expect:");
    std::vector<std::string> bodies;
    bodies.reserve(kRequests);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kRequests; ++i) {
        bodies.push_back(jsonBody(i));
        CURL* easy = curl_easy_init();
        curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, bodies.back().c_str());
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(bodies.back().size()));
        curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &discard);
        curl_multi_add_handle(multi, easy);
    }
    int running = 1;
    while (running > 0) {
        curl_multi_perform(multi, &running);
        int queued = 0;
        while (CURLMsg* message = curl_multi_info_read(multi, &queued)) {
            if (message->msg == CURLMSG_DONE) {
                failed += message->data.result == CURLE_OK ? 0 : 1;
                curl_multi_remove_handle(multi, message->easy_handle);
                curl_easy_cleanup(message->easy_handle);
            }
        }
        if (running > 0) {
            curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
        }
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    curl_slist_free_all(headers);
    curl_multi_cleanup(multi);
    return seconds;
}

void BM_ThousandJsonUploadsSessionVersusPlainCurl(benchmark::State& state) {
    bdx::testing::Collector collector;
    bdx::testing::TemporaryDirectory folder;
    const std::string url = collector.baseURL() + "/sessions";
    double sessionSeconds = 0;
    double curlSeconds = 0;
    long rssGrowth = 0;
    int failed = 0;
    for (auto _ : state) {
        curlSeconds += runPlainCurl(url, failed);
        const long before = residentKiB();
        sessionSeconds += runSession(url, folder.path(), failed);
        rssGrowth = std::max(rssGrowth, residentKiB() - before);
    }
    const double runs = static_cast<double>(state.iterations());
    state.counters["session_req_per_s"] = kRequests * runs / sessionSeconds;
    state.counters["curl_req_per_s"] = kRequests * runs / curlSeconds;
    state.counters["ratio"] = curlSeconds / sessionSeconds;
    state.counters["rss_growth_KiB"] = static_cast<double>(rssGrowth);
    state.counters["failed"] = failed;
}
BENCHMARK(BM_ThousandJsonUploadsSessionVersusPlainCurl)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
