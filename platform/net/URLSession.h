#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "foundation/Data.h"
#include "platform/net/URLRequest.h"
#include "platform/net/URLSessionConfiguration.h"
#include "platform/net/URLSessionDelegate.h"
#include "platform/net/URLSessionTask.h"

namespace bdx {
class DispatchQueue;
}

namespace bdx::net {

// A URL session: makes tasks for requests and tells its delegate what becomes of them.
//
// Every transfer of every session is driven by one transfer thread of the process (libcurl's multi
// interface); no thread is made per request. Delegate operations and completion handlers run on the
// session's delegate queue, never on the transfer thread and never on the main thread unless the
// main queue was given as the delegate queue. Members are safe to call from any thread. A session
// stays alive while any of its tasks runs.
//
// Redirects are followed (at most 16 hops). Responses with a gzip, deflate or brotli content encoding
// are decoded before they reach the delegate. A request body (a data task's HTTPBody, an upload
// task's file or bytes) is never sent twice: a request that meets a connection closed under it fails
// with URLErrorCode::networkConnectionLost; one without a body may be retried once on a fresh
// connection when a kept-alive connection turns out closed before anything was answered, as HTTP
// allows.
class URLSession : public std::enable_shared_from_this<URLSession> {
  public:
    using CompletionHandler = URLSessionTask::CompletionHandler;

    // A session with a copy of `configuration`. A null delegate queue gives the session a serial
    // queue of its own.
    static std::shared_ptr<URLSession> sessionWithConfiguration(
        const URLSessionConfiguration& configuration, std::weak_ptr<URLSessionDelegate> delegate = {},
        std::shared_ptr<DispatchQueue> delegateQueue = nullptr);
    // The process's session of the default configuration, without a delegate; it cannot be
    // invalidated.
    static std::shared_ptr<URLSession> sharedSession();

    ~URLSession();
    URLSession(const URLSession&) = delete;
    URLSession& operator=(const URLSession&) = delete;

    const URLSessionConfiguration& configuration() const { return configuration_; }
    std::shared_ptr<URLSessionDelegate> delegate() const { return delegate_.lock(); }
    const std::shared_ptr<DispatchQueue>& delegateQueue() const { return delegateQueue_; }

    // A task for `request`, suspended. It sends the request's HTTPBody, if any. nullptr once the
    // session is invalidated (logged).
    std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(const URLRequest& request);
    // The same, but the whole body, the response and the error go to `completionHandler` on the
    // delegate queue, and the delegate hears nothing of the task.
    std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(const URLRequest& request,
                                                            CompletionHandler completionHandler);
    // A task that sends the file at `filePath` as the body, read piece by piece while it goes out. A
    // file that cannot be opened when the task starts completes it with URLErrorCode::fileDoesNotExist
    // (or noPermissionsToReadFile).
    std::shared_ptr<URLSessionUploadTask> uploadTaskWithRequestFromFile(const URLRequest& request,
                                                                        const std::string& filePath);
    // A task that sends `body` as the body.
    std::shared_ptr<URLSessionUploadTask> uploadTaskWithRequestFromData(const URLRequest& request, Data body);

    // No new tasks; running ones go on. Once the last has completed the delegate hears
    // didBecomeInvalidWithError and the session lets it go.
    void finishTasksAndInvalidate();
    // No new tasks, and every running or suspended one is cancelled.
    void invalidateAndCancel();
    bool isInvalidated() const { return invalidated_.load(); }

    // Tasks made and not yet completed.
    std::size_t outstandingTaskCount() const;

  private:
    friend class URLSessionTask;
    friend class detail::TransferEngine;

    URLSession(const URLSessionConfiguration& configuration, std::weak_ptr<URLSessionDelegate> delegate,
               std::shared_ptr<DispatchQueue> delegateQueue, bool shared);

    template <class Task>
    std::shared_ptr<Task> makeTask(const URLRequest& request, std::unique_ptr<detail::TaskBody> body,
                                   CompletionHandler completion);
    // Called by the transfer machinery once a task has completed and its last event was queued.
    void taskDidFinish(const std::shared_ptr<URLSessionTask>& task);
    void becomeInvalidIfIdle(std::unique_lock<std::mutex>& lock);

    const URLSessionConfiguration configuration_;
    const std::weak_ptr<URLSessionDelegate> delegate_;
    const std::shared_ptr<DispatchQueue> delegateQueue_;
    const bool shared_;

    mutable std::mutex mutex_;
    unsigned long nextIdentifier_ = 1;
    std::set<std::shared_ptr<URLSessionTask>> outstanding_;
    std::atomic<bool> invalidated_{false};
    bool invalidationReported_ = false;
};

}  // namespace bdx::net
