#include "foundation/OperationQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <atomic>
#include <condition_variable>
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
