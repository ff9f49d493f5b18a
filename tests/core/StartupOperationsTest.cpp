#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/BDXIntializationManager.h"
#include "core/BDXOperation.h"
#include "core/BDXOperationQueue.h"
#include "foundation/BlockOperation.h"
#include "tests/core/CoreTestSupport.h"

namespace {

using StartupOperations = bdx::testing::CoreTest;

// What ran, in order, from any thread.
class Journal {
  public:
    void add(const std::string& entry) {
        std::lock_guard<std::mutex> guard(mutex_);
        entries_.push_back(entry);
        changed_.notify_all();
    }
    std::vector<std::string> entries() const {
        std::lock_guard<std::mutex> guard(mutex_);
        return entries_;
    }
    // Waits, without a time limit of its own, until `count` entries are in.
    void waitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return entries_.size() >= count; });
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> entries_;
};

}  // namespace

TEST_F(StartupOperations, OperationLivesUntilFinishIsCalled) {
    int blockRuns = 0;
    int completions = 0;
    auto operation = BDXOperation::initWithBlock([&] { ++blockRuns; });
    operation->setCompeltionBlock([&] {
        EXPECT_TRUE(operation->isFinished()) << "the completion comes after the operation finished";
        ++completions;
    });
    std::vector<std::string> changes;
    for (const char* key : {"isReady", "isExecuting", "isFinished"}) {
        operation->addObserver(key, [&changes, observed = operation.get(), key](const bdx::KeyValueChange&) {
            const std::string name = key;
            const bool value = name == "isReady"       ? observed->isReady()
                               : name == "isExecuting" ? observed->isExecuting()
                                                       : observed->isFinished();
            changes.push_back(name + (value ? "=1" : "=0"));
        });
    }
    operation->finish();  // before start: nothing
    EXPECT_TRUE(operation->isReady());
    EXPECT_FALSE(operation->isFinished());
    EXPECT_EQ(completions, 0);

    operation->start();
    EXPECT_EQ(blockRuns, 1);
    EXPECT_TRUE(operation->isExecuting());
    EXPECT_FALSE(operation->isFinished()) << "returning from the block does not end the operation";
    operation->start();
    EXPECT_EQ(blockRuns, 1) << "a second start while executing does nothing";

    operation->finish();
    operation->finish();
    EXPECT_FALSE(operation->isExecuting());
    EXPECT_TRUE(operation->isFinished());
    EXPECT_EQ(completions, 1);
    // Only real changes are announced: finished was already false at start.
    EXPECT_EQ(changes,
              (std::vector<std::string>{"isReady=0", "isExecuting=1", "isExecuting=0", "isFinished=1"}));
}

TEST_F(StartupOperations, ManagerRunsOneOperationAtATimeUntilEachFinishesFromAnotherThread) {
    Journal journal;
    auto first = BDXOperation::initWithBlock([&] { journal.add("first started"); });
    std::shared_ptr<BDXOperation> second;
    second = BDXOperation::initWithBlock([&] {
        journal.add("second started");
        second->finish();
    });
    auto manager = BDXIntializationManager::getInstance();
    EXPECT_EQ(manager->queue()->maxConcurrentOperationCount(), 1);
    manager->addOperations({first, second});
    manager->addOperationBlock([&] { journal.add("block"); });

    journal.waitFor(1);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(journal.entries(), std::vector<std::string>{"first started"}) << "the first holds the queue";

    // The first operation's work ends on a thread of its own, which finishes it.
    std::thread worker([&] {
        journal.add("first's work");
        first->finish();
    });
    worker.join();
    journal.waitFor(4);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(journal.entries(),
              (std::vector<std::string>{"first started", "first's work", "second started", "block"}));
    EXPECT_EQ(manager->queue()->operationCount(), 0u);
}

TEST_F(StartupOperations, OperationThatNeverFinishesHoldsEveryLaterOne) {
    Journal journal;
    auto stuck = BDXOperation::initWithBlock([&] { journal.add("stuck started"); });
    auto manager = BDXIntializationManager::getInstance();
    manager->addOperation(stuck);
    manager->addOperationBlock([&] { journal.add("later"); });
    auto dependent = bdx::BlockOperation::blockOperationWithBlock([&] { journal.add("dependent"); });
    dependent->addDependency(stuck);
    manager->addOperation(dependent);

    journal.waitFor(1);
    // Nothing is left running or queued anywhere, and the later operations have not run.
    bdx::testing::waitUntilIdle();
    clock->advance(24 * 3600);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(journal.entries(), std::vector<std::string>{"stuck started"});
    EXPECT_EQ(manager->queue()->operationCount(), 3u);

    stuck->finish();
    journal.waitFor(3);
    EXPECT_EQ(journal.entries(), (std::vector<std::string>{"stuck started", "later", "dependent"}));
}

TEST_F(StartupOperations, OperationQueueRunsBlocksAtOnceUnlessSuspended) {
    auto queue = std::make_shared<BDXOperationQueue>();
    queue->setMaxConcurrentOperationCount(1);
    Journal journal;
    auto held = BDXOperation::initWithBlock([&] { journal.add("held"); });
    queue->addOperation(held);
    journal.waitFor(1);

    const auto caller = std::this_thread::get_id();
    queue->addOperationWithBlock([&] {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        journal.add("at once");
    });
    EXPECT_EQ(journal.entries(), (std::vector<std::string>{"held", "at once"}));

    queue->setSuspended(true);
    queue->addOperationWithBlock([&] { journal.add("deferred"); });
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(journal.entries().size(), 2u);
    held->finish();
    queue->setSuspended(false);
    journal.waitFor(3);
    EXPECT_EQ(journal.entries().back(), "deferred");
}
