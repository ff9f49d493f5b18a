// What a block costs on the library's queues, next to a plain mutex + condition-variable queue served by
// one thread: blocks per second through a serial queue, and the round trip of a hop from a background
// thread to the main queue (served by a run loop thread) and back.
//
// On a machine shared with other work, run each pair in a process of its own
// (--benchmark_filter=Async, then --benchmark_filter=Hop): workers that have just drained millions of
// blocks are scheduled behind other processes for a while, which shows as a slower hop that has
// nothing to do with the hop itself.
#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "foundation/DispatchQueue.h"
#include "foundation/RunLoop.h"

namespace {

constexpr int kBatch = 10000;

// The yardstick: a queue of std::function guarded by a mutex, served by one thread that sleeps on a
// condition variable when it runs dry.
class PlainQueue {
  public:
    PlainQueue() : thread_([this] { serve(); }) {}
    ~PlainQueue() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        condition_.notify_one();
        thread_.join();
    }
    void async(std::function<void()> block) {
        bool wake;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            blocks_.push_back(std::move(block));
            wake = sleeping_;
        }
        if (wake) {
            condition_.notify_one();
        }
    }

  private:
    void serve() {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            while (blocks_.empty() && !stopping_) {
                sleeping_ = true;
                condition_.wait(lock);
                sleeping_ = false;
            }
            if (blocks_.empty()) {
                return;
            }
            auto block = std::move(blocks_.front());
            blocks_.pop_front();
            lock.unlock();
            block();
            lock.lock();
        }
    }
    std::mutex mutex_;
    std::condition_variable condition_;
    std::deque<std::function<void()>> blocks_;
    bool sleeping_ = false;
    bool stopping_ = false;
    std::thread thread_;
};

void waitFor(std::atomic<int>& flag) {
    flag.wait(0, std::memory_order_acquire);
    flag.store(0, std::memory_order_relaxed);
}

void signal(std::atomic<int>& flag) {
    flag.store(1, std::memory_order_release);
    flag.notify_one();
}

void BM_SerialQueueAsync(benchmark::State& state) {
    auto queue = bdx::DispatchQueue::create("com.bdx.bench.serial");
    long counter = 0;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            queue->async([&counter] { ++counter; });
        }
        queue->sync([] {});
    }
    benchmark::DoNotOptimize(counter);
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_SerialQueueAsync)->UseRealTime();

void BM_PlainQueueAsync(benchmark::State& state) {
    PlainQueue queue;
    long counter = 0;
    std::atomic<int> drained{0};
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i) {
            queue.async([&counter] { ++counter; });
        }
        queue.async([&drained] { signal(drained); });
        waitFor(drained);
    }
    benchmark::DoNotOptimize(counter);
    state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_PlainQueueAsync)->UseRealTime();

void BM_SerialQueueSyncWhenIdle(benchmark::State& state) {
    auto queue = bdx::DispatchQueue::create("com.bdx.bench.sync");
    long counter = 0;
    for (auto _ : state) {
        queue->sync([&counter] { ++counter; });
    }
    benchmark::DoNotOptimize(counter);
}
BENCHMARK(BM_SerialQueueSyncWhenIdle);

void BM_MainQueueHopAndBack(benchmark::State& state) {
    bdx::RunLoop::startEmbeddedMainThread();
    auto back = bdx::DispatchQueue::create("com.bdx.bench.back");
    std::atomic<int> returned{0};
    // The benchmark's thread plays the background thread that records an event.
    for (auto _ : state) {
        bdx::DispatchQueue::main()->async([&] { back->async([&] { signal(returned); }); });
        waitFor(returned);
    }
    bdx::RunLoop::stopEmbeddedMainThread();
}
BENCHMARK(BM_MainQueueHopAndBack)->UseRealTime();

void BM_PlainQueueHopAndBack(benchmark::State& state) {
    PlainQueue main;
    PlainQueue back;
    std::atomic<int> returned{0};
    for (auto _ : state) {
        main.async([&] { back.async([&] { signal(returned); }); });
        waitFor(returned);
    }
}
BENCHMARK(BM_PlainQueueHopAndBack)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
