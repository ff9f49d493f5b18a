#include "foundation/DeadlineScheduler.h"

#include <pthread.h>

#include <chrono>
#include <thread>

#include "foundation/ConcurrencyLog.h"

namespace bdx {

DeadlineScheduler& DeadlineScheduler::shared() {
    // Leaked on purpose, like the pool: the timer thread outlives static destruction.
    static DeadlineScheduler* scheduler = new DeadlineScheduler;
    return *scheduler;
}

DeadlineScheduler::DeadlineScheduler() : clock_(Clock::current()) {
    Clock::addInstallObserver(
        [this](const std::shared_ptr<Clock>& previous, const std::shared_ptr<Clock>& installed) {
            clockDidChange(previous, installed);
        });
}

DeadlineScheduler::EntryId DeadlineScheduler::schedule(const Clock& clock, double deadline,
                                                       std::shared_ptr<DispatchQueue> queue,
                                                       DispatchBlock block) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (&clock != clock_.get()) {
        // The caller read a clock that is no longer, or not yet, the one the deadlines are on: an
        // install ran between its reading and this call. Holding the lock, the entries are all on
        // clock_; carrying the time left over puts this one with them.
        deadline = clock_->monotonicNow() + (deadline - clock.monotonicNow());
    }
    EntryId id = nextId_++;
    bool earliest = entries_.empty() || deadline < entries_.begin()->first.first;
    entries_.emplace(Key{deadline, id}, Entry{std::move(queue), std::move(block)});
    deadlines_.emplace(id, deadline);
    if (!threadStarted_) {
        threadStarted_ = true;
        try {
            std::thread([this] { timerThreadLoop(); }).detach();
        } catch (const std::exception& e) {
            threadStarted_ = false;
            ConcurrencyLog::error("Could not start the timer thread (%s); delayed blocks wait", e.what());
        }
    } else if (earliest) {
        condition_.notify_one();
    }
    return id;
}

bool DeadlineScheduler::cancel(EntryId id) {
    Entry dropped;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = deadlines_.find(id);
        if (found == deadlines_.end()) {
            return false;
        }
        auto entry = entries_.find(Key{found->second, id});
        dropped = std::move(entry->second);
        entries_.erase(entry);
        deadlines_.erase(found);
    }
    // The block (and what it holds) goes outside the lock: its captures may schedule or cancel.
    return true;
}

std::optional<DeadlineScheduler::Due> DeadlineScheduler::takeNextDue(double upTo) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (entries_.empty() || entries_.begin()->first.first > upTo) {
        return std::nullopt;
    }
    auto first = entries_.begin();
    Due due{first->first.first, std::move(first->second.queue), std::move(first->second.block)};
    deadlines_.erase(first->first.second);
    entries_.erase(first);
    return due;
}

std::optional<double> DeadlineScheduler::nextDeadline() const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (entries_.empty()) {
        return std::nullopt;
    }
    return entries_.begin()->first.first;
}

std::size_t DeadlineScheduler::pendingCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_.size();
}

void DeadlineScheduler::cancelAll() {
    std::map<Key, Entry> dropped;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        dropped.swap(entries_);
        deadlines_.clear();
    }
}

void DeadlineScheduler::clockDidChange(const std::shared_ptr<Clock>& previous,
                                       const std::shared_ptr<Clock>& installed) {
    double previousNow = previous->monotonicNow();
    double installedNow = installed->monotonicNow();
    std::lock_guard<std::mutex> lock(mutex_);
    clock_ = installed;
    std::map<Key, Entry> rebased;
    for (auto& [key, entry] : entries_) {
        double deadline = installedNow + (key.first - previousNow);
        rebased.emplace(Key{deadline, key.second}, std::move(entry));
        deadlines_[key.second] = deadline;
    }
    entries_.swap(rebased);
    condition_.notify_one();
}

void DeadlineScheduler::timerThreadLoop() {
    pthread_setname_np(pthread_self(), "bdx.timers");
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        if (entries_.empty()) {
            condition_.wait(lock);
            continue;
        }
        std::shared_ptr<Clock> clock = clock_;
        if (clock->isVirtual()) {
            // Virtual time moves only when a test advances it, and the test fires what is due.
            condition_.wait(lock);
            continue;
        }
        double now = clock->monotonicNow();
        auto first = entries_.begin();
        if (first->first.first > now) {
            condition_.wait_for(lock, std::chrono::duration<double>(first->first.first - now));
            continue;
        }
        Entry entry = std::move(first->second);
        deadlines_.erase(first->first.second);
        entries_.erase(first);
        lock.unlock();
        ConcurrencyLog::runGuarded("the timer thread",
                                   [&entry] { entry.queue->async(std::move(entry.block)); });
        entry = Entry();
        lock.lock();
    }
}

}  // namespace bdx
