#include "foundation/DispatchSemaphore.h"

#include <chrono>

#include "foundation/WorkerPool.h"

namespace bdx {

void DispatchSemaphore::signal() {
    // Under the lock: a waiter commonly owns the semaphore on its stack and goes as soon as it can.
    std::lock_guard<std::mutex> lock(mutex_);
    ++value_;
    condition_.notify_one();
}

void DispatchSemaphore::wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (value_ <= 0) {
        WorkerPool::BlockingScope blocking;
        condition_.wait(lock, [this] { return value_ > 0; });
    }
    --value_;
}

bool DispatchSemaphore::waitFor(double seconds) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (value_ <= 0) {
        WorkerPool::BlockingScope blocking;
        if (!condition_.wait_for(lock, std::chrono::duration<double>(seconds > 0 ? seconds : 0),
                                 [this] { return value_ > 0; })) {
            return false;
        }
    }
    --value_;
    return true;
}

}  // namespace bdx
