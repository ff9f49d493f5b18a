#include "foundation/DispatchQueue.h"

#include <condition_variable>
#include <exception>
#include <iterator>
#include <limits>

#include "foundation/Clock.h"
#include "foundation/ConcurrencyLog.h"
#include "foundation/DeadlineScheduler.h"
#include "foundation/RunLoop.h"
#include "foundation/WorkerPool.h"

namespace bdx {
namespace detail {
namespace {

thread_local const DispatchFrame* topFrame = nullptr;

void reportException(const DispatchQueue* queue, const char* what) {
    ConcurrencyLog::error("An exception escaped a block on queue \"%s\" and was dropped: %s",
                          queue ? queue->label().c_str() : "", what);
}

}  // namespace

FrameScope::FrameScope(const DispatchQueue* queue, const DispatchFrame* previous)
    : frame_{queue, previous}, saved_(topFrame) {
    topFrame = &frame_;
}

FrameScope::FrameScope(const DispatchQueue* queue) : FrameScope(queue, topFrame) {}

FrameScope::~FrameScope() {
    topFrame = saved_;
}

const DispatchFrame* currentFrame() {
    return topFrame;
}

void SyncWaiter::signal() {
    // The waiter may return and go away as soon as the lock is released; nothing is touched after.
    std::lock_guard<std::mutex> lock(mutex);
    state.store(1, std::memory_order_release);
    condition.notify_one();
}

void SyncWaiter::wait() {
    // Always through the mutex: returning on the flag alone could destroy the condition while the
    // signalling thread is still inside notify.
    std::unique_lock<std::mutex> lock(mutex);
    if (state.load(std::memory_order_acquire) != 0) {
        return;
    }
    WorkerPool::BlockingScope blocking;
    condition.wait(lock, [this] { return state.load(std::memory_order_acquire) != 0; });
}

void invokeSafely(const DispatchQueue* queue, const DispatchBlock& block) noexcept {
    try {
        block();
    } catch (const std::exception& e) {
        reportException(queue, e.what());
    } catch (...) {
        reportException(queue, "unknown exception");
    }
}

void invokeSafely(const DispatchQueue* queue, void (*invoke)(void*), void* context) noexcept {
    try {
        invoke(context);
    } catch (const std::exception& e) {
        reportException(queue, e.what());
    } catch (...) {
        reportException(queue, "unknown exception");
    }
}

}  // namespace detail

namespace {

// A serial queue drains this many blocks before it checks whether other queues wait for a thread.
constexpr std::size_t kDrainQuantum = 256;

int priorityIndexOf(long priority) {
    if (priority >= DispatchQueue::PriorityHigh) {
        return 0;
    }
    if (priority >= DispatchQueue::PriorityDefault) {
        return 1;
    }
    if (priority > DispatchQueue::PriorityBackground) {
        return 2;
    }
    return 3;
}

[[noreturn]] void reportSelfDeadlock(const DispatchQueue& queue, bool barrier) {
    ConcurrencyLog::fatal(
        "Deadlock: %s onto queue \"%s\" from code that is already running on that queue (directly or "
        "through a chain of syncs); the call would wait for itself forever",
        barrier ? "barrierSync" : "sync", queue.label().c_str());
}

}  // namespace

DispatchTime dispatchTime(DispatchTime when, std::int64_t deltaNanoseconds) {
    if (when == kDispatchTimeForever) {
        return kDispatchTimeForever;
    }
    if (when == kDispatchTimeNow) {
        double now = Clock::current()->monotonicNow();
        when = static_cast<DispatchTime>(now * 1e9);
    }
    if (deltaNanoseconds < 0 && static_cast<DispatchTime>(-deltaNanoseconds) >= when) {
        return 1;  // the earliest real time; 0 would read as "now"
    }
    return when + static_cast<DispatchTime>(deltaNanoseconds);
}

double secondsUntil(DispatchTime when) {
    if (when == kDispatchTimeForever) {
        return std::numeric_limits<double>::infinity();
    }
    if (when == kDispatchTimeNow) {
        return 0;
    }
    return static_cast<double>(when) / 1e9 - Clock::current()->monotonicNow();
}

DispatchQueue::DispatchQueue(Token, std::string label, Role role, int priorityIndex)
    : label_(std::move(label)), role_(role), priorityIndex_(priorityIndex) {}

DispatchQueue::~DispatchQueue() = default;

std::shared_ptr<DispatchQueue> DispatchQueue::create(std::string label, Attribute attribute,
                                                     long targetPriority) {
    return std::make_shared<DispatchQueue>(Token{}, std::move(label),
                                           attribute == Attribute::Serial ? Role::Serial : Role::Concurrent,
                                           priorityIndexOf(targetPriority));
}

const std::shared_ptr<DispatchQueue>& DispatchQueue::main() {
    // The platform's label, which the library's profiler uses to name the queue.
    static auto* queue = new std::shared_ptr<DispatchQueue>(
        std::make_shared<DispatchQueue>(Token{}, "com.apple.main-thread", Role::Main, 0));
    return *queue;
}

const std::shared_ptr<DispatchQueue>& DispatchQueue::global(long priority) {
    // The platform's labels of its global queues, which the library's profiler uses to name them.
    static auto* queues = new std::shared_ptr<DispatchQueue>[4] {
        std::make_shared<DispatchQueue>(Token{}, "com.apple.root.user-initiated-qos", Role::Global, 0),
            std::make_shared<DispatchQueue>(Token{}, "com.apple.root.default-qos", Role::Global, 1),
            std::make_shared<DispatchQueue>(Token{}, "com.apple.root.utility-qos", Role::Global, 2),
            std::make_shared<DispatchQueue>(Token{}, "com.apple.root.background-qos", Role::Global, 3),
    };
    return queues[priorityIndexOf(priority)];
}

void DispatchQueue::async(DispatchBlock block) {
    if (!block) {
        return;
    }
    switch (role_) {
        case Role::Main:
            RunLoop::main().enqueue(detail::DispatchItem{std::move(block), nullptr, false});
            return;
        case Role::Global:
            submitToPool(std::move(block), false);
            return;
        case Role::Serial:
            enqueueSerial(detail::DispatchItem{std::move(block), nullptr, false});
            return;
        case Role::Concurrent:
            enqueueConcurrent(detail::DispatchItem{std::move(block), nullptr, false});
            return;
    }
}

void DispatchQueue::barrierAsync(DispatchBlock block) {
    if (role_ == Role::Concurrent && block) {
        enqueueConcurrent(detail::DispatchItem{std::move(block), nullptr, true});
        return;
    }
    async(std::move(block));
}

void DispatchQueue::after(double seconds, DispatchBlock block) {
    if (!block) {
        return;
    }
    if (!(seconds > 0)) {
        async(std::move(block));
        return;
    }
    std::shared_ptr<Clock> clock = Clock::current();
    DeadlineScheduler::shared().schedule(*clock, clock->monotonicNow() + seconds, shared_from_this(),
                                         std::move(block));
}

void DispatchQueue::submitToPool(DispatchBlock block, bool barrier) {
    WorkerPool::shared().submit(WorkerPool::Task{shared_from_this(), std::move(block), barrier},
                                priorityIndex_);
}

// Serial queues ----------------------------------------------------------------------------------

void DispatchQueue::enqueueSerial(detail::DispatchItem item) {
    bool schedule;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        pending_.push_back(std::move(item));
        schedule = !scheduled_;
        scheduled_ = true;
    }
    if (schedule) {
        submitToPool(nullptr, false);
    }
}

void DispatchQueue::drainSerial() {
    detail::FrameScope frame(this);
    WorkerPool& pool = WorkerPool::shared();
    std::size_t ran = 0;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        if (pending_.empty()) {
            scheduled_ = false;
            return;
        }
        if (ran >= kDrainQuantum && pool.hasWaitingTasks()) {
            // Let the queues waiting for a thread have a turn; this queue stays scheduled.
            lock.unlock();
            submitToPool(nullptr, false);
            return;
        }
        std::swap(draining_, pending_);
        lock.unlock();
        for (std::size_t i = 0; i < draining_.size(); ++i) {
            detail::DispatchItem& item = draining_[i];
            if (item.waiter) {
                // A sync caller's turn: it runs its block on its own thread and then releases the
                // queue; what came after it waits in front of anything newer.
                detail::SyncWaiter* waiter = item.waiter;
                lock.lock();
                pending_.insert(pending_.begin(), std::make_move_iterator(draining_.begin() + i + 1),
                                std::make_move_iterator(draining_.end()));
                lock.unlock();
                draining_.clear();
                waiter->signal();
                return;
            }
            detail::invokeSafely(this, item.block);
            item.block = nullptr;
            ++ran;
        }
        draining_.clear();
        lock.lock();
    }
}

void DispatchQueue::releaseSerial() {
    bool resubmit;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        resubmit = !pending_.empty();
        scheduled_ = resubmit;
    }
    if (resubmit) {
        submitToPool(nullptr, false);
    }
}

// Concurrent queues ------------------------------------------------------------------------------

void DispatchQueue::enqueueConcurrent(detail::DispatchItem item) {
    std::vector<detail::DispatchItem> released;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (waiting_.empty() && !barrierRunning_ && !item.barrier) {
            ++running_;
            released.push_back(std::move(item));
        } else {
            waiting_.push_back(std::move(item));
            releaseReadyLocked(released);
        }
    }
    startReleased(released);
}

void DispatchQueue::releaseReadyLocked(std::vector<detail::DispatchItem>& released) {
    while (!waiting_.empty() && !barrierRunning_) {
        detail::DispatchItem& head = waiting_.front();
        if (head.barrier) {
            if (running_ > 0) {
                return;
            }
            barrierRunning_ = true;
        } else {
            ++running_;
        }
        released.push_back(std::move(head));
        waiting_.pop_front();
    }
}

void DispatchQueue::startReleased(std::vector<detail::DispatchItem>& released) {
    for (auto& item : released) {
        if (item.waiter) {
            item.waiter->signal();
        } else {
            submitToPool(std::move(item.block), item.barrier);
        }
    }
}

void DispatchQueue::concurrentBlockDone(bool barrier) {
    std::vector<detail::DispatchItem> released;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (barrier) {
            barrierRunning_ = false;
        } else {
            --running_;
        }
        releaseReadyLocked(released);
    }
    startReleased(released);
}

void DispatchQueue::runPoolBlock(const DispatchBlock& block, bool barrier) {
    {
        detail::FrameScope frame(this);
        detail::invokeSafely(this, block);
    }
    if (role_ == Role::Concurrent) {
        concurrentBlockDone(barrier);
    }
}

// Sync -------------------------------------------------------------------------------------------

bool DispatchQueue::isOnCallerChain() const {
    if (role_ == Role::Main && isMainThread()) {
        return true;
    }
    for (const detail::DispatchFrame* frame = detail::currentFrame(); frame; frame = frame->previous) {
        if (frame->queue == this) {
            return true;
        }
    }
    return false;
}

void DispatchQueue::syncInvoke(void (*invoke)(void*), void* context, bool barrier) {
    switch (role_) {
        case Role::Main: {
            if (isOnCallerChain()) {
                reportSelfDeadlock(*this, barrier);
            }
            detail::SyncWaiter waiter;
            waiter.invoke = invoke;
            waiter.context = context;
            waiter.callerFrame = detail::currentFrame();
            RunLoop::main().enqueue(detail::DispatchItem{nullptr, &waiter, barrier});
            waiter.wait();
            return;
        }
        case Role::Global: {
            detail::FrameScope frame(this);
            detail::invokeSafely(this, invoke, context);
            return;
        }
        case Role::Serial: {
            if (isOnCallerChain()) {
                reportSelfDeadlock(*this, barrier);
            }
            detail::SyncWaiter waiter;
            bool owned;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                owned = !scheduled_;
                if (owned) {
                    scheduled_ = true;
                } else {
                    pending_.push_back(detail::DispatchItem{nullptr, &waiter, barrier});
                }
            }
            if (!owned) {
                waiter.wait();
            }
            {
                detail::FrameScope frame(this);
                detail::invokeSafely(this, invoke, context);
            }
            releaseSerial();
            return;
        }
        case Role::Concurrent: {
            if (isOnCallerChain()) {
                if (barrier) {
                    // The barrier would wait for the very block that waits for it.
                    reportSelfDeadlock(*this, barrier);
                }
                // Already inside the queue: a nested plain sync runs at once, as part of the block
                // that makes it.
                detail::FrameScope frame(this);
                detail::invokeSafely(this, invoke, context);
                return;
            }
            detail::SyncWaiter waiter;
            enqueueConcurrent(detail::DispatchItem{nullptr, &waiter, barrier});
            waiter.wait();
            {
                detail::FrameScope frame(this);
                detail::invokeSafely(this, invoke, context);
            }
            concurrentBlockDone(barrier);
            return;
        }
    }
}

bool DispatchQueue::isCurrent() const {
    return isOnCallerChain();
}

std::string DispatchQueue::currentLabel() {
    for (const detail::DispatchFrame* frame = detail::currentFrame(); frame; frame = frame->previous) {
        if (frame->queue) {
            return frame->queue->label();
        }
    }
    return isMainThread() ? main()->label() : std::string();
}

}  // namespace bdx
