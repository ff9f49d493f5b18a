#pragma once

// The reference collector: an HTTP(S) server on 127.0.0.1 that stands in for the back-end service. It keeps
// every request it receives in a folder of its own, answers from a per-path script, and lists what it
// received at /_collector/requests.

#include <httplib.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "RequestBody.h"

namespace bdx::collector {

struct CollectorOptions {
    int port = 0;  // 0: any free port
    std::filesystem::path folder;
    std::string certificate;  // PEM paths; both given means HTTPS
    std::string privateKey;
};

class CollectorServer {
  public:
    explicit CollectorServer(CollectorOptions options);
    ~CollectorServer();
    CollectorServer(const CollectorServer&) = delete;
    CollectorServer& operator=(const CollectorServer&) = delete;

    // Binds the port; false with the reason when that fails.
    bool bind(std::string* error);
    int port() const { return port_; }
    std::string rootURL() const;
    const std::filesystem::path& folder() const { return options_.folder; }

    // Serves until stop(); blocks its caller.
    void run();
    // Ends every delay at once and closes the listening socket. Safe from any thread.
    void stop();
    // Waits (bounded) until no handler is running, so that nothing is half written when the process ends.
    void waitForHandlers(std::chrono::milliseconds limit);

    // Appends the responses of each script entry ({"path", "method"?, "responses": [...]}, one or an array of
    // them) to its path's queue; returns the reason when an entry is malformed, and then queues nothing.
    std::string addScripts(const Json& entries);

  private:
    struct Answer {
        int status = 200;
        std::optional<std::string> body;  // none: the path's default body
        std::vector<std::pair<std::string, std::string>> headers;
        long delayMs = 0;
        bool drop = false;
        std::vector<std::string> chunks;
        long chunkDelayMs = 50;
    };

    using ScriptKey = std::pair<std::string, std::string>;  // path, method (empty: any method)
    static std::string parseScript(const Json& entry, ScriptKey* key, std::vector<Answer>* answers);

    void handle(const httplib::Request& request, httplib::Response& response);
    void handleControl(const httplib::Request& request, httplib::Response& response);
    void handleService(const httplib::Request& request, httplib::Response& response);
    Answer answerFor(const std::string& method, const std::string& path);
    Json storeRequest(const httplib::Request& request, const DecodedBody& body,
                      const std::string& contentEncoding, int index, const Answer& answer,
                      const std::string& error);
    void printLine(const std::string& line);
    // Sleeps for `ms` unless the server stops first; false when it stopped.
    bool pause(long ms);

    CollectorOptions options_;
    std::unique_ptr<httplib::Server> server_;
    std::function<bool()> widenBacklog_;
    int port_ = 0;

    std::mutex mutex_;  // guards everything below
    std::condition_variable changed_;
    bool stopping_ = false;
    int handlersRunning_ = 0;
    int lastIndex_ = 0;
    std::vector<Json> records_;
    // Keyed by path and method; an empty method answers any method.
    std::map<ScriptKey, std::deque<Answer>> scripts_;

    std::mutex outputMutex_;
};

}  // namespace bdx::collector
