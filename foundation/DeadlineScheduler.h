#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

#include "foundation/Clock.h"
#include "foundation/DispatchQueue.h"

namespace bdx {

// The one keeper of deadlines: every `after` and every timer waits here until its time on the
// installed clock, then goes to its queue. On the real clock a thread of its own waits for the
// earliest deadline; on a virtual clock nothing fires by itself, and the test harness takes the due
// entries in deadline order as it advances the clock. When another clock is installed, pending
// deadlines keep the time they had left.
class DeadlineScheduler {
  public:
    static DeadlineScheduler& shared();

    using EntryId = std::uint64_t;
    // Queues `block` on `queue` once the installed clock's monotonic time reaches `deadline`, a time
    // on `clock`, the clock the caller read. When another clock was installed since the caller read
    // it, the deadline keeps the time it had left, as the pending ones did. Entries with the same
    // deadline go in the order scheduled.
    EntryId schedule(const Clock& clock, double deadline, std::shared_ptr<DispatchQueue> queue,
                     DispatchBlock block);
    // Drops a pending entry; false when it already went or never was.
    bool cancel(EntryId id);

    struct Due {
        double deadline;
        std::shared_ptr<DispatchQueue> queue;
        DispatchBlock block;
    };
    // Takes the earliest entry due at or before `upTo`, for the caller to run.
    std::optional<Due> takeNextDue(double upTo);
    std::optional<double> nextDeadline() const;
    std::size_t pendingCount() const;
    // Drops every pending entry (between tests).
    void cancelAll();

  private:
    DeadlineScheduler();
    void clockDidChange(const std::shared_ptr<Clock>& previous, const std::shared_ptr<Clock>& installed);
    void timerThreadLoop();

    using Key = std::pair<double, EntryId>;
    struct Entry {
        std::shared_ptr<DispatchQueue> queue;
        DispatchBlock block;
    };

    mutable std::mutex mutex_;
    std::condition_variable condition_;
    std::map<Key, Entry> entries_;
    std::unordered_map<EntryId, double> deadlines_;
    EntryId nextId_ = 1;
    bool threadStarted_ = false;
    // The clock the deadlines are on. Installing a clock makes it current before the deadlines are
    // carried over; until then the timer thread keeps reading the clock they were set on.
    std::shared_ptr<Clock> clock_;
};

}  // namespace bdx
