#include "foundation/WorkerPool.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "foundation/ConcurrencyLog.h"

namespace bdx {
namespace {

thread_local WorkerPool* currentWorkerPool = nullptr;

// How long every thread may be stuck in blocks, with work waiting, before the pool adds a thread.
constexpr auto kStarvationDelay = std::chrono::milliseconds(50);
// How long a thread beyond the usual number stays idle before it leaves.
constexpr auto kSurplusIdleTime = std::chrono::seconds(10);

}  // namespace

WorkerPool& WorkerPool::shared() {
    // Leaked on purpose: detached workers may run blocks while static objects are destroyed at exit.
    static WorkerPool* pool = new WorkerPool;
    return *pool;
}

WorkerPool::WorkerPool()
    : usualThreads_(std::max(4u, std::thread::hardware_concurrency())),
      maximumThreads_(std::max(64u, 4 * std::thread::hardware_concurrency())) {}

void WorkerPool::submit(Task task, int priorityIndex) {
    std::unique_lock<std::mutex> lock(mutex_);
    tasks_[std::clamp(priorityIndex, 0, 3)].push_back(std::move(task));
    waitingCount_.fetch_add(1, std::memory_order_relaxed);
    if (sleeping_ > signalled_) {
        ++signalled_;
        // After the lock is released, so that the worker does not wake only to wait for it (the pool
        // lives for the whole process, so the condition is still there).
        lock.unlock();
        workCondition_.notify_one();
    } else if (threads_ - blocked_ < usualThreads_ && threads_ < maximumThreads_) {
        spawnLocked();
    } else {
        wakeMonitorLocked();
    }
}

bool WorkerPool::popLocked(Task& task) {
    for (auto& queue : tasks_) {
        if (!queue.empty()) {
            task = std::move(queue.front());
            queue.pop_front();
            waitingCount_.fetch_sub(1, std::memory_order_relaxed);
            return true;
        }
    }
    return false;
}

void WorkerPool::spawnLocked() {
    ++threads_;
    try {
        std::thread([this] {
            ConcurrencyLog::runGuarded("a worker thread", [this] { workerLoop(); });
        }).detach();
    } catch (const std::exception& e) {
        --threads_;
        ConcurrencyLog::error("Could not start a worker thread (%s); %u threads serve the queues", e.what(),
                              threads_);
        wakeMonitorLocked();
    }
}

void WorkerPool::wakeMonitorLocked() {
    if (!monitorStarted_) {
        monitorStarted_ = true;
        try {
            std::thread([this] {
                ConcurrencyLog::runGuarded("the worker pool's monitor", [this] { monitorLoop(); });
            }).detach();
        } catch (const std::exception& e) {
            monitorStarted_ = false;
            ConcurrencyLog::error("Could not start the worker pool's monitor (%s)", e.what());
        }
        return;
    }
    monitorCondition_.notify_one();
}

void WorkerPool::workerLoop() {
    currentWorkerPool = this;
    pthread_setname_np(pthread_self(), "bdx.worker");
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        Task task;
        while (!popLocked(task)) {
            ++sleeping_;
            bool timedOut = false;
            if (threads_ > usualThreads_) {
                timedOut = workCondition_.wait_for(lock, kSurplusIdleTime) == std::cv_status::timeout;
            } else {
                workCondition_.wait(lock);
            }
            --sleeping_;
            if (signalled_ > 0) {
                --signalled_;
            }
            if (timedOut && threads_ > usualThreads_ && waitingCount_.load(std::memory_order_relaxed) == 0) {
                --threads_;
                return;
            }
        }
        ++busy_;
        ++progress_;
        lock.unlock();
        if (task.block) {
            task.queue->runPoolBlock(task.block, task.barrier);
        } else {
            task.queue->drainSerial();
        }
        // Captured state of the block goes before the task counts as done.
        task = Task();
        lock.lock();
        --busy_;
        if (busy_ == 0 && waitingCount_.load(std::memory_order_relaxed) == 0 && !idleCallbacks_.empty()) {
            auto callbacks = std::move(idleCallbacks_);
            idleCallbacks_.clear();
            lock.unlock();
            for (auto& callback : callbacks) {
                ConcurrencyLog::runGuarded("an idle callback of the worker pool", callback);
            }
            lock.lock();
        }
    }
}

void WorkerPool::monitorLoop() {
    pthread_setname_np(pthread_self(), "bdx.pool-monitor");
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        auto starving = [this] {
            return waitingCount_.load(std::memory_order_relaxed) > 0 && sleeping_ == signalled_;
        };
        monitorCondition_.wait(lock, starving);
        std::uint64_t seen = progress_;
        monitorCondition_.wait_for(lock, kStarvationDelay);
        if (starving() && progress_ == seen && threads_ < maximumThreads_) {
            spawnLocked();
        }
    }
}

bool WorkerPool::isIdle() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return busy_ == 0 && waitingCount_.load(std::memory_order_relaxed) == 0;
}

void WorkerPool::notifyWhenIdle(std::function<void()> callback) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (busy_ != 0 || waitingCount_.load(std::memory_order_relaxed) != 0) {
            idleCallbacks_.push_back(std::move(callback));
            return;
        }
    }
    ConcurrencyLog::runGuarded("an idle callback of the worker pool", callback);
}

std::size_t WorkerPool::threadCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return threads_;
}

WorkerPool::BlockingScope::BlockingScope() : onWorker_(currentWorkerPool != nullptr) {
    if (!onWorker_) {
        return;
    }
    WorkerPool& pool = *currentWorkerPool;
    std::lock_guard<std::mutex> lock(pool.mutex_);
    ++pool.blocked_;
    if (pool.waitingCount_.load(std::memory_order_relaxed) > 0 && pool.sleeping_ == pool.signalled_ &&
        pool.threads_ - pool.blocked_ < pool.usualThreads_ && pool.threads_ < pool.maximumThreads_) {
        pool.spawnLocked();
    }
}

WorkerPool::BlockingScope::~BlockingScope() {
    if (!onWorker_) {
        return;
    }
    WorkerPool& pool = *currentWorkerPool;
    std::lock_guard<std::mutex> lock(pool.mutex_);
    --pool.blocked_;
}

}  // namespace bdx
