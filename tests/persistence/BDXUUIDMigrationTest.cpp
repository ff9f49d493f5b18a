#include "persistence/BDXUUIDMigration.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdlib>

#include "core/BDXDefaults.h"
#include "core/BDXIntializationManager.h"
#include "core/BDXOperation.h"
#include "core/BDXServiceURL.h"
#include "foundation/SingletonReset.h"
#include "foundation/UserDefaults.h"
#include "persistence/BDXCache.h"
#include "persistence/BDXCacheManager.h"
#include "testing/Collector.h"
#include "testing/DispatchTesting.h"
#include "testing/SandboxTest.h"
#include "transport/BDXReachabilityInstance.h"
#include "transport/BDXServerManager.h"

namespace {

constexpr const char* kMigratePath = "/api/sdk/v3/migrate_uuid";

// The library started as the public layer starts it, pointed at a collector on loopback, on the virtual
// clock.
class UUIDMigrationDelivery : public bdx::testing::SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        ::unsetenv(BDXServiceURL::kEnvironmentVariable);
        bdx::UserDefaults::standardUserDefaults()->setString("app-token", "BDXAppToken");
        launch();
    }

    void launch() {
        clock_ = bdx::testing::installVirtualClock();
        BDXDefaults::getInstance()->setBaseURL(collector_.baseURL());
        auto startup = BDXIntializationManager::getInstance();
        startup->addOperation(BDXServerManager::getInstance()->initializationOperation());
        startup->addOperation(BDXReachabilityInstance::getInstance()->initializationOperation());
        auto caches = BDXCacheManager::getInstance()->initializationOperation();
        startup->addOperation(caches);
        caches->waitUntilFinished();
        bdx::testing::waitUntilIdle();
    }
    // The process ends (nothing of it fires any more; only the files stay) and starts again.
    void relaunchProcess() {
        bdx::testing::resetDispatchState();
        bdx::resetAllSingletons();
        launch();
    }
    // Until the collector has `count` requests and the answer to the last has been judged and handled.
    void waitForAnswered(std::size_t count) {
        ASSERT_TRUE(collector_.waitForRequests(count));
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (BDXServerManager::getInstance()->isExecutingRequest()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the answer was never handled";
            bdx::testing::runMainQueueUntilIdle();
        }
        bdx::testing::waitUntilIdle();
    }
    static std::shared_ptr<BDXCache> migrations() {
        return BDXCacheManager::getInstance()->getCacheWithClass("BDXUUIDMigration");
    }

    bdx::testing::Collector collector_;
    std::shared_ptr<bdx::testing::VirtualClock> clock_;
};

}  // namespace

TEST_F(UUIDMigrationDelivery, RetriedThroughFailuresAndARelaunchThenAppliedOnceConfirmed) {
    collector_.script(kMigratePath, bdx::Value::parse(R"([{"status": 500}, {"status": 500}])"), "PUT");
    BDXDefaults::getInstance()->setSavedUUID("anonymous-uuid");
    BDXUUIDMigration::initWithOldUUID("anonymous-uuid", "identified-uuid", "ann@example.com", "Ann")
        ->persistAndSend();
    waitForAnswered(1);
    clock_->advance(1.5);  // the deferred write lands; the retry is due at 2 s
    EXPECT_EQ(1u, migrations()->getCache().size());
    relaunchProcess();

    waitForAnswered(2);  // sent again from the start-up read; fails; retried after trunc(e^1) s
    EXPECT_EQ(std::nullopt, BDXDefaults::getInstance()->identifiedEmail()) << "unchanged until confirmed";
    clock_->advance(1.9);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(2u, collector_.requests().size()) << "not retried before its time";
    clock_->advance(0.2);
    waitForAnswered(3);

    auto defaults = BDXDefaults::getInstance();
    EXPECT_EQ("ann@example.com", defaults->identifiedEmail());
    EXPECT_EQ("Ann", defaults->name());
    EXPECT_EQ(std::nullopt, defaults->savedUUID()) << "the identifier is derived anew";
    clock_->advance(60);
    EXPECT_TRUE(migrations()->getCache().empty()) << "the confirmed migration left its cache and file";
    const bdx::Value requests = collector_.requests();
    ASSERT_EQ(3u, requests.size()) << "a confirmed migration is not sent again";
    for (const auto& request : requests) {
        EXPECT_EQ("PUT", request["method"]);
        EXPECT_EQ(kMigratePath, request["path"]);
        EXPECT_EQ("gzip", request["content_encoding"]);
        EXPECT_EQ(bdx::Value({{"application_token", "app-token"},
                              {"old_uuid", "anonymous-uuid"},
                              {"new_uuid", "identified-uuid"}}),
                  request["json"]);
    }
    EXPECT_EQ(200, requests[2]["status"]);
}

TEST_F(UUIDMigrationDelivery, MigrationWithoutAnOldIdentifierIsKeptButNeverSent) {
    BDXUUIDMigration::initWithOldUUID("", "identified-uuid", "ann@example.com", "Ann")->persistAndSend();
    clock_->advance(30);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(0u, collector_.requests().size());
    EXPECT_EQ(1u, migrations()->getCache().size());
}
