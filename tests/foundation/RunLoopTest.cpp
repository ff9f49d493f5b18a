#include "foundation/RunLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "foundation/DispatchQueue.h"
#include "testing/DispatchTesting.h"

namespace {

using bdx::DispatchQueue;
using bdx::RunLoop;

constexpr auto kHangGuard = std::chrono::seconds(20);

using MainQueueTest = bdx::testing::DispatchTest;

TEST_F(MainQueueTest, BlocksWaitForThePumpAndRunOnTheMainThreadInOrder) {
    std::vector<int> order, expected;
    std::thread producer([&] {
        for (int i = 0; i < 100; ++i) {
            DispatchQueue::main()->async([&, i] {
                // A block off the main thread records itself negated.
                order.push_back(bdx::isMainThread() && DispatchQueue::main()->isCurrent() ? i : -i - 1);
            });
        }
    });
    producer.join();
    EXPECT_TRUE(order.empty()) << "main-queue blocks ran without the main run loop being run";
    EXPECT_TRUE(RunLoop::main().hasPendingBlocks());
    EXPECT_EQ(RunLoop::main().runUntilIdle(), 100u);
    for (int i = 0; i < 100; ++i) {
        expected.push_back(i);
    }
    EXPECT_EQ(order, expected);
}

TEST_F(MainQueueTest, RunUntilIdleAlsoRunsBlocksQueuedByBlocks) {
    std::vector<int> order;
    DispatchQueue::main()->async([&] {
        order.push_back(1);
        DispatchQueue::main()->async([&] { order.push_back(3); });
    });
    DispatchQueue::main()->async([&] { order.push_back(2); });
    bdx::testing::runMainQueueUntilIdle();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST_F(MainQueueTest, ASyncFromAWorkerRunsOnTheMainThreadAndSeesEarlierBlocks) {
    auto queue = DispatchQueue::create("com.bdx.test.capture");
    int value = 0;  // main thread only
    DispatchQueue::main()->async([&] { value = 7; });
    std::promise<std::pair<int, bool>> result;
    auto future = result.get_future();
    queue->async([&] {
        int seen = 0;
        bool onMain = false;
        DispatchQueue::main()->sync([&] {
            seen = value;
            onMain = bdx::isMainThread();
        });
        result.set_value({seen, onMain});
    });
    bdx::testing::waitUntilIdle();
    ASSERT_EQ(future.wait_for(kHangGuard), std::future_status::ready);
    auto [seen, onMain] = future.get();
    EXPECT_EQ(seen, 7);
    EXPECT_TRUE(onMain);
}

TEST_F(MainQueueTest, RunOnceWaitsForABlockOrAWakeUp) {
    EXPECT_FALSE(RunLoop::main().runOnce(0));
    std::thread poster([] { DispatchQueue::main()->async([] {}); });
    EXPECT_TRUE(RunLoop::main().runOnce(-1));
    poster.join();
    std::thread waker([] { RunLoop::main().wakeUp(); });
    EXPECT_FALSE(RunLoop::main().runOnce(-1));
    waker.join();
}

TEST_F(MainQueueTest, AWakeUpMeantForTheWaitingMainThreadIsNotTakenByAnotherWaiter) {
    std::mutex mutex;
    std::condition_variable condition;
    int mainThreadWaiters = 0;
    bool finished = false;
    int checks = 0;
    // Only a fault needs this: it wakes the main thread after a while so that the suite goes on.
    std::mutex watchdogMutex;
    std::condition_variable watchdogCondition;
    bool over = false;
    std::atomic<bool> rescued{false};
    std::thread watchdog([&] {
        std::unique_lock<std::mutex> lock(watchdogMutex);
        if (!watchdogCondition.wait_for(lock, kHangGuard, [&] { return over; })) {
            rescued = true;
            RunLoop::main().wakeUp();
        }
    });
    std::unique_lock<std::mutex> lock(mutex);
    RunLoop::waitUntil(lock, condition, mainThreadWaiters, [&] {
        if (checks++ > 0) {
            return finished;
        }
        // Between this check and the main thread's wait, the work finishes and wakes the main thread,
        // and a thread waiting for blocks of the main queue sees that wake-up first.
        finished = true;
        RunLoop::main().wakeUp();
        std::thread([] { RunLoop::main().waitForBlocks(0); }).join();
        return false;
    });
    lock.unlock();
    {
        std::lock_guard<std::mutex> guard(watchdogMutex);
        over = true;
    }
    watchdogCondition.notify_all();
    watchdog.join();
    EXPECT_FALSE(rescued.load()) << "the main thread missed its wake-up";
    EXPECT_EQ(mainThreadWaiters, 0);
}

TEST_F(MainQueueTest, TheWakeUpHandlerTellsTheHostWhenWorkArrivesAtAnIdleLoop) {
    std::atomic<int> wakeUps{0};
    RunLoop::main().setWakeUpHandler([&] { ++wakeUps; });
    std::thread([] {
        DispatchQueue::main()->async([] {});
        DispatchQueue::main()->async([] {});
    }).join();
    EXPECT_EQ(wakeUps.load(), 1);  // the second block found the loop already woken
    RunLoop::main().runUntilIdle();
    DispatchQueue::main()->async([] {});
    EXPECT_EQ(wakeUps.load(), 2);
}

TEST_F(MainQueueTest, OtherThreadsCannotRunTheMainLoopNorCanABlockRunItAgain) {
    int ran = 0;
    DispatchQueue::main()->async([&] { ++ran; });
    std::size_t fromOtherThread = 99;
    ::testing::internal::CaptureStderr();
    std::thread([&] { fromOtherThread = RunLoop::main().runUntilIdle(); }).join();
    EXPECT_EQ(fromOtherThread, 0u);
    EXPECT_EQ(ran, 0);

    std::vector<int> order;
    std::size_t nested = 99;
    DispatchQueue::main()->async([&] {
        order.push_back(1);
        nested = RunLoop::main().runUntilIdle();
        order.push_back(2);
    });
    DispatchQueue::main()->async([&] { order.push_back(3); });
    RunLoop::main().runUntilIdle();
    std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(nested, 0u);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
    EXPECT_NE(log.find("main thread"), std::string::npos) << log;
}

using EmbeddedMainThreadTest = bdx::testing::DispatchTest;

TEST_F(EmbeddedMainThreadTest, ServesTheMainQueueOnItsOwnThreadUntilStopped) {
    EXPECT_TRUE(bdx::isMainThread());
    RunLoop::startEmbeddedMainThread();
    RunLoop::startEmbeddedMainThread();  // a second start does nothing
    EXPECT_TRUE(RunLoop::isEmbeddedMainThreadRunning());
    EXPECT_FALSE(bdx::isMainThread());

    std::promise<std::thread::id> ranOn;
    auto future = ranOn.get_future();
    DispatchQueue::main()->async([&] { ranOn.set_value(std::this_thread::get_id()); });
    ASSERT_EQ(future.wait_for(kHangGuard), std::future_status::ready);
    std::thread::id embedded = future.get();
    EXPECT_NE(embedded, std::this_thread::get_id());

    bool onMain = false;
    std::thread::id syncOn;
    DispatchQueue::main()->sync([&] {
        onMain = bdx::isMainThread();
        syncOn = std::this_thread::get_id();
    });
    EXPECT_TRUE(onMain);
    EXPECT_EQ(syncOn, embedded);

    RunLoop::stopEmbeddedMainThread();
    EXPECT_FALSE(RunLoop::isEmbeddedMainThreadRunning());
    EXPECT_TRUE(bdx::isMainThread());
}

// Writes a pattern over the stack a returned call used, as the next call does, runs `meanwhile`, and
// says whether the pattern is still whole afterwards.
[[gnu::noinline]] bool stackLeftAloneDuring(const std::function<void()>& meanwhile) {
    constexpr unsigned char kPattern = 0xA4;
    volatile unsigned char scratch[16384];
    for (auto& byte : scratch) {
        byte = kPattern;
    }
    meanwhile();
    for (auto& byte : scratch) {
        if (byte != kPattern) {
            return false;
        }
    }
    return true;
}

TEST_F(EmbeddedMainThreadTest, StartUpLeavesTheCallersStackAloneOnceTheCallerReturned) {
    // The caller looks for the new thread's word only once it was given; the new thread, after giving
    // it, is held until the caller has returned and its stack was written over.
    std::mutex mutex;
    std::condition_variable changed;
    bool signalled = false;
    bool callerReturned = false;
    RunLoop::setEmbeddedStartUpHook([&](RunLoop::EmbeddedStartUpStep step) {
        std::unique_lock<std::mutex> lock(mutex);
        if (step == RunLoop::EmbeddedStartUpStep::CallerWillWait) {
            changed.wait(lock, [&] { return signalled; });
            return;
        }
        signalled = true;
        changed.notify_all();
        changed.wait(lock, [&] { return callerReturned; });
    });
    RunLoop::startEmbeddedMainThread();
    RunLoop::setEmbeddedStartUpHook(nullptr);
    std::future_status served = std::future_status::timeout;
    bool onMain = false;
    bool untouched = stackLeftAloneDuring([&] {
        {
            std::lock_guard<std::mutex> lock(mutex);
            callerReturned = true;
        }
        changed.notify_all();
        std::promise<bool> ran;
        auto future = ran.get_future();
        DispatchQueue::main()->async([&] { ran.set_value(bdx::isMainThread()); });
        served = future.wait_for(kHangGuard);
        onMain = served == std::future_status::ready && future.get();
    });
    EXPECT_TRUE(untouched)
        << "the new thread wrote to the stack of the caller that started it, after that caller returned";
    ASSERT_EQ(served, std::future_status::ready);
    EXPECT_TRUE(onMain);
}

TEST_F(EmbeddedMainThreadTest, AHostThreadCanBeDeclaredTheMainThread) {
    std::promise<void> posted;
    std::thread host([&] {
        RunLoop::makeCurrentThreadMain();
        EXPECT_TRUE(bdx::isMainThread());
        int ran = 0;
        DispatchQueue::main()->async([&] { ran += bdx::isMainThread() ? 1 : 100; });
        RunLoop::main().runUntilIdle();
        EXPECT_EQ(ran, 1);
        posted.set_value();
    });
    host.join();
    EXPECT_FALSE(bdx::isMainThread());
    RunLoop::makeCurrentThreadMain();
    EXPECT_TRUE(bdx::isMainThread());
}

TEST(ThreadRunLoopTest, AThreadRunsWhatIsPerformedOnItsOwnLoop) {
    std::promise<std::shared_ptr<RunLoop>> loopOfThread;
    std::vector<int> order;
    std::thread worker([&] {
        auto loop = RunLoop::current();
        loopOfThread.set_value(loop);
        loop->run();
    });
    auto loop = loopOfThread.get_future().get();
    EXPECT_NE(loop.get(), &RunLoop::main());
    EXPECT_EQ(RunLoop::current().get(), &RunLoop::main());
    std::thread::id workerId = worker.get_id();
    loop->perform([&] { order.push_back(1); });
    loop->perform([&, workerId] {
        order.push_back(std::this_thread::get_id() == workerId ? 2 : -2);
        RunLoop::current()->stop();
    });
    worker.join();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

}  // namespace
