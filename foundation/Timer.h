#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "foundation/DeadlineScheduler.h"
#include "foundation/DispatchQueue.h"

namespace bdx {

// A one-shot or repeating timer whose block runs on a target queue (the main queue by default), with
// its deadlines on the installed clock. A repeating timer keeps to its schedule: each firing is due
// one interval after the previous deadline. Its firings never overlap, even on a concurrent queue:
// the next one is scheduled once the block returned, and the firings that came due meanwhile (or
// while the target queue was too busy to take them) become one, run at once, rather than a burst.
// A scheduled timer keeps itself alive until it is invalidated or, one-shot, has fired; an object
// that holds a timer invalidates it when it goes, and the block captures that object through a
// std::weak_ptr.
class Timer : public std::enable_shared_from_this<Timer> {
  public:
    using Block = std::function<void(Timer&)>;

    // A timer that starts counting at once.
    static std::shared_ptr<Timer> scheduledTimerWithTimeInterval(
        double interval, bool repeats, Block block, std::shared_ptr<DispatchQueue> queue = nullptr);
    static std::shared_ptr<Timer> scheduledTimerWithTimeInterval(
        double interval, bool repeats, std::function<void()> block,
        std::shared_ptr<DispatchQueue> queue = nullptr);
    // A timer that waits for schedule().
    static std::shared_ptr<Timer> timerWithTimeInterval(double interval, bool repeats, Block block,
                                                        std::shared_ptr<DispatchQueue> queue = nullptr);

    // Starts the count of a timer made with timerWithTimeInterval; does nothing on a scheduled or
    // invalid timer.
    void schedule();
    // Runs the block now, on the calling thread, without changing the schedule; a one-shot timer is
    // invalid afterwards. Does nothing on an invalid timer.
    void fire();
    // Stops the timer for good: no firing starts after this returns, not even one already waiting
    // on the target queue. A firing already running finishes.
    void invalidate();
    bool isValid() const;

    double timeInterval() const { return interval_; }
    bool repeats() const { return repeats_; }
    // The installed clock's wall time of the next firing; 0 when none is scheduled.
    double fireDate() const;

    // Use the factory functions.
    Timer(double interval, bool repeats, Block block, std::shared_ptr<DispatchQueue> queue);
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

  private:
    void scheduleLocked(const std::shared_ptr<Clock>& clock, double deadline);
    void fireFromSchedule(double deadline);

    const double interval_;
    const bool repeats_;
    const std::shared_ptr<DispatchQueue> queue_;
    mutable std::mutex mutex_;
    std::shared_ptr<const Block> block_;
    bool valid_ = true;
    // A repeating timer's block runs; the next firing is scheduled when it returns.
    bool firing_ = false;
    DeadlineScheduler::EntryId entry_ = 0;
    double deadline_ = 0;
    std::weak_ptr<Clock> clock_;
};

}  // namespace bdx
