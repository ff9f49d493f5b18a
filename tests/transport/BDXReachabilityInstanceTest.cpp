#include "transport/BDXReachabilityInstance.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "core/BDXDefaults.h"
#include "core/BDXIntializationManager.h"
#include "core/BDXOperation.h"
#include "core/BDXServiceURL.h"
#include "foundation/NotificationCenter.h"
#include "foundation/RunLoop.h"
#include "testing/DispatchTesting.h"
#include "testing/ScriptedReachabilityService.h"
#include "transport/BDXReachability.h"

namespace {

using bdx::testing::ScriptedReachabilityService;
namespace Flag = bdx::net::ReachabilityFlag;

// The reachability singleton over a fresh settings store, with the service address the test names
// and no address from the environment.
class ReachabilityInstanceTest : public bdx::testing::DispatchTest {
  protected:
    void SetUp() override {
        DispatchTest::SetUp();
        if (const char* outer = std::getenv(BDXServiceURL::kEnvironmentVariable)) {
            savedEnvironment_ = outer;
            ::unsetenv(BDXServiceURL::kEnvironmentVariable);
        }
    }
    void TearDown() override {
        if (savedEnvironment_) {
            ::setenv(BDXServiceURL::kEnvironmentVariable, savedEnvironment_->c_str(), 1);
        }
        DispatchTest::TearDown();
    }

    static void useService(const std::string& baseURL) {
        BDXDefaults::destroy();
        BDXDefaults::getInstance()->setBaseURL(baseURL);
    }

    // Runs the start-up operation as the public layer does, and what it hands to the main queue.
    static std::shared_ptr<BDXOperation> runStartUpOperation() {
        auto operation = BDXReachabilityInstance::getInstance()->initializationOperation();
        BDXIntializationManager::getInstance()->addOperation(operation);
        bdx::testing::waitUntilIdle();
        return operation;
    }

  private:
    std::optional<std::string> savedEnvironment_;
};

TEST_F(ReachabilityInstanceTest, OnThisMachineTheLoopbackServiceIsReachableOnlyAfterStartUp) {
    useService("http://127.0.0.1:8080");
    EXPECT_FALSE(BDXReachabilityInstance::isReachable());
    EXPECT_EQ(BDXReachabilityInstance::getInstance()->reachability(), nullptr);

    auto operation = runStartUpOperation();
    EXPECT_TRUE(operation->isFinished());
    ASSERT_NE(BDXReachabilityInstance::getInstance()->reachability(), nullptr);
    EXPECT_TRUE(BDXReachabilityInstance::isReachable());
    EXPECT_EQ(BDXReachabilityInstance::getInstance()->initializationOperation(), operation) << "made once";
}

TEST_F(ReachabilityInstanceTest, OnThisMachineANameThatCannotResolveIsNotReachable) {
    useService("https://no-such-host.invalid/api/sdk/v3");
    runStartUpOperation();
    ASSERT_NE(BDXReachabilityInstance::getInstance()->reachability(), nullptr);
    EXPECT_FALSE(BDXReachabilityInstance::isReachable());
}

// Counts the reachability notifications and whether each came on the main thread.
struct ChangeLog {
    int count = 0;
    bool allOnMainThread = true;
    std::shared_ptr<BDXReachability> lastObject;
    bdx::NotificationCenter::Token token = bdx::NotificationCenter::defaultCenter()->addObserver(
        kBDXReachabilityChangedNotification, nullptr, [this](const bdx::Notification& notification) {
            ++count;
            allOnMainThread = allOnMainThread && bdx::isMainThread();
            lastObject = notification.object.as<BDXReachability>();
        });
    ~ChangeLog() { bdx::NotificationCenter::defaultCenter()->removeObserver(token); }
};

TEST_F(ReachabilityInstanceTest, AScriptedChangePostsOnceOnTheMainQueueAndIsReachableFollows) {
    auto service = ScriptedReachabilityService::install();
    service->setFlags("collector.test", Flag::reachable | Flag::isDirect);
    useService("https://collector.test:8443");
    ChangeLog changes;

    EXPECT_FALSE(BDXReachabilityInstance::isReachable()) << "no object before the start-up operation";
    runStartUpOperation();
    EXPECT_EQ(service->requestedNames(), std::vector<std::string>{"collector.test"});
    EXPECT_EQ(service->scheduledCount(), 1u) << "the notifier started on the main queue";
    EXPECT_TRUE(BDXReachabilityInstance::isReachable());
    EXPECT_EQ(changes.count, 0);

    service->setFlags("collector.test", 0);
    bdx::testing::runMainQueueUntilIdle();
    EXPECT_EQ(changes.count, 1);
    EXPECT_TRUE(changes.allOnMainThread);
    EXPECT_EQ(changes.lastObject, BDXReachabilityInstance::getInstance()->reachability());
    EXPECT_FALSE(BDXReachabilityInstance::isReachable());

    service->setFlags("collector.test", Flag::reachable | Flag::isWWAN);
    bdx::testing::runMainQueueUntilIdle();
    EXPECT_EQ(changes.count, 2);
    EXPECT_TRUE(BDXReachabilityInstance::isReachable());
}

TEST_F(ReachabilityInstanceTest, DestroyStopsWatchingAndTheNextInstanceStartsOver) {
    auto service = ScriptedReachabilityService::install();
    service->setDefaultFlags(Flag::reachable);
    useService("https://collector.test");
    runStartUpOperation();
    ASSERT_TRUE(BDXReachabilityInstance::isReachable());
    ASSERT_EQ(service->scheduledCount(), 1u);

    BDXReachabilityInstance::destroy();
    EXPECT_EQ(service->scheduledCount(), 0u);
    EXPECT_FALSE(BDXReachabilityInstance::isReachable()) << "a fresh instance whose operation has not run";
    EXPECT_FALSE(BDXReachabilityInstance::getInstance()->initializationOperation()->isFinished());
}

TEST_F(ReachabilityInstanceTest, AnOperationOfADestroyedInstanceStillFinishes) {
    auto service = ScriptedReachabilityService::install();
    useService("https://collector.test");
    auto operation = BDXReachabilityInstance::getInstance()->initializationOperation();
    BDXReachabilityInstance::destroy();
    BDXIntializationManager::getInstance()->addOperation(operation);
    bdx::testing::waitUntilIdle();
    EXPECT_TRUE(operation->isFinished()) << "a start-up operation that never finished would hold the queue";
    EXPECT_TRUE(service->requestedNames().empty());
}

}  // namespace
