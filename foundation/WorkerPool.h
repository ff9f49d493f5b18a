#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "foundation/DispatchQueue.h"

namespace bdx {

// The threads that run every queue's blocks (the main queue aside). Threads are made on demand, up to
// a few per core; a thread that blocks in a sync or a wait of the library hands its place to a new
// one, and when every thread is stuck in a block for a while with work waiting, the pool grows, so
// that blocks waiting for each other cannot starve it. Threads made beyond the usual number leave
// again after a while of idleness. The pool lives for the whole process.
class WorkerPool {
  public:
    static WorkerPool& shared();

    // A unit of work: one block of a concurrent or global queue, or (with an empty block) a serial
    // queue's turn to drain.
    struct Task {
        std::shared_ptr<DispatchQueue> queue;
        DispatchBlock block;
        bool barrier = false;
    };
    // Priority index: 0 high, 1 default, 2 low, 3 background.
    void submit(Task task, int priorityIndex);

    // True when tasks wait for a thread (a draining serial queue then yields its thread in time).
    bool hasWaitingTasks() const { return waitingCount_.load(std::memory_order_relaxed) > 0; }
    // True when no task waits and no worker runs one.
    bool isIdle() const;
    // Calls `callback` once the pool is idle: at once if it is, otherwise on the worker that finishes
    // the last task.
    void notifyWhenIdle(std::function<void()> callback);
    std::size_t threadCount() const;

    // Marks the calling thread as waiting for other work (a sync, a wait for operations). On a worker
    // the pool may then start another thread so that the awaited work can run.
    class BlockingScope {
      public:
        BlockingScope();
        ~BlockingScope();
        BlockingScope(const BlockingScope&) = delete;
        BlockingScope& operator=(const BlockingScope&) = delete;

      private:
        bool onWorker_;
    };

  private:
    WorkerPool();
    void workerLoop();
    void monitorLoop();
    void spawnLocked();
    bool popLocked(Task& task);
    void wakeMonitorLocked();

    mutable std::mutex mutex_;
    std::condition_variable workCondition_;
    std::condition_variable monitorCondition_;
    std::deque<Task> tasks_[4];
    std::atomic<std::size_t> waitingCount_{0};
    unsigned threads_ = 0;
    unsigned sleeping_ = 0;
    unsigned signalled_ = 0;
    unsigned busy_ = 0;
    unsigned blocked_ = 0;
    const unsigned usualThreads_;
    const unsigned maximumThreads_;
    std::uint64_t progress_ = 0;
    bool monitorStarted_ = false;
    std::vector<std::function<void()>> idleCallbacks_;
};

}  // namespace bdx
