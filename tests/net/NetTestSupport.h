#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "foundation/DispatchQueue.h"
#include "foundation/RunLoop.h"
#include "platform/net/URLSession.h"

namespace bdx::testing {

// A session delegate that writes down every event with the thread it arrived on, and lets a test wait
// for a condition on what it wrote down.
class RecordingDelegate : public net::URLSessionDelegate {
  public:
    struct Completion {
        unsigned long task = 0;
        std::optional<Error> error;
        std::shared_ptr<const net::URLResponse> response;
    };

    void didReceiveResponse(const std::shared_ptr<net::URLSession>&,
                            const std::shared_ptr<net::URLSessionDataTask>& task,
                            const std::shared_ptr<const net::URLResponse>& response) override {
        record([&] { responses[task->taskIdentifier()] = response; });
    }
    void didReceiveData(const std::shared_ptr<net::URLSession>&,
                        const std::shared_ptr<net::URLSessionDataTask>& task, const Data& data) override {
        record([&] { chunks[task->taskIdentifier()].push_back(data); });
    }
    void didSendBodyData(const std::shared_ptr<net::URLSession>&,
                         const std::shared_ptr<net::URLSessionTask>& task, std::int64_t, std::int64_t total,
                         std::int64_t) override {
        record([&] { sent[task->taskIdentifier()] = total; });
    }
    void didCompleteWithError(const std::shared_ptr<net::URLSession>&,
                              const std::shared_ptr<net::URLSessionTask>& task,
                              const std::optional<Error>& error) override {
        record([&] {
            completions.push_back({task->taskIdentifier(), error, task->response()});
            ++completionsOf[task->taskIdentifier()];
        });
    }
    void didBecomeInvalidWithError(const std::shared_ptr<net::URLSession>& session,
                                   const std::optional<Error>&) override {
        record([&] { invalidated.insert(session.get()); });
    }

    // Waits (up to a generous limit) until `done` holds; true when it did.
    bool waitFor(const std::function<bool()>& done, double seconds = 20) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::duration<double>(seconds), done);
    }
    bool waitForCompletions(std::size_t count, double seconds = 20) {
        return waitFor([&] { return completions.size() >= count; }, seconds);
    }
    std::string chunkText(unsigned long task) {
        std::string text;
        for (const auto& chunk : chunks[task]) {
            text.append(chunk.begin(), chunk.end());
        }
        return text;
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Completion> completions;
    std::map<unsigned long, int> completionsOf;
    std::map<unsigned long, std::shared_ptr<const net::URLResponse>> responses;
    std::map<unsigned long, std::vector<Data>> chunks;
    std::map<unsigned long, std::int64_t> sent;
    std::set<const net::URLSession*> invalidated;
    std::set<std::string> labels;
    bool onMainThread = false;

  private:
    template <class F>
    void record(F&& change) {
        {
            std::lock_guard lock(mutex);
            change();
            labels.insert(DispatchQueue::currentLabel());
            onMainThread = onMainThread || isMainThread();
        }
        changed.notify_all();
    }
};

}  // namespace bdx::testing
