#include "foundation/OperationQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "foundation/BlockOperation.h"
#include "testing/DispatchTesting.h"

namespace {

using bdx::BlockOperation;
using bdx::KeyValueChange;
using bdx::Operation;
using bdx::OperationQueue;

constexpr auto kHangGuard = std::chrono::seconds(20);

// Stays executing after main() returns, until someone calls finishNow() from any thread.
class AsyncOperation : public Operation {
  public:
    bool isAsynchronous() const override { return true; }
    void main() override { started.set_value(); }
    void finishNow() { completeOperation(); }
    std::promise<void> started;
};

// Records, in order and from any thread, what happens.
class Journal {
  public:
    void add(std::string entry) {
        std::lock_guard<std::mutex> lock(mutex_);
        entries_.push_back(std::move(entry));
    }
    std::vector<std::string> entries() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return entries_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> entries_;
};

std::shared_ptr<BlockOperation> recording(Journal& journal, std::string name) {
    auto operation = BlockOperation::blockOperationWithBlock([&journal, name] { journal.add(name); });
    operation->setName(name);
    return operation;
}

using OperationQueueTest = bdx::testing::DispatchTest;

TEST_F(OperationQueueTest, OneAtATimeAnAsynchronousOperationHoldsTheQueueUntilItReportsFinished) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(1);
    Journal journal;
    auto first = std::make_shared<AsyncOperation>();
    auto started = first->started.get_future();
    first->setCompletionBlock([&journal] { journal.add("first completion"); });
    queue->addOperation(first);
    queue->addOperation(recording(journal, "second"));
    queue->addOperationWithBlock([&journal] { journal.add("third"); });

    ASSERT_EQ(started.wait_for(kHangGuard), std::future_status::ready);
    // With every worker idle, whatever could have started has started.
    bdx::testing::waitUntilIdle();
    EXPECT_TRUE(first->isExecuting());
    EXPECT_FALSE(first->isFinished());
    EXPECT_EQ(queue->operationCount(), 3u);
    EXPECT_TRUE(journal.entries().empty()) << "a later operation ran while the first was still executing";

    std::thread([first] { first->finishNow(); }).join();
    queue->waitUntilAllOperationsAreFinished();
    bdx::testing::waitUntilIdle();  // the completion block runs on a worker
    auto entries = journal.entries();
    // The completion block runs on a worker of its own, in no fixed order with the later operations.
    auto completion = std::find(entries.begin(), entries.end(), "first completion");
    ASSERT_NE(completion, entries.end());
    entries.erase(completion);
    EXPECT_EQ(entries, (std::vector<std::string>{"second", "third"}));
    EXPECT_EQ(queue->operationCount(), 0u);
    EXPECT_TRUE(first->isFinished());
    EXPECT_FALSE(first->isExecuting());
}

TEST_F(OperationQueueTest, ADependencyHoldsABlockOperationUntilTheOperationItDependsOnFinished) {
    auto queue = std::make_shared<OperationQueue>();  // several at once
    auto otherQueue = std::make_shared<OperationQueue>();
    Journal journal;
    auto cacheRead = std::make_shared<AsyncOperation>();
    auto registered = recording(journal, "registered caches");
    registered->addDependency(cacheRead);
    EXPECT_FALSE(registered->isReady());
    queue->addOperation(registered);
    queue->addOperation(recording(journal, "independent"));
    otherQueue->addOperation(cacheRead);
    ASSERT_EQ(cacheRead->started.get_future().wait_for(kHangGuard), std::future_status::ready);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(journal.entries(), (std::vector<std::string>{"independent"}));
    EXPECT_FALSE(registered->isReady());

    cacheRead->finishNow();
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(journal.entries(), (std::vector<std::string>{"independent", "registered caches"}));
    EXPECT_TRUE(registered->isReady());
}

TEST_F(OperationQueueTest, SuspensionHoldsEverythingAndPriorityOrdersWhatIsReady) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(1);
    queue->setSuspended(true);
    Journal journal;
    auto low = recording(journal, "low");
    low->setQueuePriority(Operation::QueuePriorityLow);
    auto high = recording(journal, "high");
    high->setQueuePriority(Operation::QueuePriorityVeryHigh);
    queue->addOperation(recording(journal, "normal 1"));
    queue->addOperation(low);
    queue->addOperation(recording(journal, "normal 2"));
    queue->addOperation(high);
    bdx::testing::waitUntilIdle();
    EXPECT_TRUE(journal.entries().empty());
    EXPECT_EQ(queue->operationCount(), 4u);

    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(journal.entries(), (std::vector<std::string>{"high", "normal 1", "normal 2", "low"}));
}

TEST_F(OperationQueueTest, RunsUpToTheMaximumSideBySideAndNeverMore) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(2);
    std::atomic<int> running{0};
    std::atomic<int> mostAtOnce{0};
    std::atomic<int> rendezvousFailures{0};
    // Operations meet in pairs: with fewer than two at once, the first of a pair would wait in vain.
    std::mutex mutex;
    std::condition_variable met;
    int arrived = 0;
    int generation = 0;
    auto meet = [&] {
        std::unique_lock<std::mutex> lock(mutex);
        int mine = generation;
        if (++arrived == 2) {
            arrived = 0;
            ++generation;
            met.notify_all();
            return true;
        }
        return met.wait_for(lock, kHangGuard, [&] { return generation != mine; });
    };
    for (int i = 0; i < 6; ++i) {
        queue->addOperationWithBlock([&] {
            int now = ++running;
            int seen = mostAtOnce.load();
            while (now > seen && !mostAtOnce.compare_exchange_weak(seen, now)) {
            }
            if (!meet()) {
                ++rendezvousFailures;
            }
            --running;
        });
    }
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(mostAtOnce.load(), 2);
    EXPECT_EQ(rendezvousFailures.load(), 0);
}

TEST_F(OperationQueueTest, CancelledOperationsFinishWithoutRunning) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setSuspended(true);
    Journal journal;
    auto blocker = std::make_shared<AsyncOperation>();
    auto waiting = recording(journal, "waiting");
    waiting->addDependency(blocker);
    queue->addOperation(recording(journal, "pending"));
    queue->addOperation(waiting);
    queue->cancelAllOperations();
    EXPECT_TRUE(waiting->isCancelled());
    EXPECT_TRUE(waiting->isReady()) << "cancelling lifts the wait for dependencies";
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_TRUE(journal.entries().empty());
    EXPECT_TRUE(waiting->isFinished());
    EXPECT_FALSE(blocker->isFinished());
}

TEST_F(OperationQueueTest, AnOperationIsAddedOnceAndStartedOnce) {
    auto queue = std::make_shared<OperationQueue>();
    auto other = std::make_shared<OperationQueue>();
    queue->setSuspended(true);
    int runs = 0;
    auto operation = BlockOperation::blockOperationWithBlock([&runs] { ++runs; });
    ::testing::internal::CaptureStderr();
    queue->addOperation(operation);
    other->addOperation(operation);
    OperationQueue unowned;
    unowned.addOperationWithBlock([&runs] { runs += 100; });
    std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(other->operationCount(), 0u);
    EXPECT_EQ(unowned.operationCount(), 0u);
    EXPECT_NE(log.find("already in a queue"), std::string::npos) << log;
    EXPECT_NE(log.find("not owned by a std::shared_ptr"), std::string::npos) << log;
    queue->setSuspended(false);
    queue->waitUntilAllOperationsAreFinished();
    operation->start();
    EXPECT_EQ(runs, 1);
}

TEST_F(OperationQueueTest, AnExceptionInAnOperationIsLoggedAndTheOperationStillFinishes) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(1);
    ::testing::internal::CaptureStderr();
    auto operation =
        BlockOperation::blockOperationWithBlock([] { throw std::runtime_error("bad migration"); });
    bool laterRan = false;
    operation->addExecutionBlock([&laterRan] { laterRan = true; });
    queue->addOperation(operation);
    queue->waitUntilAllOperationsAreFinished();
    std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_TRUE(operation->isFinished());
    EXPECT_TRUE(laterRan);
    EXPECT_NE(log.find("bad migration"), std::string::npos) << log;
}

// A dependency that, the first time it is asked whether it finished once armed, answers with what it
// read and lets `meanwhile` happen on another thread before the answer reaches the asker: the asker's
// decision is then already stale when it is stored.
class InterruptedDependency : public AsyncOperation {
  public:
    bool isFinished() const override {
        bool finished = AsyncOperation::isFinished();
        if (auto action = meanwhile.exchange(nullptr)) {
            std::thread(*action).join();
        }
        return finished;
    }
    mutable std::atomic<std::function<void()>*> meanwhile{nullptr};
};

TEST_F(OperationQueueTest, ReadinessDecidedOnAStaleReadingIsDecidedAgain) {
    struct Operations {
        std::shared_ptr<BlockOperation> waiting = BlockOperation::blockOperationWithBlock([] {});
        std::shared_ptr<InterruptedDependency> interrupted = std::make_shared<InterruptedDependency>();
        std::shared_ptr<AsyncOperation> plain = std::make_shared<AsyncOperation>();
    };
    const struct {
        const char* race;
        std::function<void(Operations&)> setUp;
        std::function<void(Operations&)> trigger;
        std::function<void(Operations&)> meanwhile;
    } races[] = {
        {"two dependencies finish at once",
         [](Operations& o) {
             o.waiting->addDependency(o.interrupted);
             o.waiting->addDependency(o.plain);
         },
         [](Operations& o) { o.plain->finishNow(); }, [](Operations& o) { o.interrupted->finishNow(); }},
        {"a dependency finishes while it is being added", [](Operations&) {},
         [](Operations& o) { o.waiting->addDependency(o.interrupted); },
         [](Operations& o) { o.interrupted->finishNow(); }},
        {"the operation is cancelled while a dependency finishes",
         [](Operations& o) {
             o.waiting->addDependency(o.plain);
             o.waiting->addDependency(o.interrupted);
         },
         [](Operations& o) { o.plain->finishNow(); }, [](Operations& o) { o.waiting->cancel(); }},
    };
    for (const auto& race : races) {
        SCOPED_TRACE(race.race);
        Operations o;
        o.interrupted->start();
        o.plain->start();
        race.setUp(o);
        std::mutex mutex;
        std::vector<bool> announced;
        o.waiting->addObserver("isReady", [&](const KeyValueChange& change) {
            std::lock_guard<std::mutex> lock(mutex);
            announced.push_back(std::any_cast<bool>(change.newValue));
        });
        std::function<void()> meanwhile = [&] { race.meanwhile(o); };
        o.interrupted->meanwhile = &meanwhile;
        race.trigger(o);
        EXPECT_EQ(o.interrupted->meanwhile.load(), nullptr) << "the race was not staged";
        EXPECT_TRUE(o.waiting->isReady());
        std::lock_guard<std::mutex> lock(mutex);
        // Staying ready throughout announces nothing; otherwise the last word is "ready".
        EXPECT_TRUE(announced.empty() || announced.back()) << "the last announcement contradicts the state";
    }
}

// Its first start is refused: the queue's look at isReady() and start()'s own disagree.
class RefusedOnceOperation : public Operation {
  public:
    void start() override {
        insideStart_ = true;
        Operation::start();
        insideStart_ = false;
    }
    bool isReady() const override {
        if (insideStart_ && !refused_.exchange(true)) {
            return false;
        }
        return Operation::isReady();
    }
    void main() override { ran.set_value(); }
    std::promise<void> ran;

  private:
    static thread_local bool insideStart_;
    mutable std::atomic<bool> refused_{false};
};
thread_local bool RefusedOnceOperation::insideStart_ = false;

TEST_F(OperationQueueTest, ARefusedStartGivesItsPlaceBack) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(1);
    ::testing::internal::CaptureStderr();
    auto refused = std::make_shared<RefusedOnceOperation>();
    auto ran = refused->ran.get_future();
    Journal journal;
    queue->addOperation(refused);
    queue->addOperation(recording(journal, "next"));
    bool arrived = ran.wait_for(kHangGuard) == std::future_status::ready;
    std::string log = ::testing::internal::GetCapturedStderr();
    ASSERT_TRUE(arrived) << "a queue of one stalled after a refused start";
    EXPECT_NE(log.find("before it was ready"), std::string::npos) << log;
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(journal.entries(), (std::vector<std::string>{"next"}));
}

using OperationObservationTest = bdx::testing::DispatchTest;

TEST_F(OperationObservationTest, ObserversSeeReadyExecutingFinishedAndTheCountChange) {
    auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(1);
    Journal journal;
    std::vector<std::size_t> counts;
    std::mutex countsMutex;
    queue->addObserver("operationCount", [&](const KeyValueChange& change) {
        std::lock_guard<std::mutex> lock(countsMutex);
        counts.push_back(std::any_cast<std::size_t>(change.newValue));
    });
    auto before = std::make_shared<AsyncOperation>();
    auto watched = BlockOperation::blockOperationWithBlock([] {});
    watched->addDependency(before);
    for (const char* key : {"isReady", "isExecuting", "isFinished"}) {
        watched->addObserver(key, [&journal](const KeyValueChange& change) {
            journal.add(change.key + " " + (std::any_cast<bool>(change.oldValue) ? "yes" : "no") + "->" +
                        (std::any_cast<bool>(change.newValue) ? "yes" : "no"));
        });
    }
    queue->addOperation(before);
    queue->addOperation(watched);
    ASSERT_EQ(before->started.get_future().wait_for(kHangGuard), std::future_status::ready);
    before->finishNow();
    queue->waitUntilAllOperationsAreFinished();
    EXPECT_EQ(journal.entries(), (std::vector<std::string>{"isReady no->yes", "isExecuting no->yes",
                                                           "isExecuting yes->no", "isFinished no->yes"}));
    std::lock_guard<std::mutex> lock(countsMutex);
    EXPECT_EQ(counts, (std::vector<std::size_t>{1, 2, 1, 0}));
}

}  // namespace
