#include "testing/VirtualClock.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "foundation/DeadlineScheduler.h"
#include "foundation/RunLoop.h"
#include "testing/DispatchTesting.h"

namespace bdx::testing {
namespace {

// The monotonic reading at start: any positive value; deadlines are differences.
constexpr double kStartMonotonic = 1000.0;

// Runs a fired block on its queue and returns once it ran, serving the main queue meanwhile (the block
// may wait for the main queue).
void runAndWait(DeadlineScheduler::Due due) {
    if (due.queue->isMainQueue()) {
        due.queue->async(std::move(due.block));
        runMainQueueUntilIdle();
        return;
    }
    struct Completion {
        std::mutex mutex;
        std::condition_variable condition;
        bool done = false;
    };
    auto completion = std::make_shared<Completion>();
    struct Signal {
        std::shared_ptr<Completion> completion;
        ~Signal() {
            {
                std::lock_guard<std::mutex> lock(completion->mutex);
                completion->done = true;
                completion->condition.notify_all();
            }
            RunLoop::main().wakeUp();
        }
    };
    due.queue->async([block = std::move(due.block), completion] {
        Signal signal{completion};
        block();
    });
    auto done = [&] {
        std::lock_guard<std::mutex> lock(completion->mutex);
        return completion->done;
    };
    if (isMainThread()) {
        while (!done()) {
            RunLoop::main().runOnce(-1);
        }
    } else {
        std::unique_lock<std::mutex> lock(completion->mutex);
        completion->condition.wait(lock, [&] { return completion->done; });
    }
}

}  // namespace

VirtualClock::VirtualClock(double startDate) : startDate_(startDate) {}

double VirtualClock::now() const {
    return startDate_ + elapsed_.load(std::memory_order_acquire) + wallShift_.load(std::memory_order_acquire);
}

double VirtualClock::monotonicNow() const {
    return kStartMonotonic + elapsed_.load(std::memory_order_acquire);
}

void VirtualClock::moveTo(double monotonic) {
    double elapsed = monotonic - kStartMonotonic;
    if (elapsed > elapsed_.load(std::memory_order_acquire)) {
        elapsed_.store(elapsed, std::memory_order_release);
    }
}

void VirtualClock::advance(double seconds) {
    double target = monotonicNow() + std::max(0.0, seconds);
    runMainQueueUntilIdle();
    DeadlineScheduler& scheduler = DeadlineScheduler::shared();
    while (auto due = scheduler.takeNextDue(target)) {
        moveTo(due->deadline);
        runAndWait(std::move(*due));
        runMainQueueUntilIdle();
    }
    moveTo(target);
    runMainQueueUntilIdle();
}

void VirtualClock::shiftWallClock(double seconds) {
    wallShift_.store(wallShift_.load(std::memory_order_acquire) + seconds, std::memory_order_release);
}

}  // namespace bdx::testing
