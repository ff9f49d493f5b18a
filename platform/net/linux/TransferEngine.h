#pragma once

#include <memory>
#include <optional>
#include <string>

#include "foundation/Data.h"

namespace bdx::net {
class URLSession;
class URLSessionTask;
}  // namespace bdx::net

namespace bdx::net::detail {

// Where a task's request body comes from.
struct TaskBody {
    enum class Kind { None, Memory, File };
    Kind kind = Kind::None;
    Data bytes;
    std::string filePath;
};

// The one transfer thread of the process: every task of every session is an easy handle of one curl
// multi handle, driven by curl_multi_poll and woken by curl_multi_wakeup when work is handed over.
// Nothing here throws: what goes wrong in a transfer completes its task with an error.
class TransferEngine {
  public:
    static TransferEngine& shared();

    // Hands a resumed task to the transfer thread, which keeps its session alive until it completes.
    void start(std::shared_ptr<URLSessionTask> task, std::shared_ptr<URLSession> session);
    // Stops a task the transfer thread may be running; it completes as cancelled.
    void cancel(std::shared_ptr<URLSessionTask> task);

    // Queues the end of a task on its session's delegate queue: the completion handler with `data`,
    // or the delegate's didCompleteWithError, then the session's bookkeeping. Any thread.
    static void deliverCompletion(const std::shared_ptr<URLSessionTask>& task, std::optional<Data> data);

    ~TransferEngine();
    TransferEngine(const TransferEngine&) = delete;
    TransferEngine& operator=(const TransferEngine&) = delete;

  private:
    TransferEngine();
    struct Transfer;
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace bdx::net::detail
