#pragma once

#include <condition_variable>
#include <mutex>

namespace bdx {

// A counting semaphore for the few places where a caller must block until work elsewhere is done
// (never on the main thread: the host's main thread must not wait). A worker that waits lets the pool
// start another thread, so that the work it waits for can run.
class DispatchSemaphore {
  public:
    explicit DispatchSemaphore(long value = 0) : value_(value) {}
    DispatchSemaphore(const DispatchSemaphore&) = delete;
    DispatchSemaphore& operator=(const DispatchSemaphore&) = delete;

    // Adds one to the count and wakes one waiter.
    void signal();
    // Takes one from the count, waiting while it is 0.
    void wait();
    // The same, giving up after `seconds` of real time; false when it gave up.
    bool waitFor(double seconds);

  private:
    std::mutex mutex_;
    std::condition_variable condition_;
    long value_;
};

}  // namespace bdx
