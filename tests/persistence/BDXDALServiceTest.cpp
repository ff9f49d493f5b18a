#include "persistence/BDXDALService.h"

#include <gtest/gtest.h>

#include <future>
#include <limits>
#include <set>
#include <string>

#include "tests/persistence/StoreManagerTestSupport.h"

namespace {

using bdx::Error;
using bdx::store::ManagedObjectContext;
using Messages = std::multiset<std::string>;

class DALService : public bdx::testing::StoreManagerTest {
  protected:
    void SetUp() override {
        StoreManagerTest::SetUp();
        openStore();
        service = logService();
    }

    void TearDown() override {
        openLane();
        StoreManagerTest::TearDown();
    }

    // Holds the service's lane (its write context's queue) until openLane.
    void holdLane() {
        service->contextProvider()->writeContext()->performBlock(
            [held = laneOpen.get_future().share()] { held.wait(); });
    }
    void openLane() {
        if (!laneOpened) {
            laneOpened = true;
            laneOpen.set_value();
        }
    }

    static Messages messagesIn(const std::shared_ptr<ManagedObjectContext>& context) {
        Messages messages;
        for (const auto& log : context->executeFetchRequest(BDXLog::fetchRequest()))
            messages.insert(std::dynamic_pointer_cast<BDXLog>(log)->message().value_or(""));
        return messages;
    }

    std::shared_ptr<BDXDALService> service;
    std::promise<void> laneOpen;
    bool laneOpened = false;
};

TEST_F(DALService, ReadSyncSeesAPendingWriteThatReachesTheFileOnce) {
    holdLane();
    int runs = 0;
    std::vector<Error> completions;
    service->writeASync(
        [&runs](const auto& context) {
            ++runs;
            insertLog(*context, "pending");
        },
        [&](const Error& error) { completions.push_back(error); });
    Messages seen;
    service->readSync([&](const auto& context) { seen = messagesIn(context); });
    EXPECT_EQ(Messages{"pending"}, seen);
    EXPECT_EQ(1u, service->pendingWriteCount());
    EXPECT_TRUE(messagesInFile().empty());

    openLane();
    ASSERT_TRUE(runMainQueueUntil([&] { return completions.size() == 1; }));
    EXPECT_TRUE(completions[0].isEmpty()) << completions[0].description();
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(Messages{"pending"}, messagesInFile());
    EXPECT_EQ(0u, service->pendingWriteCount());
    service->readSync([&](const auto& context) { seen = messagesIn(context); });
    EXPECT_EQ(Messages{"pending"}, seen) << "a finished write is not replayed";
    EXPECT_EQ(2, runs) << "once replayed for the reader, once in the lane";
}

TEST_F(DALService, TwoWritesOfTheSameDateShareOneEntryAndBothRun) {
    bdx::testing::installVirtualClock();  // time stands still, so both writes take the same date
    holdLane();
    int completed = 0;
    service->writeASync([](const auto& context) { insertLog(*context, "first"); },
                        [&](const Error&) { ++completed; });
    service->writeASync([](const auto& context) { insertLog(*context, "second"); },
                        [&](const Error&) { ++completed; });
    EXPECT_EQ(1u, service->pendingWriteCount());
    Messages seen;
    service->readSync([&](const auto& context) { seen = messagesIn(context); });
    EXPECT_EQ(Messages{"second"}, seen) << "the later block replaced the earlier in the map";

    openLane();
    ASSERT_TRUE(runMainQueueUntil([&] { return completed == 2; }));
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(0u, service->pendingWriteCount());
    EXPECT_EQ((Messages{"first", "second"}), messagesInFile());
}

TEST_F(DALService, LaneReadsFollowQueuedWritesAndThrowawayWorkSavesNothing) {
    auto lane = service->contextProvider()->writeContext();
    EXPECT_EQ(lane, std::make_shared<BDXLogLoggerContextProvider>()->writeContext())
        << "one lane per provider class";
    holdLane();
    service->writeASync([](const auto& context) { insertLog(*context, "queued"); }, nullptr);
    std::promise<Messages> read;
    service->readASync(
        [&](const auto& context) { read.set_value(context == lane ? messagesIn(context) : Messages{}); },
        nullptr);
    openLane();
    EXPECT_EQ(Messages{"queued"}, read.get_future().get());

    service->performBlockSyncWithoutSave([](const auto& context) { insertLog(*context, "throwaway"); });
    service->writeSync([](const auto& context) { insertLog(*context, "sync"); });
    auto privateContext = manager()->privateContext();
    Messages inPrivate;
    privateContext->performBlockAndWait([&] { inPrivate = messagesIn(privateContext); });
    EXPECT_EQ((Messages{"queued", "sync"}), inPrivate)
        << "writeSync returns with its write in the private context";
    bdx::testing::waitUntilIdle();
    EXPECT_EQ((Messages{"queued", "sync"}), messagesInFile());
}

}  // namespace
