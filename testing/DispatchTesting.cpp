#include "testing/DispatchTesting.h"

#include <chrono>

#include "foundation/ConcurrencyLog.h"
#include "foundation/DeadlineScheduler.h"
#include "foundation/DispatchQueue.h"
#include "foundation/RunLoop.h"
#include "foundation/ThreadIdentity.h"
#include "foundation/WorkerPool.h"

namespace bdx::testing {

std::shared_ptr<VirtualClock> installVirtualClock() {
    auto clock = std::make_shared<VirtualClock>();
    Clock::install(clock);
    return clock;
}

std::shared_ptr<VirtualClock> installedVirtualClock() {
    return std::dynamic_pointer_cast<VirtualClock>(Clock::current());
}

void advance(double seconds) {
    auto clock = installedVirtualClock();
    if (!clock) {
        ADD_FAILURE() << "advance() needs a virtual clock; install one with installVirtualClock()";
        return;
    }
    clock->advance(seconds);
}

void runMainQueueUntilIdle() {
    if (isMainThread()) {
        RunLoop::main().runUntilIdle();
        return;
    }
    // Another thread serves the main queue (the embedded main thread): a sync lets everything queued
    // before it run.
    while (RunLoop::main().hasPendingBlocks()) {
        DispatchQueue::main()->sync([] {});
    }
}

void waitUntilIdle() {
    WorkerPool& pool = WorkerPool::shared();
    for (;;) {
        runMainQueueUntilIdle();
        if (pool.isIdle() && !RunLoop::main().hasPendingBlocks()) {
            return;
        }
        pool.notifyWhenIdle([] { RunLoop::main().wakeUp(); });
        if (isMainThread()) {
            RunLoop::main().runOnce(-1);
        } else {
            RunLoop::main().waitForBlocks(-1);
        }
    }
}

void resetDispatchState() {
    RunLoop::stopEmbeddedMainThread();
    if (ThreadIdentity::isInitialThread()) {
        RunLoop::makeCurrentThreadMain();
    }
    RunLoop::main().setWakeUpHandler(nullptr);
    DeadlineScheduler::shared().cancelAll();
    // Blocks of the finished test still running on workers are waited for; what they send to the main
    // queue is dropped (a sync caller is released), never run in the next test.
    WorkerPool& pool = WorkerPool::shared();
    auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (;;) {
        RunLoop::main().discardPendingBlocks();
        if (pool.isIdle()) {
            break;
        }
        if (std::chrono::steady_clock::now() > giveUp) {
            ConcurrencyLog::error("Blocks of the previous test still run on workers after 10 s; going on");
            break;
        }
        pool.notifyWhenIdle([] { RunLoop::main().wakeUp(); });
        RunLoop::main().waitForBlocks(0.5);
    }
    DeadlineScheduler::shared().cancelAll();
    RunLoop::main().discardPendingBlocks();
    Clock::install(nullptr);
}

}  // namespace bdx::testing
