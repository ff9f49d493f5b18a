#include "foundation/RunLoop.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <unordered_map>

#include "foundation/ConcurrencyLog.h"
#include "foundation/ThreadIdentity.h"
#include "foundation/WorkerPool.h"

namespace bdx {
namespace {

// The token of the main thread; 0 means the process's initial thread.
std::atomic<std::uint64_t> mainThreadToken{0};

struct EmbeddedMainThread {
    std::mutex mutex;
    std::thread thread;
    bool running = false;
    // The start-up hand-shake: the new thread says it became the main thread.
    std::mutex boundMutex;
    std::condition_variable boundCondition;
    bool bound = false;
    std::uint64_t previousToken = 0;
    std::function<void(RunLoop::EmbeddedStartUpStep)> startUpHook;
};

EmbeddedMainThread& embedded() {
    static EmbeddedMainThread* state = new EmbeddedMainThread;
    return *state;
}

thread_local std::shared_ptr<RunLoop> threadRunLoop;
thread_local std::uint64_t threadRunLoopOwner = 0;

// The wake-ups each thread has seen in waitForBlocks, per loop: a wake-up is news to every waiter, and
// one waiter seeing it takes nothing from another.
thread_local std::unordered_map<const RunLoop*, std::uint64_t> wakeUpsSeen;

}  // namespace

bool isMainThread() {
    std::uint64_t token = mainThreadToken.load(std::memory_order_acquire);
    return token == 0 ? ThreadIdentity::isInitialThread() : token == ThreadIdentity::token();
}

RunLoop::RunLoop(bool servesMainQueue) : servesMainQueue_(servesMainQueue) {}

RunLoop& RunLoop::main() {
    // Leaked on purpose: blocks may still arrive from workers while static objects are destroyed.
    static RunLoop* loop = new RunLoop(true);
    return *loop;
}

std::shared_ptr<RunLoop> RunLoop::current() {
    if (isMainThread()) {
        return std::shared_ptr<RunLoop>(std::shared_ptr<RunLoop>(), &main());
    }
    if (!threadRunLoop) {
        threadRunLoop = std::make_shared<RunLoop>(false);
        threadRunLoopOwner = ThreadIdentity::token();
    }
    return threadRunLoop;
}

void RunLoop::perform(DispatchBlock block) {
    if (!block) {
        return;
    }
    enqueue(detail::DispatchItem{std::move(block), nullptr, false});
}

void RunLoop::enqueue(detail::DispatchItem item) {
    std::shared_ptr<std::function<void()>> handler;
    bool wake;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        bool wasEmpty = pending_.empty();
        pending_.push_back(std::move(item));
        wake = waiters_ > 0 && wasEmpty;
        if (wasEmpty) {
            handler = wakeUpHandler_;
        }
    }
    // Notified after the lock is released, so that the woken thread does not wake only to wait for it.
    // Run loops live as long as anyone can perform on them, so the condition is still there.
    if (wake) {
        condition_.notify_all();
    }
    if (handler && *handler) {
        // Host code, called on whatever thread submitted (the timer thread, a worker).
        ConcurrencyLog::runGuarded("the host's wake-up handler", *handler);
    }
}

bool RunLoop::mayRunHere() {
    bool rightThread =
        servesMainQueue_ ? isMainThread() : (this == threadRunLoop.get() && threadRunLoopOwner != 0);
    if (!rightThread) {
        ConcurrencyLog::error(servesMainQueue_
                                  ? "The main run loop can only be run on the main thread; call ignored"
                                  : "A run loop can only be run on its own thread; call ignored");
        return false;
    }
    if (running_) {
        // Serving the loop from inside one of its blocks would run the next block before this one ended.
        ConcurrencyLog::error("A run loop was run again from inside one of its blocks; call ignored");
        return false;
    }
    return true;
}

std::size_t RunLoop::runBatch(std::unique_lock<std::mutex>& lock) {
    std::swap(batch_, pending_);
    running_ = true;
    lock.unlock();
    const DispatchQueue* queue = servesMainQueue_ ? DispatchQueue::main().get() : nullptr;
    std::size_t count = batch_.size();
    for (auto& item : batch_) {
        if (item.waiter) {
            detail::SyncWaiter* waiter = item.waiter;
            {
                detail::FrameScope frame(queue, waiter->callerFrame);
                detail::invokeSafely(queue, waiter->invoke, waiter->context);
            }
            waiter->signal();
        } else {
            detail::FrameScope frame(queue, detail::currentFrame());
            detail::invokeSafely(queue, item.block);
            // What the block captured goes now, not with the batch.
            item.block = nullptr;
        }
    }
    batch_.clear();
    lock.lock();
    running_ = false;
    return count;
}

std::size_t RunLoop::runUntilIdle() {
    if (!mayRunHere()) {
        return 0;
    }
    std::size_t count = 0;
    std::unique_lock<std::mutex> lock(mutex_);
    runnerSeenWakeUps_ = wakeUps_;
    while (!pending_.empty()) {
        count += runBatch(lock);
    }
    return count;
}

void RunLoop::waitForBlocksOrWakeUp(std::unique_lock<std::mutex>& lock, double timeoutSeconds,
                                    std::uint64_t& seenWakeUps) {
    auto ready = [&] { return !pending_.empty() || wakeUps_ != seenWakeUps; };
    if (!ready()) {
        ++waiters_;
        WorkerPool::BlockingScope blocking;
        if (timeoutSeconds < 0) {
            condition_.wait(lock, ready);
        } else {
            condition_.wait_for(lock, std::chrono::duration<double>(timeoutSeconds), ready);
        }
        --waiters_;
    }
    seenWakeUps = wakeUps_;
}

bool RunLoop::runOnce(double timeoutSeconds) {
    if (!mayRunHere()) {
        return false;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    waitForBlocksOrWakeUp(lock, timeoutSeconds, runnerSeenWakeUps_);
    if (pending_.empty()) {
        return false;
    }
    return runBatch(lock) > 0;
}

void RunLoop::run() {
    if (!mayRunHere()) {
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopRequested_) {
        if (pending_.empty()) {
            ++waiters_;
            condition_.wait(lock, [this] { return !pending_.empty() || stopRequested_; });
            --waiters_;
            continue;
        }
        runBatch(lock);
    }
    stopRequested_ = false;
}

void RunLoop::stop() {
    std::lock_guard<std::mutex> lock(mutex_);
    stopRequested_ = true;
    condition_.notify_all();
}

void RunLoop::wakeUp() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++wakeUps_;
    condition_.notify_all();
}

bool RunLoop::waitForBlocks(double timeoutSeconds) {
    std::unique_lock<std::mutex> lock(mutex_);
    waitForBlocksOrWakeUp(lock, timeoutSeconds, wakeUpsSeen[this]);
    return !pending_.empty();
}

bool RunLoop::hasPendingBlocks() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return !pending_.empty();
}

bool RunLoop::isRunningBlock() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return running_;
}

void RunLoop::waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
                        int& mainThreadWaiters, const std::function<bool()>& done) {
    if (isMainThread() && !main().isRunningBlock()) {
        ++mainThreadWaiters;
        while (!done()) {
            lock.unlock();
            main().runOnce(-1);
            lock.lock();
        }
        --mainThreadWaiters;
        return;
    }
    WorkerPool::BlockingScope blocking;
    condition.wait(lock, done);
}

void RunLoop::setWakeUpHandler(std::function<void()> handler) {
    std::lock_guard<std::mutex> lock(mutex_);
    wakeUpHandler_ = handler ? std::make_shared<std::function<void()>>(std::move(handler)) : nullptr;
}

void RunLoop::discardPendingBlocks() {
    std::vector<detail::DispatchItem> dropped;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        dropped.swap(pending_);
    }
    const DispatchQueue* queue = servesMainQueue_ ? DispatchQueue::main().get() : nullptr;
    for (auto& item : dropped) {
        if (item.waiter) {
            {
                detail::FrameScope frame(queue, item.waiter->callerFrame);
                detail::invokeSafely(queue, item.waiter->invoke, item.waiter->context);
            }
            item.waiter->signal();
        }
    }
}

void RunLoop::startEmbeddedMainThread() {
    EmbeddedMainThread& state = embedded();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (state.running) {
        return;
    }
    state.previousToken = mainThreadToken.load();
    {
        std::lock_guard<std::mutex> bound(state.boundMutex);
        state.bound = false;
    }
    // The hand-shake lives in the state, which is never destroyed: nothing on this stack is left for
    // the new thread to touch once it said it is the main thread.
    state.thread = std::thread([&state, hook = state.startUpHook] {
        pthread_setname_np(pthread_self(), "bdx.main");
        mainThreadToken.store(ThreadIdentity::token(), std::memory_order_release);
        {
            std::lock_guard<std::mutex> bound(state.boundMutex);
            state.bound = true;
        }
        // The caller may already have seen `bound` and returned: what follows touches only the state.
        if (hook) {
            ConcurrencyLog::runGuarded("the embedded main thread's start-up",
                                       [&hook] { hook(EmbeddedStartUpStep::ThreadDidSignal); });
        }
        state.boundCondition.notify_all();
        ConcurrencyLog::runGuarded("the embedded main thread", [] { RunLoop::main().run(); });
    });
    if (state.startUpHook) {
        ConcurrencyLog::runGuarded("the embedded main thread's start-up",
                                   [&state] { state.startUpHook(EmbeddedStartUpStep::CallerWillWait); });
    }
    std::unique_lock<std::mutex> bound(state.boundMutex);
    state.boundCondition.wait(bound, [&state] { return state.bound; });
    state.running = true;
}

void RunLoop::stopEmbeddedMainThread() {
    EmbeddedMainThread& state = embedded();
    std::thread thread;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        if (!state.running) {
            return;
        }
        state.running = false;
        thread = std::move(state.thread);
    }
    main().stop();
    if (thread.get_id() == std::this_thread::get_id()) {
        // Stopped from one of its own blocks: the loop ends after this block; nobody is left to join.
        thread.detach();
    } else {
        thread.join();
    }
    mainThreadToken.store(state.previousToken, std::memory_order_release);
}

void RunLoop::setEmbeddedStartUpHook(std::function<void(EmbeddedStartUpStep)> hook) {
    EmbeddedMainThread& state = embedded();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.startUpHook = std::move(hook);
}

bool RunLoop::isEmbeddedMainThreadRunning() {
    EmbeddedMainThread& state = embedded();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.running;
}

void RunLoop::makeCurrentThreadMain() {
    if (isEmbeddedMainThreadRunning()) {
        ConcurrencyLog::error("The embedded main thread runs; another thread cannot become the main thread");
        return;
    }
    mainThreadToken.store(ThreadIdentity::isInitialThread() ? 0 : ThreadIdentity::token(),
                          std::memory_order_release);
}

}  // namespace bdx
