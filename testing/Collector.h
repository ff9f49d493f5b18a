#pragma once

// The reference collector (tools/collector) as a test sees it: started as a child process on 127.0.0.1 with a
// folder of its own, scripted and read back over its control requests, stopped when the object goes.
//
//   bdx::testing::Collector collector;
//   collector.script("/api/sdk/v3/sessions", bdx::Value::parse(R"([{"status": 500}])"));
//   ... point the library at collector.baseURL() and let it send ...
//   ASSERT_TRUE(collector.waitForRequests(1));
//   bdx::Value first = collector.requests()[0];   // the stored request.json records, in arrival order
//
// Failing to start the collector or to talk to it throws std::runtime_error with the reason: a test cannot go
// on without it.

#include <sys/types.h>

#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "foundation/Value.h"
#include "testing/TemporaryDirectory.h"

namespace bdx::testing {

class Collector {
  public:
    struct Options {
        int port = 0;                  // 0: a free port
        std::filesystem::path folder;  // empty: a temporary folder that goes with the collector
        std::string certificate;       // PEM files; both given: the collector serves HTTPS
        std::string privateKey;
        std::filesystem::path script;  // a JSON array of scripted answers read at start
    };

    Collector();
    explicit Collector(Options options);
    ~Collector();
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    // "http://127.0.0.1:PORT/api/sdk/v3" (https when serving TLS): the library's base URL.
    std::string baseURL() const { return rootURL_ + "/api/sdk/v3"; }
    // "http://127.0.0.1:PORT".
    std::string rootURL() const { return rootURL_; }
    int port() const { return port_; }
    // Where each request is stored, in folders 000001, 000002, ...
    const std::string& folder() const { return folder_; }

    // Appends `responses` (an array of {"status", "body", "headers", "delay_ms", "drop", "chunks",
    // "chunk_delay_ms"}) to the queue of `path`, for `method` only when one is given.
    void script(const std::string& path, const bdx::Value& responses, const std::string& method = "");
    // Drops every script, and with `requests` every stored request (numbering starts again at 1).
    void reset(bool requests = false);

    // Every request received so far, as the request.json records, in arrival order.
    bdx::Value requests() const;
    // Waits until at least `count` requests have arrived; false when the time ran out first. The collector
    // answers when the count is reached, so nothing here sleeps.
    bool waitForRequests(size_t count, double timeoutSeconds = 10) const;

    // The lines the collector printed after its first, one per request, once there are `atLeast` of them or
    // the time ran out.
    std::vector<std::string> outputLines(size_t atLeast = 0, double timeoutSeconds = 10) const;

    // Stops the collector (SIGTERM) and reaps it; its exit status (128 + the signal when a signal ended it).
    // The destructor does this when no test did.
    int stop();

  private:
    std::string control(const std::string& method, const std::string& pathAndQuery, const std::string& body,
                        long timeoutSeconds) const;

    std::unique_ptr<TemporaryDirectory> ownFolder_;
    std::string folder_;
    std::string rootURL_;
    int port_ = 0;
    pid_t pid_ = -1;
    int stdoutFd_ = -1;
    int stdinFd_ = -1;  // held open; the collector stops when it closes, even if this process dies abruptly
    std::thread reader_;
    int exitStatus_ = -1;
    mutable std::mutex linesMutex_;
    mutable std::condition_variable linesChanged_;
    std::vector<std::string> lines_;
};

}  // namespace bdx::testing
