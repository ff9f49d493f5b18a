#include "testing/VirtualClock.h"

#include <algorithm>

#include "foundation/DeadlineScheduler.h"
#include "testing/DispatchTesting.h"

namespace bdx::testing {
namespace {

// The monotonic reading at start: any positive value; deadlines are differences.
constexpr double kStartMonotonic = 1000.0;

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
    // Between firings every queue runs dry, the work a fired block hands on and what that work hands
    // on included, so that an `after` made by any of it counts from the virtual time it was made at.
    waitUntilIdle();
    DeadlineScheduler& scheduler = DeadlineScheduler::shared();
    while (auto due = scheduler.takeNextDue(target)) {
        moveTo(due->deadline);
        due->queue->async(std::move(due->block));
        waitUntilIdle();
    }
    moveTo(target);
    waitUntilIdle();
}

void VirtualClock::shiftWallClock(double seconds) {
    wallShift_.store(wallShift_.load(std::memory_order_acquire) + seconds, std::memory_order_release);
}

}  // namespace bdx::testing
