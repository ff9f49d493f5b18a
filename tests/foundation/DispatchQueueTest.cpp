#include "foundation/DispatchQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "foundation/Clock.h"
#include "foundation/DispatchSemaphore.h"
#include "foundation/RunLoop.h"
#include "foundation/WorkerPool.h"
#include "testing/ConsoleCapture.h"
#include "testing/DispatchTesting.h"

namespace {

using bdx::DispatchQueue;
using bdx::testing::DispatchTest;

// A guard against hanging the suite when a fault keeps a block from running; never a way to wait
// for an effect.
constexpr auto kHangGuard = std::chrono::seconds(20);

template <class T>
bool arrives(std::future<T>& future) {
    return future.wait_for(kHangGuard) == std::future_status::ready;
}

using SerialQueueTest = DispatchTest;

TEST_F(SerialQueueTest, RunsBlocksOneAtATimeInSubmissionOrderFromEveryProducer) {
    auto queue = DispatchQueue::create("com.bdx.test.serial");
    constexpr int kProducers = 4;
    constexpr int kPerProducer = 2000;
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::vector<std::pair<int, int>> seen;  // only touched on the queue
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&, p] {
            for (int i = 0; i < kPerProducer; ++i) {
                queue->async([&, p, i] {
                    if (inside.fetch_add(1) != 0) {
                        ++overlaps;
                    }
                    seen.emplace_back(p, i);
                    inside.fetch_sub(1);
                });
            }
        });
    }
    for (auto& t : producers) {
        t.join();
    }
    std::size_t count = 0;
    queue->sync([&] { count = seen.size(); });
    ASSERT_EQ(count, std::size_t{kProducers * kPerProducer});
    EXPECT_EQ(overlaps.load(), 0);
    std::vector<int> next(kProducers, 0);
    for (auto [p, i] : seen) {
        ASSERT_EQ(i, next[p]) << "producer " << p << " out of order";
        ++next[p];
    }
}

TEST_F(SerialQueueTest, SyncSeesEveryEarlierAsyncAndRunsOnTheCallingThread) {
    auto queue = DispatchQueue::create("com.bdx.test.sync");
    int counter = 0;  // guarded by the queue alone
    std::promise<void> gate;
    auto opened = gate.get_future().share();
    // The first block holds the queue, so the sync below has to wait behind a busy queue.
    queue->async([opened] { opened.wait(); });
    for (int i = 0; i < 500; ++i) {
        queue->async([&counter] { ++counter; });
    }
    std::thread opener([&gate] { gate.set_value(); });
    int seen = -1;
    std::thread::id ranOn;
    bool current = false;
    queue->sync([&] {
        seen = counter;
        ranOn = std::this_thread::get_id();
        current = queue->isCurrent();
    });
    opener.join();
    EXPECT_EQ(seen, 500);
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_TRUE(current);
    EXPECT_FALSE(queue->isCurrent());
}

TEST_F(SerialQueueTest, AnExceptionEscapingABlockIsLoggedAndTheQueueGoesOn) {
    auto queue = DispatchQueue::create("com.bdx.test.throwing");
    ::testing::internal::CaptureStderr();
    queue->async([] { throw std::runtime_error("disk on fire"); });
    bool ranAfter = false;
    queue->sync([] { throw 42; });
    queue->sync([&] { ranAfter = true; });
    std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_TRUE(ranAfter);
    EXPECT_NE(log.find("com.bdx.test.throwing"), std::string::npos) << log;
    EXPECT_NE(log.find("disk on fire"), std::string::npos) << log;
}

// Code the library calls at its edges may throw; the thread it runs on (the host's, the timer
// thread, a worker) goes on, and a fault line says what happened.
TEST_F(SerialQueueTest, AnExceptionFromTheHostsHandlerOrAnIdleCallbackIsLoggedAndTheThreadGoesOn) {
    auto queue = DispatchQueue::create("com.bdx.test.edges");
    const struct {
        const char* edge;
        // Makes the library call `throwing` on one of its threads.
        std::function<void(std::function<void()> throwing)> provoke;
        const char* logged;
    } edges[] = {
        {"the wake-up handler, on a thread that submits to the main queue",
         [](std::function<void()> throwing) {
             bdx::RunLoop::main().setWakeUpHandler(std::move(throwing));
             std::thread([] { DispatchQueue::main()->async([] {}); }).join();
         },
         "wake-up handler"},
        {"the wake-up handler, on the timer thread",
         [](std::function<void()> throwing) {
             bdx::RunLoop::main().setWakeUpHandler(std::move(throwing));
             DispatchQueue::main()->after(0.001, [] {});
         },
         "wake-up handler"},
        {"an idle callback, on the worker that ran the last block",
         [&queue](std::function<void()> throwing) {
             std::promise<void> gate;
             queue->async([opened = gate.get_future().share()] { opened.wait(); });
             bdx::WorkerPool::shared().notifyWhenIdle(std::move(throwing));
             gate.set_value();
         },
         "idle callback"},
    };
    for (const auto& edge : edges) {
        SCOPED_TRACE(edge.edge);
        bdx::testing::ConsoleCapture console;
        auto called = std::make_shared<std::promise<void>>();
        auto calledFuture = called->get_future();
        auto once = std::make_shared<std::atomic<bool>>(false);
        edge.provoke([called, once] {
            if (!once->exchange(true)) {
                called->set_value();
            }
            throw std::runtime_error("host code failed");
        });
        ASSERT_TRUE(arrives(calledFuture));
        bdx::testing::waitUntilIdle();
        bdx::RunLoop::main().setWakeUpHandler(nullptr);
        // The timer thread and the workers still serve their queues.
        std::promise<void> later;
        auto laterFuture = later.get_future();
        queue->after(0.001, [&] { later.set_value(); });
        ASSERT_TRUE(arrives(laterFuture));
        EXPECT_TRUE(console.contains(bdx::Console::Channel::Fault, edge.logged));
        EXPECT_TRUE(console.contains(bdx::Console::Channel::Fault, "host code failed"));
    }
}

TEST_F(SerialQueueTest, WorkersBlockedOnSemaphoresDoNotStarveTheWorkTheyWaitFor) {
    // More waiters than the pool's usual threads, each waiting for a block queued after all of them.
    constexpr int kWaiters = 12;
    std::vector<std::unique_ptr<bdx::DispatchSemaphore>> semaphores;
    for (int i = 0; i < kWaiters; ++i) {
        semaphores.push_back(std::make_unique<bdx::DispatchSemaphore>());
    }
    std::atomic<int> released{0};
    for (int i = 0; i < kWaiters; ++i) {
        DispatchQueue::global()->async([&, i] {
            if (semaphores[i]->waitFor(20)) {
                ++released;
            }
        });
    }
    auto signaller = DispatchQueue::create("com.bdx.test.signaller");
    for (int i = 0; i < kWaiters; ++i) {
        signaller->async([&, i] { semaphores[i]->signal(); });
    }
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(released.load(), kWaiters);
}

using ConcurrentQueueTest = DispatchTest;

TEST_F(ConcurrentQueueTest, PlainBlocksRunSideBySide) {
    auto queue = DispatchQueue::create("com.bdx.test.concurrent", DispatchQueue::Attribute::Concurrent);
    // Each block waits for the other's signal: they can only both finish if they run at once.
    std::promise<void> firstStarted, secondStarted;
    auto first = firstStarted.get_future().share();
    auto second = secondStarted.get_future().share();
    std::promise<bool> firstDone, secondDone;
    auto a = firstDone.get_future();
    auto b = secondDone.get_future();
    queue->async([&, second] {
        firstStarted.set_value();
        firstDone.set_value(second.wait_for(kHangGuard) == std::future_status::ready);
    });
    queue->async([&, first] {
        secondStarted.set_value();
        secondDone.set_value(first.wait_for(kHangGuard) == std::future_status::ready);
    });
    ASSERT_TRUE(arrives(a));
    ASSERT_TRUE(arrives(b));
    EXPECT_TRUE(a.get());
    EXPECT_TRUE(b.get());
}

TEST_F(ConcurrentQueueTest, BarrierRunsAloneAfterEveryEarlierBlockAndBeforeEveryLaterOne) {
    auto queue = DispatchQueue::create("com.bdx.test.barrier", DispatchQueue::Attribute::Concurrent);
    constexpr int kEarlier = 6;
    constexpr int kLater = 6;
    std::promise<void> gate;
    auto opened = gate.get_future().share();
    std::atomic<int> running{0};
    std::atomic<int> earlierDone{0};
    std::atomic<bool> barrierDone{false};
    std::atomic<int> laterBeforeBarrier{0};
    std::atomic<int> laterDone{0};
    int runningDuringBarrier = -1;
    int earlierSeenByBarrier = -1;
    for (int i = 0; i < kEarlier; ++i) {
        queue->async([&, opened] {
            ++running;
            opened.wait();  // earlier blocks are still running when the barrier is queued
            ++earlierDone;
            --running;
        });
    }
    queue->barrierAsync([&] {
        runningDuringBarrier = running.load();
        earlierSeenByBarrier = earlierDone.load();
        barrierDone = true;
    });
    std::promise<void> allLater;
    for (int i = 0; i < kLater; ++i) {
        queue->async([&] {
            if (!barrierDone) {
                ++laterBeforeBarrier;
            }
            if (++laterDone == kLater) {
                allLater.set_value();
            }
        });
    }
    gate.set_value();
    auto finished = allLater.get_future();
    ASSERT_TRUE(arrives(finished));
    EXPECT_EQ(earlierSeenByBarrier, kEarlier);
    EXPECT_EQ(runningDuringBarrier, 0);
    EXPECT_EQ(laterBeforeBarrier.load(), 0);
}

TEST_F(ConcurrentQueueTest, BarrierSyncWaitsForEveryEarlierPlainBlock) {
    auto queue = DispatchQueue::create("com.bdx.test.disk", DispatchQueue::Attribute::Concurrent);
    std::atomic<int> plainDone{0};
    for (int i = 0; i < 20; ++i) {
        queue->async([&] { ++plainDone; });
    }
    int seenByBarrier = -1;
    queue->barrierSync([&] { seenByBarrier = plainDone.load(); });
    EXPECT_EQ(seenByBarrier, 20);
}

TEST_F(ConcurrentQueueTest, NestedPlainSyncFromInsideTheQueueRunsAtOnce) {
    auto queue = DispatchQueue::create("com.bdx.test.nested", DispatchQueue::Attribute::Concurrent);
    std::promise<std::vector<int>> result;
    auto future = result.get_future();
    queue->async([&] {
        std::vector<int> order{1};
        queue->sync([&] { order.push_back(2); });
        order.push_back(3);
        result.set_value(order);
    });
    ASSERT_TRUE(arrives(future));
    EXPECT_EQ(future.get(), (std::vector<int>{1, 2, 3}));
}

using GlobalQueueTest = DispatchTest;

TEST_F(GlobalQueueTest, PrioritiesMapToFourSharedConcurrentQueuesWithThePlatformLabels) {
    EXPECT_EQ(DispatchQueue::global(DispatchQueue::PriorityHigh)->label(),
              "com.apple.root.user-initiated-qos");
    EXPECT_EQ(DispatchQueue::global(DispatchQueue::PriorityDefault)->label(), "com.apple.root.default-qos");
    EXPECT_EQ(DispatchQueue::global(DispatchQueue::PriorityLow)->label(), "com.apple.root.utility-qos");
    EXPECT_EQ(DispatchQueue::global(DispatchQueue::PriorityBackground)->label(),
              "com.apple.root.background-qos");
    EXPECT_EQ(DispatchQueue::global(), DispatchQueue::global(DispatchQueue::PriorityDefault));
    EXPECT_FALSE(DispatchQueue::global()->isSerial());
    EXPECT_EQ(DispatchQueue::main()->label(), "com.apple.main-thread");
    EXPECT_TRUE(DispatchQueue::main()->isSerial());
}

TEST_F(GlobalQueueTest, CurrentLabelNamesTheQueueTheCodeRunsOn) {
    auto serial = DispatchQueue::create("com.bdx.test.label");
    std::promise<std::string> insideAsync;
    auto label = insideAsync.get_future();
    serial->async([&] { insideAsync.set_value(DispatchQueue::currentLabel()); });
    ASSERT_TRUE(arrives(label));
    EXPECT_EQ(label.get(), "com.bdx.test.label");

    // The test's thread is the main thread.
    EXPECT_EQ(DispatchQueue::currentLabel(), "com.apple.main-thread");
    std::string elsewhere = "unset";
    std::thread([&] { elsewhere = DispatchQueue::currentLabel(); }).join();
    EXPECT_EQ(elsewhere, "");
}

using DelayedBlockTest = DispatchTest;

TEST_F(DelayedBlockTest, BlocksRegisteredBeforeAnyDeadlineFireInDeadlineOrderOnTheQueueAndNotBefore) {
    auto queue = DispatchQueue::create("com.bdx.test.after");
    const auto realClock = bdx::Clock::current();
    // The timer is held while the blocks are registered, however long that takes: on a virtual clock
    // nothing fires by itself, and putting the real clock back carries every deadline over with the
    // time it had left.
    bdx::testing::installVirtualClock();
    struct Fired {
        int block;
        double at;
        bool onQueue;
    };
    std::vector<Fired> fired;  // touched on the queue only
    std::promise<void> last;
    auto done = last.get_future();
    auto record = [&](int block) {
        fired.push_back({block, realClock->monotonicNow(), queue->isCurrent()});
        if (fired.size() == 3) {
            last.set_value();
        }
    };
    queue->after(0.006, [&] { record(3); });
    queue->after(0.002, [&] { record(1); });
    queue->after(0.004, [&] { record(2); });
    const double released = realClock->monotonicNow();
    bdx::Clock::install(nullptr);
    ASSERT_TRUE(arrives(done));
    queue->sync([] {});
    ASSERT_EQ(fired.size(), 3u);
    for (std::size_t i = 0; i < fired.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(fired[i].block, static_cast<int>(i) + 1);
        EXPECT_TRUE(fired[i].onQueue);
        EXPECT_GE(fired[i].at - released, 0.002 * static_cast<double>(i + 1));
    }
}

TEST_F(DelayedBlockTest, ADelayOfZeroOrLessIsAnAsync) {
    auto queue = DispatchQueue::create("com.bdx.test.zero");
    std::vector<int> order;
    queue->after(0, [&] { order.push_back(1); });
    queue->after(-3, [&] { order.push_back(2); });
    queue->async([&] { order.push_back(3); });
    queue->sync([] {});
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

}  // namespace
