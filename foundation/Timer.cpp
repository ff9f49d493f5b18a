#include "foundation/Timer.h"

#include <cmath>

#include "foundation/Clock.h"

namespace bdx {
namespace {
// The shortest interval a timer takes, so that a zero interval cannot spin.
constexpr double kMinimumInterval = 0.0001;
}  // namespace

Timer::Timer(double interval, bool repeats, Block block, std::shared_ptr<DispatchQueue> queue)
    : interval_(interval > kMinimumInterval ? interval : kMinimumInterval),
      repeats_(repeats),
      queue_(queue ? std::move(queue) : DispatchQueue::main()),
      block_(block ? std::make_shared<const Block>(std::move(block)) : nullptr) {}

std::shared_ptr<Timer> Timer::timerWithTimeInterval(double interval, bool repeats, Block block,
                                                    std::shared_ptr<DispatchQueue> queue) {
    return std::make_shared<Timer>(interval, repeats, std::move(block), std::move(queue));
}

std::shared_ptr<Timer> Timer::scheduledTimerWithTimeInterval(double interval, bool repeats, Block block,
                                                             std::shared_ptr<DispatchQueue> queue) {
    auto timer = timerWithTimeInterval(interval, repeats, std::move(block), std::move(queue));
    timer->schedule();
    return timer;
}

std::shared_ptr<Timer> Timer::scheduledTimerWithTimeInterval(double interval, bool repeats,
                                                             std::function<void()> block,
                                                             std::shared_ptr<DispatchQueue> queue) {
    Block wrapped;
    if (block) {
        wrapped = [block = std::move(block)](Timer&) { block(); };
    }
    return scheduledTimerWithTimeInterval(interval, repeats, std::move(wrapped), std::move(queue));
}

void Timer::schedule() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!valid_ || entry_ != 0 || firing_) {
        return;
    }
    std::shared_ptr<Clock> clock = Clock::current();
    scheduleLocked(clock, clock->monotonicNow() + interval_);
}

void Timer::scheduleLocked(const std::shared_ptr<Clock>& clock, double deadline) {
    deadline_ = deadline;
    clock_ = clock;
    // The entry holds the timer: a scheduled timer lives until it fired for the last time or was
    // invalidated, whoever else holds it.
    entry_ = DeadlineScheduler::shared().schedule(
        *clock, deadline, queue_,
        [self = shared_from_this(), deadline] { self->fireFromSchedule(deadline); });
}

void Timer::fireFromSchedule(double deadline) {
    std::shared_ptr<const Block> block;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!valid_ || deadline != deadline_) {
            return;
        }
        entry_ = 0;
        block = block_;
        if (repeats_) {
            // The next firing is scheduled once this one ran, so that firings never overlap, even on a
            // concurrent queue.
            firing_ = true;
        } else {
            valid_ = false;
            block_.reset();
        }
    }
    if (block && *block) {
        detail::invokeSafely(queue_.get(), [&] { (*block)(*this); });
    }
    if (!repeats_) {
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    firing_ = false;
    if (!valid_) {
        return;
    }
    std::shared_ptr<Clock> clock = Clock::current();
    double now = clock->monotonicNow();
    // After another clock was installed, the old deadline means nothing on the new scale: the schedule
    // starts again from now.
    double next = (clock == clock_.lock() ? deadline : now) + interval_;
    if (next < now) {
        // Firings that came due while this one ran, or while the target queue was too busy to take it,
        // become one, at the latest of them, instead of a burst.
        next += std::floor((now - next) / interval_) * interval_;
    }
    scheduleLocked(clock, next);
}

void Timer::fire() {
    std::shared_ptr<const Block> block;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!valid_) {
            return;
        }
        block = block_;
    }
    if (block && *block) {
        detail::invokeSafely(queue_.get(), [&] { (*block)(*this); });
    }
    if (!repeats_) {
        invalidate();
    }
}

void Timer::invalidate() {
    // The scheduled entry may hold the last reference; keep the timer until this call ends.
    std::shared_ptr<Timer> keepAlive = weak_from_this().lock();
    DeadlineScheduler::EntryId entry;
    std::shared_ptr<const Block> block;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        valid_ = false;
        entry = entry_;
        entry_ = 0;
        block = std::move(block_);
    }
    if (entry != 0) {
        DeadlineScheduler::shared().cancel(entry);
    }
}

bool Timer::isValid() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return valid_;
}

double Timer::fireDate() const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!valid_ || entry_ == 0) {
        return 0;
    }
    auto clock = Clock::current();
    return clock->now() + (deadline_ - clock->monotonicNow());
}

}  // namespace bdx
