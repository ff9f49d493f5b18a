#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "foundation/Data.h"
#include "foundation/Error.h"
#include "platform/net/URLRequest.h"
#include "platform/net/URLResponse.h"

namespace bdx::net {

class URLSession;
namespace detail {
class TransferEngine;
struct TaskBody;
}  // namespace detail

// The platform's task states, with its values.
enum class URLSessionTaskState { Running = 0, Suspended = 1, Canceling = 2, Completed = 3 };

// One transfer of a session. Made suspended by the session; resume starts it. Every member is safe
// to call from any thread.
class URLSessionTask : public std::enable_shared_from_this<URLSessionTask> {
  public:
    // Called once, on the session's delegate queue, instead of the delegate, for tasks made with one.
    using CompletionHandler = std::function<void(
        std::optional<Data> data, std::shared_ptr<const URLResponse> response, std::optional<Error> error)>;

    virtual ~URLSessionTask();
    URLSessionTask(const URLSessionTask&) = delete;
    URLSessionTask& operator=(const URLSessionTask&) = delete;

    // Unique within its session, counting from 1 in the order tasks were made.
    unsigned long taskIdentifier() const { return identifier_; }
    const URLRequest& originalRequest() const { return request_; }
    // The request as sent, after the session added its headers; the original one until it starts.
    URLRequest currentRequest() const;
    // The response once its header fields arrived; nullptr before, and for a transfer that got none.
    std::shared_ptr<const URLResponse> response() const;
    // The error the task completed with; nullopt while it runs and for a success.
    std::optional<Error> error() const;
    URLSessionTaskState state() const;

    std::string taskDescription() const;
    void setTaskDescription(std::string description);

    std::int64_t countOfBytesReceived() const { return bytesReceived_.load(); }
    std::int64_t countOfBytesSent() const { return bytesSent_.load(); }
    // The size of the body to send, 0 for none; -1 when unknown.
    std::int64_t countOfBytesExpectedToSend() const { return bytesExpectedToSend_.load(); }

    // Starts a suspended task. Does nothing to one that runs or has completed.
    void resume();
    // Stops the task: it completes with a cancelled error (URLErrorCode::cancelled), also when it had
    // not been resumed. Does nothing to a completed task.
    void cancel();

  protected:
    URLSessionTask(std::shared_ptr<URLSession> session, unsigned long identifier, URLRequest request,
                   std::unique_ptr<detail::TaskBody> body, CompletionHandler completion);

  private:
    friend class URLSession;
    friend class detail::TransferEngine;

    // Moves Running/Suspended/Canceling to Completed once; false when already completed.
    bool markCompleted(std::optional<Error> error);

    const unsigned long identifier_;
    const URLRequest request_;
    std::weak_ptr<URLSession> session_;
    std::unique_ptr<detail::TaskBody> body_;
    CompletionHandler completion_;

    mutable std::mutex mutex_;
    URLSessionTaskState state_ = URLSessionTaskState::Suspended;
    bool started_ = false;
    std::optional<URLRequest> currentRequest_;
    std::shared_ptr<const URLResponse> response_;
    std::optional<Error> error_;
    std::string description_;

    std::atomic<std::int64_t> bytesReceived_{0};
    std::atomic<std::int64_t> bytesSent_{0};
    std::atomic<std::int64_t> bytesExpectedToSend_{0};
};

// A task whose response body is handed over as it arrives.
class URLSessionDataTask : public URLSessionTask {
  protected:
    using URLSessionTask::URLSessionTask;
    friend class URLSession;
};

// A task that sends a body from a file (streamed from disk, never held in memory whole) or from bytes.
class URLSessionUploadTask : public URLSessionDataTask {
  protected:
    using URLSessionDataTask::URLSessionDataTask;
    friend class URLSession;
};

}  // namespace bdx::net
