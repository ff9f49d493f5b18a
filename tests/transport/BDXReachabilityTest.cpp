#include "transport/BDXReachability.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>
#include <vector>

#include "foundation/NotificationCenter.h"
#include "foundation/RunLoop.h"
#include "testing/DispatchTesting.h"
#include "testing/ScriptedReachabilityService.h"

namespace {

using bdx::testing::ScriptedReachabilityService;
namespace Flag = bdx::net::ReachabilityFlag;

TEST(BDXReachabilityStatus, FlagWordsComeDownToThreeStatuses) {
    EXPECT_EQ(BDXReachability::networkStatusForFlags(2), BDXReachableViaWiFi);
    EXPECT_EQ(BDXReachability::networkStatusForFlags(2 + 4), BDXNotReachable);
    EXPECT_EQ(BDXReachability::networkStatusForFlags(2 + 4 + 8), BDXReachableViaWiFi);
    EXPECT_EQ(BDXReachability::networkStatusForFlags(2 + 4 + 8 + 16), BDXNotReachable);
    EXPECT_EQ(BDXReachability::networkStatusForFlags(2 + 262144), BDXReachableViaWWAN);
    EXPECT_EQ(BDXReachability::networkStatusForFlags(0), BDXNotReachable);
    // Without the reachable bit nothing else counts, not even cellular.
    EXPECT_EQ(BDXReachability::networkStatusForFlags(262144 + 131072), BDXNotReachable);
    // On demand alone, with a connection required, still gets through.
    EXPECT_EQ(BDXReachability::networkStatusForFlags(2 + 4 + 32), BDXReachableViaWiFi);
    EXPECT_EQ(BDXReachability::networkStatusForFlags(2 + 4 + 262144), BDXReachableViaWWAN);
}

TEST(BDXReachabilityStatus, LocalWiFiNeedsReachableAndDirectTogether) {
    EXPECT_EQ(BDXReachability::localWiFiStatusForFlags(131074), BDXReachableViaWiFi);
    EXPECT_EQ(BDXReachability::localWiFiStatusForFlags(131074 + 262144), BDXReachableViaWiFi);
    EXPECT_EQ(BDXReachability::localWiFiStatusForFlags(2), BDXNotReachable);
    EXPECT_EQ(BDXReachability::localWiFiStatusForFlags(131072), BDXNotReachable);
}

class BDXReachabilityScripted : public bdx::testing::DispatchTest {
  protected:
    void SetUp() override {
        DispatchTest::SetUp();
        service = ScriptedReachabilityService::install();
    }
    void TearDown() override {
        ScriptedReachabilityService::uninstall();
        DispatchTest::TearDown();
    }

    std::shared_ptr<ScriptedReachabilityService> service;
};

TEST_F(BDXReachabilityScripted, MadeForANameOrNothing) {
    auto reachability = BDXReachability::reachabilityWithHostName("collector.test");
    ASSERT_NE(reachability, nullptr);
    EXPECT_FALSE(reachability->alwaysReturnLocalWiFiStatus());
    EXPECT_EQ(service->requestedNames(), std::vector<std::string>{"collector.test"});

    service->setRefusesTargets(true);
    EXPECT_EQ(BDXReachability::reachabilityWithHostName("collector.test"), nullptr);
    EXPECT_EQ(BDXReachability::reachabilityForInternetConnection(), nullptr);
}

TEST_F(BDXReachabilityScripted, InternetConnectionAndLocalWiFiAddresses) {
    auto internet = BDXReachability::reachabilityForInternetConnection();
    auto wifi = BDXReachability::reachabilityForLocalWiFi();
    ASSERT_NE(internet, nullptr);
    ASSERT_NE(wifi, nullptr);
    EXPECT_EQ(service->requestedNames(), (std::vector<std::string>{"0.0.0.0", "169.254.0.0"}));
    EXPECT_FALSE(internet->alwaysReturnLocalWiFiStatus());
    EXPECT_TRUE(wifi->alwaysReturnLocalWiFiStatus());

    // Reachable through a gateway: the internet is there, the local Wi-Fi is not.
    service->setDefaultFlags(Flag::reachable);
    EXPECT_EQ(internet->currentReachabilityStatus(), BDXReachableViaWiFi);
    EXPECT_EQ(wifi->currentReachabilityStatus(), BDXNotReachable);
    service->setDefaultFlags(Flag::reachable | Flag::isDirect | Flag::isWWAN);
    EXPECT_EQ(internet->currentReachabilityStatus(), BDXReachableViaWWAN);
    EXPECT_EQ(wifi->currentReachabilityStatus(), BDXReachableViaWiFi);
}

TEST_F(BDXReachabilityScripted, UnreadableFlagsAreNotReachableAndNeedNoConnection) {
    auto reachability = BDXReachability::reachabilityWithHostName("collector.test");
    service->setFlags("collector.test", Flag::reachable | Flag::connectionRequired);
    EXPECT_TRUE(reachability->connectionRequired());
    EXPECT_EQ(reachability->currentReachabilityStatus(), BDXNotReachable);
    service->setFlags("collector.test", Flag::reachable);
    EXPECT_FALSE(reachability->connectionRequired());
    EXPECT_EQ(reachability->currentReachabilityStatus(), BDXReachableViaWiFi);

    service->setFlagsReadable(false);
    EXPECT_EQ(reachability->currentReachabilityStatus(), BDXNotReachable);
    service->setFlags("collector.test", Flag::reachable | Flag::connectionRequired);
    EXPECT_FALSE(reachability->connectionRequired());
}

// Collects the reachability notifications and the thread they came on.
struct NotificationLog {
    std::vector<std::shared_ptr<BDXReachability>> objects;
    std::vector<bool> onMainThread;
    bdx::NotificationCenter::Token token;

    NotificationLog() {
        token = bdx::NotificationCenter::defaultCenter()->addObserver(
            kBDXReachabilityChangedNotification, nullptr, [this](const bdx::Notification& notification) {
                objects.push_back(notification.object.as<BDXReachability>());
                onMainThread.push_back(bdx::isMainThread());
            });
    }
    ~NotificationLog() { bdx::NotificationCenter::defaultCenter()->removeObserver(token); }
};

TEST_F(BDXReachabilityScripted, NotifierPostsEachChangeOnceOnTheRunLoopItStartedFrom) {
    auto reachability = BDXReachability::reachabilityWithHostName("collector.test");
    NotificationLog log;
    ASSERT_TRUE(reachability->startNotifier());
    EXPECT_EQ(service->scheduledCount(), 1u);

    service->setFlags("collector.test", Flag::reachable);
    EXPECT_TRUE(log.objects.empty()) << "delivered before the run loop ran";
    bdx::testing::runMainQueueUntilIdle();
    ASSERT_EQ(log.objects.size(), 1u);
    EXPECT_EQ(log.objects[0], reachability);
    EXPECT_TRUE(log.onMainThread[0]);
    EXPECT_EQ(reachability->currentReachabilityStatus(), BDXReachableViaWiFi);

    // The same flags again are no change.
    service->setFlags("collector.test", Flag::reachable);
    bdx::testing::runMainQueueUntilIdle();
    EXPECT_EQ(log.objects.size(), 1u);

    reachability->stopNotifier();
    EXPECT_EQ(service->scheduledCount(), 0u);
    service->setFlags("collector.test", 0);
    bdx::testing::runMainQueueUntilIdle();
    EXPECT_EQ(log.objects.size(), 1u);
    EXPECT_EQ(reachability->currentReachabilityStatus(), BDXNotReachable);
}

TEST_F(BDXReachabilityScripted, AChangeAlreadyOnItsWayIsDroppedWhenTheObjectGoes) {
    NotificationLog log;
    {
        auto reachability = BDXReachability::reachabilityWithHostName("collector.test");
        ASSERT_TRUE(reachability->startNotifier());
        service->setFlags("collector.test", Flag::reachable);
    }
    EXPECT_EQ(service->scheduledCount(), 0u) << "teardown stops the notifier";
    bdx::testing::runMainQueueUntilIdle();
    EXPECT_TRUE(log.objects.empty());
}

TEST_F(BDXReachabilityScripted, NotifierThatCannotBeScheduledSaysSo) {
    auto reachability = BDXReachability::reachabilityWithHostName("collector.test");
    service->setRefusesScheduling(true);
    EXPECT_FALSE(reachability->startNotifier());
}

TEST(BDXReachabilityOnThisMachine, LoopbackIsReachableAndAnUnresolvableNameIsNot) {
    auto loopback = BDXReachability::reachabilityWithHostName("localhost");
    ASSERT_NE(loopback, nullptr);
    EXPECT_EQ(loopback->currentReachabilityStatus(), BDXReachableViaWiFi);
    EXPECT_FALSE(loopback->connectionRequired());

    auto nowhere = BDXReachability::reachabilityWithHostName("no-such-host.invalid");
    ASSERT_NE(nowhere, nullptr);
    EXPECT_EQ(nowhere->currentReachabilityStatus(), BDXNotReachable);
}

}  // namespace
