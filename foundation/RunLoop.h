// Public header: installed with the library for hosts to include.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "foundation/DispatchQueue.h"

namespace bdx {

// True on the main thread: the thread that serves the main queue. That is the process's initial
// thread, unless the host named another with RunLoop::makeCurrentThreadMain(), or the library's own
// embedded main thread while it runs.
bool isMainThread();

// Runs blocks performed on it, one at a time in order, on the thread that runs it. The main run loop
// serves the main queue: the host pumps it from its own event loop (runUntilIdle or runOnce from its
// idle handler, woken by the wake-up handler), or the library runs it on an embedded main thread
// (startEmbeddedMainThread), as the demo does. Other threads get a run loop of their own with
// current(), for work that must come back to the thread that started it.
class RunLoop {
  public:
    // The run loop of the main queue. Only the main thread may run it; other threads are refused
    // with a log line.
    static RunLoop& main();
    // The run loop of the calling thread (the main run loop on the main thread).
    static std::shared_ptr<RunLoop> current();

    // Queues `block` to run on this loop's thread at its next turn.
    void perform(DispatchBlock block);
    // Runs blocks until none is pending, including those queued meanwhile. Returns how many ran.
    std::size_t runUntilIdle();
    // Waits up to `timeoutSeconds` of real time (negative: without limit) for blocks or a wakeUp(),
    // then runs the blocks pending. Returns true when at least one ran.
    bool runOnce(double timeoutSeconds);
    // Runs blocks as they come until stop().
    void run();
    // Makes run() return after the block it is running.
    void stop();
    // Makes a waiting runOnce() return, even with no block to run.
    void wakeUp();
    // Waits up to `timeoutSeconds` of real time (negative: without limit) until a block is pending or
    // wakeUp() is called, without running anything. True when a block is pending. Each thread sees
    // each wake-up once here (a wake-up made before its first wait included), and takes nothing from
    // the loop's own thread in runOnce, nor from other waiters.
    bool waitForBlocks(double timeoutSeconds);
    bool hasPendingBlocks() const;
    // True while the loop runs one of its blocks.
    bool isRunningBlock() const;

    // Blocks the calling thread until `done()` holds; `done` is evaluated with `lock` held. Whoever
    // makes it hold notifies `condition` and, while `mainThreadWaiters` is above 0, also calls
    // RunLoop::main().wakeUp(). On the main thread, outside the main queue's blocks, the main queue is
    // served meanwhile, so that work which hops to the main queue can finish.
    static void waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& condition,
                          int& mainThreadWaiters, const std::function<bool()>& done);
    // Called, on the submitting thread, when a block arrives at an empty loop: how a host event loop
    // learns that it should pump. Pass nullptr to remove.
    void setWakeUpHandler(std::function<void()> handler);

    // The embedded default: a thread of the library's own that becomes the main thread and runs the
    // main run loop until stopEmbeddedMainThread(). Starting twice does nothing.
    static void startEmbeddedMainThread();
    static void stopEmbeddedMainThread();
    static bool isEmbeddedMainThreadRunning();
    // Declares the calling thread the main thread (a host whose event loop is not on the initial
    // thread calls this once, before pumping).
    static void makeCurrentThreadMain();
    // Where startEmbeddedMainThread() may hold a thread: the caller, once the new thread exists and
    // before it looks whether it is bound; the new thread, once it said it is the main thread and before
    // it wakes the caller. Lets a test hold the new thread while the caller returns and reuses its
    // stack. nullptr removes the hook.
    enum class EmbeddedStartUpStep { CallerWillWait, ThreadDidSignal };
    static void setEmbeddedStartUpHook(std::function<void(EmbeddedStartUpStep)> hook);

    // Drops the blocks waiting on this loop; a caller waiting in sync is released after its block
    // ran. For the reset between tests.
    void discardPendingBlocks();

    explicit RunLoop(bool servesMainQueue);
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

  private:
    friend class DispatchQueue;
    void enqueue(detail::DispatchItem item);
    bool mayRunHere();
    // Waits, with `lock` held on mutex_, until a block is pending or a wake-up came that `seenWakeUps`
    // (the waiter's own count) has not seen, or the timeout (negative: none) passes; then marks every
    // wake-up so far as seen.
    void waitForBlocksOrWakeUp(std::unique_lock<std::mutex>& lock, double timeoutSeconds,
                               std::uint64_t& seenWakeUps);
    std::size_t runBatch(std::unique_lock<std::mutex>& lock);

    const bool servesMainQueue_;
    mutable std::mutex mutex_;
    std::condition_variable condition_;
    std::vector<detail::DispatchItem> pending_;
    std::vector<detail::DispatchItem> batch_;
    int waiters_ = 0;
    // wakeUp() calls so far; the loop's own thread keeps its count of those seen, any other waiter its own.
    std::uint64_t wakeUps_ = 0;
    std::uint64_t runnerSeenWakeUps_ = 0;
    bool stopRequested_ = false;
    bool running_ = false;
    std::shared_ptr<std::function<void()>> wakeUpHandler_;
};

}  // namespace bdx
