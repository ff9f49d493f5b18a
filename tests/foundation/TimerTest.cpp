#include "foundation/Timer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "foundation/BlockOperation.h"
#include "foundation/Clock.h"
#include "foundation/DeadlineScheduler.h"
#include "foundation/DispatchQueue.h"
#include "foundation/OperationQueue.h"
#include "foundation/RunLoop.h"
#include "testing/DispatchTesting.h"

namespace {

using bdx::DispatchQueue;
using bdx::Timer;
using bdx::testing::VirtualClockTest;

constexpr auto kHangGuard = std::chrono::seconds(20);

using RealClockTimerTest = bdx::testing::DispatchTest;

TEST_F(RealClockTimerTest, OneShotFiresOnceOnItsQueueAndIsThenInvalid) {
    auto queue = DispatchQueue::create("com.bdx.test.timer");
    // The queue is held until the checks below are made, so that the firing cannot overtake them.
    std::promise<void> gate;
    queue->async([opened = gate.get_future().share()] { opened.wait(); });
    std::promise<bool> fired;
    auto future = fired.get_future();
    auto timer = Timer::scheduledTimerWithTimeInterval(
        0.002, false, [&](Timer&) { fired.set_value(queue->isCurrent()); }, queue);
    EXPECT_TRUE(timer->isValid());
    EXPECT_GT(timer->fireDate(), 0);
    gate.set_value();
    ASSERT_EQ(future.wait_for(kHangGuard), std::future_status::ready);
    EXPECT_TRUE(future.get());
    queue->sync([] {});
    EXPECT_FALSE(timer->isValid());
    EXPECT_EQ(bdx::DeadlineScheduler::shared().pendingCount(), 0u);
}

TEST_F(RealClockTimerTest, InvalidateStopsAFiringAlreadyWaitingOnTheMainQueue) {
    std::promise<void> arrived;
    auto firingQueued = arrived.get_future();
    std::atomic<bool> once{false};
    bdx::RunLoop::main().setWakeUpHandler([&] {
        if (!once.exchange(true)) {
            arrived.set_value();
        }
    });
    int firings = 0;
    auto timer = Timer::scheduledTimerWithTimeInterval(0.001, true, [&](Timer&) { ++firings; });
    // The firing is on the main queue, which this (main) thread has not run yet.
    ASSERT_EQ(firingQueued.wait_for(kHangGuard), std::future_status::ready);
    timer->invalidate();
    bdx::testing::runMainQueueUntilIdle();
    EXPECT_EQ(firings, 0);
}

TEST_F(VirtualClockTest, TimersAndDelayedBlocksFireInDeadlineOrderOnTheirQueuesAtTheirDeadline) {
    auto background = DispatchQueue::create("com.bdx.test.background");
    double start = clock->monotonicNow();
    std::mutex mutex;
    std::vector<std::tuple<std::string, double, bool>> fired;  // name, seconds since start, on its queue
    auto record = [&](std::string name, const std::shared_ptr<DispatchQueue>& queue) {
        std::lock_guard<std::mutex> lock(mutex);
        fired.emplace_back(std::move(name), bdx::Clock::current()->monotonicNow() - start,
                           queue->isCurrent());
    };
    auto repeating = Timer::scheduledTimerWithTimeInterval(
        2.0, true, [&](Timer&) { record("tick", DispatchQueue::main()); });
    DispatchQueue::main()->after(3.0, [&] { record("main+3", DispatchQueue::main()); });
    background->after(1.0, [&] { record("background+1", background); });
    auto oneShot = Timer::scheduledTimerWithTimeInterval(
        5.0, false, [&](Timer&) { record("once+5", background); }, background);

    bdx::testing::advance(0.5);
    EXPECT_TRUE(fired.empty());
    bdx::testing::advance(5.0);
    repeating->invalidate();
    bdx::testing::advance(10.0);

    std::vector<std::tuple<std::string, double, bool>> expected{
        {"background+1", 1.0, true}, {"tick", 2.0, true},   {"main+3", 3.0, true},
        {"tick", 4.0, true},         {"once+5", 5.0, true},
    };
    EXPECT_EQ(fired, expected);
    EXPECT_FALSE(oneShot->isValid());
    EXPECT_DOUBLE_EQ(clock->monotonicNow() - start, 15.5);
}

TEST_F(VirtualClockTest, ADayOfASecondTimerFiresEverySecondInOrderWithoutSleeping) {
    double start = clock->monotonicNow();
    long firings = 0;
    long outOfStep = 0;
    auto timer = Timer::scheduledTimerWithTimeInterval(1.0, true, [&](Timer&) {
        ++firings;
        if (clock->monotonicNow() - start != static_cast<double>(firings)) {
            ++outOfStep;
        }
    });
    auto began = std::chrono::steady_clock::now();
    bdx::testing::advance(86400);
    auto took = std::chrono::steady_clock::now() - began;
    EXPECT_EQ(firings, 86400);
    EXPECT_EQ(outOfStep, 0);
    EXPECT_DOUBLE_EQ(clock->now(), bdx::testing::VirtualClock::kStartDate + 86400);
    EXPECT_LT(took, std::chrono::seconds(10));
    timer->invalidate();
}

TEST_F(VirtualClockTest, WorkRescheduledFromAFiredBlockFiresInOrderWithinTheSameAdvance) {
    std::vector<double> at;
    double start = clock->monotonicNow();
    int samples = 0;
    // A self-rescheduling sampler, the way the profiler's loops run.
    std::function<void()> sample = [&] {
        at.push_back(clock->monotonicNow() - start);
        if (++samples < 4) {
            DispatchQueue::main()->after(0.5, sample);
        }
    };
    DispatchQueue::main()->after(0.5, sample);
    DispatchQueue::main()->after(1.25, [&] { at.push_back(-1.25); });
    bdx::testing::advance(3);
    EXPECT_EQ(at, (std::vector<double>{0.5, 1.0, -1.25, 1.5, 2.0}));
}

TEST_F(VirtualClockTest, AFiredBackgroundBlockHasRunBeforeTheNextFiresEvenIfItWaitsForTheMainQueue) {
    auto queue = DispatchQueue::create("com.bdx.test.hop");
    std::vector<std::string> order;  // main thread only
    queue->after(1, [&] { DispatchQueue::main()->sync([&] { order.push_back("background hop at 1"); }); });
    DispatchQueue::main()->after(1, [&] { order.push_back("main at 1"); });
    DispatchQueue::main()->after(2, [&] { order.push_back("main at 2"); });
    bdx::testing::advance(2);
    EXPECT_EQ(order, (std::vector<std::string>{"background hop at 1", "main at 1", "main at 2"}));
}

// Work handed on from a fired block, however far, settles before the clock moves on: an `after` it
// schedules counts from the virtual time of the firing that started it.
TEST_F(VirtualClockTest, AnAfterScheduledByFollowOnWorkFiresAtItsExactVirtualTime) {
    using Hop = std::function<void(std::function<void()>)>;
    auto serial = DispatchQueue::create("com.bdx.test.follow-on");
    auto concurrent =
        DispatchQueue::create("com.bdx.test.follow-on.concurrent", DispatchQueue::Attribute::Concurrent);
    auto operations = std::make_shared<bdx::OperationQueue>();
    const Hop toSerial = [serial](std::function<void()> next) { serial->async(std::move(next)); };
    const Hop toConcurrent = [concurrent](std::function<void()> next) { concurrent->async(std::move(next)); };
    const Hop toGlobal = [](std::function<void()> next) { DispatchQueue::global()->async(std::move(next)); };
    const Hop toMain = [](std::function<void()> next) { DispatchQueue::main()->async(std::move(next)); };
    // A request's completion handler, which runs on a worker once its operation finished.
    const Hop toCompletion = [operations](std::function<void()> next) {
        auto operation = bdx::BlockOperation::blockOperationWithBlock([] {});
        operation->setCompletionBlock(std::move(next));
        operations->addOperation(operation);
    };
    const struct {
        const char* route;
        std::vector<Hop> hops;
    } routes[] = {
        {"one serial queue", {toSerial}},
        {"global, concurrent, serial", {toGlobal, toConcurrent, toSerial}},
        {"main, global, main", {toMain, toGlobal, toMain}},
        {"a completion handler, then a serial queue", {toCompletion, toSerial}},
        {"a long chain", std::vector<Hop>(24, toSerial)},
    };
    for (const auto& route : routes) {
        SCOPED_TRACE(route.route);
        double start = clock->monotonicNow();
        std::mutex mutex;
        std::vector<double> retries;
        // Retries after e^1, e^2 and e^3 seconds, each scheduled at the end of the route the previous
        // attempt's result travels.
        std::function<void(int)> attempt = [&](int n) {
            std::function<void()> scheduleRetry = [&, n] {
                if (n > 3) {
                    return;
                }
                serial->after(std::exp(n), [&, n] {
                    {
                        std::lock_guard<std::mutex> lock(mutex);
                        retries.push_back(clock->monotonicNow() - start);
                    }
                    attempt(n + 1);
                });
            };
            for (auto hop = route.hops.rbegin(); hop != route.hops.rend(); ++hop) {
                scheduleRetry = [hop = *hop, next = std::move(scheduleRetry)] { hop(next); };
            }
            scheduleRetry();
        };
        DispatchQueue::global()->after(1, [&] { attempt(1); });
        bdx::testing::advance(60);
        std::lock_guard<std::mutex> lock(mutex);
        ASSERT_EQ(retries.size(), 3u);
        // Exact up to the rounding of adding deadlines on the monotonic scale.
        EXPECT_NEAR(retries[0], 1 + std::exp(1), 1e-9);
        EXPECT_NEAR(retries[1], 1 + std::exp(1) + std::exp(2), 1e-9);
        EXPECT_NEAR(retries[2], 1 + std::exp(1) + std::exp(2) + std::exp(3), 1e-9);
    }
}

// A clock the test sets by hand; deadlines due on it are taken from the scheduler by the test, so
// that a firing can be held running while time passes.
class SteppedClock : public bdx::Clock {
  public:
    double now() const override { return bdx::testing::VirtualClock::kStartDate + monotonic; }
    double monotonicNow() const override { return monotonic; }
    bool isVirtual() const override { return true; }
    std::atomic<double> monotonic{100};
};

TEST_F(RealClockTimerTest, ARepeatingTimerOnAConcurrentQueueNeverOverlapsItselfAndCoalescesMissedFirings) {
    auto clock = std::make_shared<SteppedClock>();
    bdx::Clock::install(clock);
    auto queue = DispatchQueue::create("com.bdx.test.timer.concurrent", DispatchQueue::Attribute::Concurrent);
    std::promise<void> gate;
    std::promise<void> firstStarted;
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::mutex mutex;
    std::vector<double> firedAt;
    auto timer = Timer::scheduledTimerWithTimeInterval(
        1.0, true,
        [&, opened = gate.get_future().share()](Timer&) {
            if (inside.fetch_add(1) != 0) {
                ++overlaps;
            }
            bool first;
            {
                std::lock_guard<std::mutex> lock(mutex);
                firedAt.push_back(clock->monotonic);
                first = firedAt.size() == 1;
            }
            if (first) {
                firstStarted.set_value();
                opened.wait();
            }
            inside.fetch_sub(1);
        },
        queue);
    auto& scheduler = bdx::DeadlineScheduler::shared();
    clock->monotonic = 101;
    auto first = scheduler.takeNextDue(101);
    ASSERT_TRUE(first.has_value());
    std::thread running([&] { first->block(); });  // as the target queue would run it
    firstStarted.get_future().wait();
    // Two and a half intervals pass while the first firing runs: nothing of the timer comes due.
    clock->monotonic = 103.5;
    auto overlapping = scheduler.takeNextDue(103.5);
    EXPECT_FALSE(overlapping.has_value())
        << "a firing came due at " << overlapping->deadline << " while the previous one still ran";
    gate.set_value();
    running.join();
    // The firings missed meanwhile become one, at the latest of them; the schedule goes on from it.
    auto coalesced = scheduler.takeNextDue(103.5);
    ASSERT_TRUE(coalesced.has_value());
    EXPECT_DOUBLE_EQ(coalesced->deadline, 103);
    coalesced->block();
    EXPECT_FALSE(scheduler.takeNextDue(103.5).has_value());
    clock->monotonic = 104;
    auto next = scheduler.takeNextDue(104);
    ASSERT_TRUE(next.has_value());
    EXPECT_DOUBLE_EQ(next->deadline, 104);
    next->block();
    timer->invalidate();
    EXPECT_EQ(overlaps.load(), 0);
    std::lock_guard<std::mutex> lock(mutex);
    EXPECT_EQ(firedAt, (std::vector<double>{101, 103.5, 104}));
}

// A virtual clock that runs a hook inside its next reading of the monotonic time, on the reading
// thread, so that a test can hold that thread between reading the clock and using what it read.
class HookedClock : public bdx::testing::VirtualClock {
  public:
    double monotonicNow() const override {
        double now = VirtualClock::monotonicNow();
        std::function<void()> hook;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            hook.swap(onNextRead_);
        }
        if (hook) {
            hook();
        }
        return now;
    }
    void setOnNextRead(std::function<void()> hook) {
        std::lock_guard<std::mutex> lock(mutex_);
        onNextRead_ = std::move(hook);
    }

  private:
    mutable std::mutex mutex_;
    mutable std::function<void()> onNextRead_;
};

using ClockSwitchTest = bdx::testing::DispatchTest;

// An `after(10)` made while `fresh` replaced a clock 100 s further on must fire 10 s into `fresh`.
void expectFiresTenSecondsIn(bdx::testing::VirtualClock& fresh, const std::atomic<bool>& fired) {
    fresh.advance(9.5);
    EXPECT_FALSE(fired) << "fired early: the delay was carried over from the replaced clock's time";
    fresh.advance(0.5);
    EXPECT_TRUE(fired) << "not due: the delay counts on the replaced clock's time";
}

TEST_F(ClockSwitchTest, AnAfterThatReadTheReplacedClockCountsOnTheNewOne) {
    auto replaced = std::make_shared<HookedClock>();
    bdx::Clock::install(replaced);
    replaced->advance(100);
    auto queue = DispatchQueue::create("com.bdx.test.clock-switch");
    std::atomic<bool> fired{false};
    std::promise<void> reading;
    std::promise<void> release;
    replaced->setOnNextRead([&, released = release.get_future().share()] {
        reading.set_value();
        released.wait();
    });
    std::thread caller([&] { queue->after(10, [&] { fired = true; }); });
    reading.get_future().wait();
    auto fresh = std::make_shared<bdx::testing::VirtualClock>();
    bdx::Clock::install(fresh);
    release.set_value();
    caller.join();
    expectFiresTenSecondsIn(*fresh, fired);
}

TEST_F(ClockSwitchTest, AnAfterMadeWhileTheDeadlinesAreCarriedOverCountsOnTheNewClock) {
    auto replaced = std::make_shared<bdx::testing::VirtualClock>();
    bdx::Clock::install(replaced);
    replaced->advance(100);
    auto queue = DispatchQueue::create("com.bdx.test.clock-switch");
    std::atomic<bool> fired{false};
    auto fresh = std::make_shared<HookedClock>();
    // Read first by the install itself, once the new clock is current and before pending deadlines are
    // carried over to it: another thread's `after` lands in that window.
    fresh->setOnNextRead([&] { std::thread([&] { queue->after(10, [&] { fired = true; }); }).join(); });
    bdx::Clock::install(fresh);
    expectFiresTenSecondsIn(*fresh, fired);
}

TEST_F(VirtualClockTest, NothingOfAFinishedTestFiresInTheNext) {
    int fired = 0;
    DispatchQueue::main()->async([&] { ++fired; });
    DispatchQueue::main()->after(1, [&] { ++fired; });
    auto timer = Timer::scheduledTimerWithTimeInterval(1, true, [&](Timer&) { ++fired; });
    bdx::testing::resetDispatchState();
    clock = bdx::testing::installVirtualClock();
    bdx::testing::advance(10);
    EXPECT_EQ(fired, 0);
    EXPECT_EQ(bdx::DeadlineScheduler::shared().pendingCount(), 0u);
}

TEST_F(VirtualClockTest, ATimerHeldByAnObjectThroughAWeakReferenceGoesWithIt) {
    struct Recorder {
        int firings = 0;
        std::shared_ptr<Timer> timer;
        ~Recorder() { timer->invalidate(); }
    };
    auto recorder = std::make_shared<Recorder>();
    std::weak_ptr<Recorder> weakRecorder = recorder;
    recorder->timer = Timer::scheduledTimerWithTimeInterval(1.0, true, [weakRecorder](Timer&) {
        if (auto strong = weakRecorder.lock()) {
            ++strong->firings;
        }
    });
    std::weak_ptr<Timer> weakTimer = recorder->timer;
    bdx::testing::advance(3);
    EXPECT_EQ(recorder->firings, 3);
    recorder.reset();
    bdx::testing::advance(3);
    EXPECT_TRUE(weakTimer.expired()) << "the scheduler still holds an invalidated timer";
}

TEST_F(VirtualClockTest, FireRunsTheBlockNowWithoutMovingTheSchedule) {
    double start = clock->monotonicNow();
    std::vector<double> at;
    auto repeating = Timer::scheduledTimerWithTimeInterval(
        10, true, [&](Timer&) { at.push_back(clock->monotonicNow() - start); });
    bdx::testing::advance(4);
    repeating->fire();
    bdx::testing::advance(6);
    EXPECT_EQ(at, (std::vector<double>{4, 10}));
    EXPECT_TRUE(repeating->isValid());
    repeating->invalidate();
    repeating->fire();
    EXPECT_EQ(at.size(), 2u);

    int once = 0;
    auto oneShot = Timer::scheduledTimerWithTimeInterval(10, false, [&](Timer&) { ++once; });
    oneShot->fire();
    EXPECT_FALSE(oneShot->isValid());
    bdx::testing::advance(20);
    EXPECT_EQ(once, 1);
}

}  // namespace
