#include "persistence/BDXUUIDMigration.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

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

// The library pointed at a collector on loopback, started as the public layer starts it, on the virtual
// clock.
class UUIDMigrationDelivery : public bdx::testing::SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        if (const char* outer = std::getenv(BDXServiceURL::kEnvironmentVariable)) {
            savedEnvironment_ = outer;
            ::unsetenv(BDXServiceURL::kEnvironmentVariable);
        }
        bdx::UserDefaults::standardUserDefaults()->setString("app-token", "BDXAppToken");
        launch();
    }
    void TearDown() override {
        if (savedEnvironment_) {
            ::setenv(BDXServiceURL::kEnvironmentVariable, savedEnvironment_->c_str(), 1);
        }
        SandboxTest::TearDown();
    }

    // A process start: the virtual clock, the service address, and the start-up steps that matter here.
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
    // The process ends: nothing of it fires any more, only the files stay.
    void relaunch() {
        bdx::testing::resetDispatchState();
        bdx::resetAllSingletons();
        launch();
    }

    // Waits for the collector to have `count` migrations, then serves the main queue until the answer to
    // the last one has been judged and handled.
    void waitForAnsweredMigrations(std::size_t count) {
        ASSERT_TRUE(collector_.waitForRequests(count));
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (BDXServerManager::getInstance()->isExecutingRequest()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the answer was never handled";
            bdx::testing::runMainQueueUntilIdle();
            std::this_thread::yield();
        }
        bdx::testing::waitUntilIdle();
    }

    static std::shared_ptr<BDXCache> migrationCache() {
        return BDXCacheManager::getInstance()->getCacheWithClass("BDXUUIDMigration");
    }

    bdx::testing::Collector collector_;
    std::shared_ptr<bdx::testing::VirtualClock> clock_;

  private:
    std::optional<std::string> savedEnvironment_;
};

}  // namespace

TEST_F(UUIDMigrationDelivery, RetriedThroughFailuresAndARelaunchThenAppliedOnceConfirmed) {
    collector_.script(kMigratePath, bdx::Value::parse(R"([{"status": 500}, {"status": 500}])"), "PUT");
    auto defaults = BDXDefaults::getInstance();
    defaults->setSavedUUID("anonymous-uuid");

    BDXUUIDMigration::initWithOldUUID("anonymous-uuid", "identified-uuid", "ann@example.com", "Ann")
        ->persistAndSend();
    waitForAnsweredMigrations(1);
    EXPECT_EQ(std::nullopt, defaults->identifiedEmail()) << "nothing changes before the service confirms";
    // The deferred write lands before the retry is due, and the process ends.
    clock_->advance(1.5);
    bdx::testing::waitUntilIdle();
    ASSERT_EQ(1u, migrationCache()->getCache().size());
    relaunch();

    // The start-up read found it and sent it again; that fails too and is retried after trunc(e^1) s.
    waitForAnsweredMigrations(2);
    ASSERT_EQ(1u, migrationCache()->getAllObjects().size());
    EXPECT_EQ(std::nullopt, BDXDefaults::getInstance()->identifiedEmail());
    clock_->advance(1.9);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(2u, collector_.requests().size()) << "not retried before its time";
    clock_->advance(0.2);
    waitForAnsweredMigrations(3);

    defaults = BDXDefaults::getInstance();
    EXPECT_EQ("ann@example.com", defaults->identifiedEmail());
    EXPECT_EQ("Ann", defaults->name());
    EXPECT_EQ(std::nullopt, defaults->savedUUID()) << "the identifier is derived anew";
    EXPECT_TRUE(migrationCache()->getAllObjects().empty());
    clock_->advance(60);
    bdx::testing::waitUntilIdle();
    EXPECT_TRUE(migrationCache()->getCache().empty()) << "the confirmed migration left the file";

    const bdx::Value requests = collector_.requests();
    ASSERT_EQ(3u, requests.size()) << "a confirmed migration is not sent again";
    const bdx::Value expected = {
        {"application_token", "app-token"}, {"old_uuid", "anonymous-uuid"}, {"new_uuid", "identified-uuid"}};
    for (const auto& request : requests) {
        EXPECT_EQ("PUT", request["method"]);
        EXPECT_EQ(kMigratePath, request["path"]);
        EXPECT_EQ("gzip", request["content_encoding"]);
        EXPECT_EQ(expected, request["json"]);
    }
    EXPECT_EQ(500, requests[1]["status"]);
    EXPECT_EQ(200, requests[2]["status"]);
}

TEST_F(UUIDMigrationDelivery, MigrationWithoutAnOldIdentifierIsNeverSent) {
    auto migration = BDXUUIDMigration::initWithOldUUID("", "identified-uuid", "ann@example.com", "Ann");
    migration->persistAndSend();
    clock_->advance(30);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(0u, collector_.requests().size());
    EXPECT_EQ(1u, migrationCache()->getCache().size());
    EXPECT_EQ(std::nullopt, BDXDefaults::getInstance()->identifiedEmail());
}
