#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "PipelineTestSupport.h"
#include "core/BDXDataStore.h"
#include "testing/ConsoleCapture.h"
#include "transport/BDXSDKVersionRequest.h"

namespace bdx::testing {
namespace {

constexpr const char* kAvailable =
    "Version 999.1 of Brindlex is available! Please update to the latest version of the SDK to get all the "
    "features.";

// The data store with a debugger attached (so that it checks at start) and the debug level in force.
class VersionCheckTest : public PipelineTest {
  protected:
    void SetUp() override {
        PipelineTest::SetUp();
        BDXInspector::overrideDebuggerAttached(true);
        BDXSDKDebugInfoLogger::setLevel(1);
    }
    void TearDown() override {
        BDXSDKDebugInfoLogger::setLevel(2);
        PipelineTest::TearDown();
    }

    // The check the store pushed, once its delegate has been told.
    std::shared_ptr<BDXSDKVersionRequest> runCheck() {
        BDXDataStore::getInstance();
        std::shared_ptr<BDXSDKVersionRequest> check;
        EXPECT_TRUE(pumpUntil([&] {
            drainManagerQueue();
            for (const auto& request : manager()->servers()->serverRequests()) {
                check = std::dynamic_pointer_cast<BDXSDKVersionRequest>(request);
            }
            return check != nullptr;
        }));
        EXPECT_TRUE(pumpUntil([&] { return check && check->isSuccess(); }));
        drainManagerQueue();
        return check;
    }
};

TEST_F(VersionCheckTest, AsksTheUnversionedPathForTheIOSVersionAndLogsANewerOne) {
    collector->script("/api/sdk/latest_version",
                      bdx::Value::parse(R"([{"status": 200, "body": "{\"latest_version\": \"999.1\"}"}])"));
    ConsoleCapture console;
    auto check = runCheck();
    ASSERT_NE(check, nullptr);
    EXPECT_EQ(BDXSDKVersionRequest::latestVersionURL(), collector->rootURL() + "/api/sdk/latest_version");

    const bdx::Value record = received()[0];
    EXPECT_EQ(record["method"], "GET");
    EXPECT_EQ(record["path"], "/api/sdk/latest_version");
    EXPECT_EQ(record["query"], (bdx::Value{{"sdk_type", "ios"}}));
    EXPECT_EQ(check->failures(), 0);
    EXPECT_TRUE(manager()->servers()->serverRequests().empty()) << "handed back to the manager";
    EXPECT_TRUE(pumpUntil([&] { return console.contains(Console::Channel::StandardOutput, kAvailable); }));
}

TEST_F(VersionCheckTest, AnOlderOrEqualVersionSaysNothing) {
    for (const std::string& version : {std::string("0.0.1"), BDXInspector::getSDKVersion()}) {
        SCOPED_TRACE(version);
        collector->reset(true);
        const bdx::Value reply = {{"latest_version", version}};
        collector->script("/api/sdk/latest_version",
                          bdx::Value::array({{{"status", 200}, {"body", reply.dump()}}}));
        ConsoleCapture console;
        ASSERT_NE(runCheck(), nullptr);
        BDXDataStore::destroy();
        EXPECT_FALSE(console.contains(Console::Channel::StandardOutput, "of Brindlex is available!"));
    }
}

TEST_F(VersionCheckTest, AFailedCheckIsCountedButNeverRetried) {
    collector->script("/api/sdk/latest_version", bdx::Value::parse(R"([{"status": 500, "body": "{}"}])"));
    ConsoleCapture console;
    auto check = runCheck();
    ASSERT_NE(check, nullptr);
    EXPECT_TRUE(check->isSuccess()) << "reported as a success so that nobody pushes it again";
    EXPECT_EQ(check->failures(), 1);
    const auto firstAttempt = check->dataRequest();

    clock->advance(3600);
    waitUntilIdle();
    EXPECT_FALSE(check->isExecuting());
    EXPECT_EQ(check->dataRequest(), firstAttempt) << "no second attempt";
    EXPECT_TRUE(manager()->servers()->serverRequests().empty());
    EXPECT_EQ(received().size(), 1u);
    EXPECT_FALSE(console.contains(Console::Channel::StandardOutput, "of Brindlex is available!"));
}

TEST_F(VersionCheckTest, WithoutADebuggerThereIsNoCheck) {
    BDXInspector::overrideDebuggerAttached(false);
    BDXDataStore::getInstance();
    drainManagerQueue();
    EXPECT_TRUE(manager()->servers()->serverRequests().empty());
}

}  // namespace
}  // namespace bdx::testing
