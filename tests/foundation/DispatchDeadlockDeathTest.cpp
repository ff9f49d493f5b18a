#include <gtest/gtest.h>

#include "foundation/DispatchQueue.h"
#include "foundation/Once.h"
#include "foundation/RunLoop.h"
#include "testing/DispatchTesting.h"

// A sync that would wait for itself must stop the process with a message naming the queue, rather
// than hang it silently.
namespace {

using bdx::DispatchQueue;

class DispatchDeadlockDeathTest : public bdx::testing::DispatchTest {
  protected:
    void SetUp() override {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        DispatchTest::SetUp();
    }
};

TEST_F(DispatchDeadlockDeathTest, SyncOntoTheSerialQueueOneRunsOn) {
    EXPECT_DEATH(
        {
            auto queue = DispatchQueue::create("com.bdx.test.self");
            queue->sync([&] { queue->sync([] {}); });
        },
        "Deadlock: sync onto queue \"com.bdx.test.self\"");
}

TEST_F(DispatchDeadlockDeathTest, SyncBackOntoAQueueThroughAChainOfSyncs) {
    EXPECT_DEATH(
        {
            auto outer = DispatchQueue::create("com.bdx.test.outer");
            auto inner = DispatchQueue::create("com.bdx.test.inner");
            // From a worker, so that the chain does not start on the main thread.
            outer->async([&] { inner->sync([&] { outer->sync([] {}); }); });
            bdx::testing::waitUntilIdle();
        },
        "sync onto queue \"com.bdx.test.outer\"");
}

TEST_F(DispatchDeadlockDeathTest, SyncOntoTheMainQueueFromTheMainThread) {
    EXPECT_DEATH(DispatchQueue::main()->sync([] {}), "sync onto queue \"com.apple.main-thread\"");
}

TEST_F(DispatchDeadlockDeathTest, SyncBackFromAMainQueueBlockRunForAWorker) {
    // The worker holds its queue while the main thread runs its block; a sync back onto that queue
    // from the main thread would wait for the worker, which waits for the main thread.
    EXPECT_DEATH(
        {
            auto queue = DispatchQueue::create("com.bdx.test.worker");
            queue->async([&] { DispatchQueue::main()->sync([&] { queue->sync([] {}); }); });
            bdx::testing::waitUntilIdle();
        },
        "sync onto queue \"com.bdx.test.worker\"");
}

TEST_F(DispatchDeadlockDeathTest, BarrierSyncOntoAConcurrentQueueFromOneOfItsBlocks) {
    EXPECT_DEATH(
        {
            auto queue = DispatchQueue::create("com.bdx.test.rw", DispatchQueue::Attribute::Concurrent);
            queue->sync([&] { queue->barrierSync([] {}); });
        },
        "barrierSync onto queue \"com.bdx.test.rw\"");
}

TEST_F(DispatchDeadlockDeathTest, OneTimeInitialisationThatCallsItself) {
    EXPECT_DEATH(
        {
            bdx::Once once;
            once.call([&] { once.call([] {}); });
        },
        "one-time initialisation called itself");
}

}  // namespace
