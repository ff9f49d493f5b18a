#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "PipelineTestSupport.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "platform/net/URLSession.h"
#include "platform/ui/Application.h"
#include "testing/ConsoleCapture.h"

namespace bdx::testing {
namespace {

namespace Flag = net::ReachabilityFlag;

bool listHolds(const std::shared_ptr<BDXBaseRequest>& request) {
    for (const auto& entry : BDXServerManager::getInstance()->servers()->serverRequests()) {
        if (entry == request) {
            return true;
        }
    }
    return false;
}

class UnreachablePipelineTest : public PipelineTest {
  protected:
    net::ReachabilityFlags initialFlags() const override { return 0; }
};

TEST_F(UnreachablePipelineTest, AWaitingRequestStartsOnTheNextChangeToReachableAndNotBefore) {
    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(probe);
    drainManagerQueue();
    EXPECT_EQ(probe->executeCount, 0);
    EXPECT_EQ(probe->isExecutingAsked, 0) << "reachability is asked before the request";
    EXPECT_TRUE(listHolds(probe)) << "a request that may not start waits in the list";

    setReachable(Flag::connectionRequired);  // a change, but not towards reachable
    drainManagerQueue();
    EXPECT_EQ(probe->executeCount, 0);

    setReachable(kReachable);
    drainManagerQueue();
    EXPECT_EQ(probe->executeCount, 1);
    ASSERT_TRUE(waitForResults(probe, 1));
    EXPECT_EQ(probe->results[0].statusCode, 200);
    EXPECT_TRUE(probe->isSuccess());
    drainManagerQueue();
    EXPECT_FALSE(listHolds(probe)) << "a success leaves the list";
    EXPECT_EQ(received().size(), 1u);
}

TEST_F(PipelineTest, ADisabledManagerStartsNothingUntilTheNextChangeToReachable) {
    manager()->shouldDisableServerManager(true);
    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(probe);
    drainManagerQueue();
    EXPECT_EQ(probe->executeCount, 0);
    EXPECT_EQ(probe->isExecutingAsked, 0) << "the switch is asked before the request";

    manager()->shouldDisableServerManager(false);
    drainManagerQueue();
    EXPECT_EQ(probe->executeCount, 0) << "nothing sweeps the list but a change to reachable";

    setReachable(0);
    setReachable(kReachable);
    drainManagerQueue();
    EXPECT_EQ(probe->executeCount, 1);
    ASSERT_TRUE(waitForResults(probe, 1));
}

TEST_F(PipelineTest, ARefreshDoesNotStartAnExecutingRequestAgain) {
    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(probe);
    drainManagerQueue();
    ASSERT_EQ(probe->executeCount, 1);

    // The reply can only be handled on the main queue, which this thread does not serve meanwhile.
    manager()->refresh();
    setReachable(Flag::reachable | Flag::isWWAN);
    manager()->refresh();
    drainManagerQueue();
    EXPECT_EQ(probe->executeCount, 1);

    ASSERT_TRUE(waitForResults(probe, 1));
    EXPECT_EQ(received().size(), 1u);
}

TEST_F(PipelineTest, AnyNumberOfRequestsRunAtOnce) {
    std::vector<std::shared_ptr<ProbeRequest>> probes;
    for (int index = 0; index < 12; ++index) {
        probes.push_back(ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", index}}));
        manager()->pushRequest(probes.back());
    }
    drainManagerQueue();
    for (const auto& probe : probes) {
        EXPECT_EQ(probe->executeCount, 1);
        EXPECT_TRUE(probe->isExecuting()) << "none waits for another to end";
    }
    ASSERT_TRUE(pumpUntil([&] {
        return std::all_of(probes.begin(), probes.end(),
                           [](const auto& probe) { return !probe->results.empty(); });
    }));
    EXPECT_EQ(received().size(), probes.size());
}

TEST_F(PipelineTest, PushingNothingLogsTheOneErrorAndLeavesTheListAlone) {
    BDXSDKDebugInfoLogger::setLevel(0);
    BDXInspector::overrideDebuggerAttached(true);
    ConsoleCapture console;
    manager()->pushRequest(std::shared_ptr<BDXBaseRequest>());
    drainManagerQueue();
    EXPECT_TRUE(manager()->servers()->serverRequests().empty());
    EXPECT_TRUE(console.contains(Console::Channel::StandardOutput,
                                 "Failed to Send Request. Error pushing a nil request"));
    BDXSDKDebugInfoLogger::setLevel(2);
}

TEST_F(PipelineTest, WorkLeavesTheMainThreadAndResultsComeBackToIt) {
    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(probe);
    ASSERT_TRUE(waitForResults(probe, 1));
    EXPECT_TRUE(probe->executedOffMainThread) << "bodies are built and stored off the host's main thread";
    EXPECT_TRUE(probe->results[0].onMainThread);
}

TEST_F(PipelineTest, ATransferRunsUnderANamedBackgroundTaskAndTheIndicatorShowsIt) {
    collector->script("/api/sdk/v3/sessions",
                      bdx::Value::parse(R"([{"status": 200, "body": "{}", "delay_ms": 3000}])"));
    auto application = ui::Application::sharedApplication();
    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(probe);
    ASSERT_TRUE(collector->waitForRequests(1));
    // The task was begun before the transfer started, and the collector holds its answer back.
    EXPECT_EQ(manager()->backgroundTaskNames(), std::vector<std::string>{"BDX-1"});
    EXPECT_EQ(application->runningBackgroundTasks().size(), 1u);
    EXPECT_TRUE(pumpUntil([&] { return application->isNetworkActivityIndicatorVisible(); }));

    ASSERT_TRUE(waitForResults(probe, 1));
    // The clean-up runs on the session's queue without waiting for the delegate's call on the main queue,
    // so it may come just after the result.
    EXPECT_TRUE(pumpUntil([&] { return manager()->backgroundTaskNames().empty(); }));
    EXPECT_TRUE(pumpUntil([&] { return application->runningBackgroundTasks().empty(); }));
    EXPECT_TRUE(pumpUntil([&] { return !application->isNetworkActivityIndicatorVisible(); }));
}

TEST_F(PipelineTest, ATaskThatEndsWithNoRequestInTheMapOnlyCleansUp) {
    // What a relaunch leaves: a transfer of the session whose request is not known to this process.
    auto application = ui::Application::sharedApplication();
    auto task = manager()->backgroundSession()->dataTaskWithRequest(net::URLRequest(url("/sessions")));
    ASSERT_NE(task, nullptr);
    manager()->beginBackgroundTaskWithName("BDX-" + std::to_string(task->taskIdentifier()));
    ASSERT_EQ(application->runningBackgroundTasks().size(), 1u);
    task->resume();
    ASSERT_TRUE(pumpUntil([&] { return manager()->backgroundTaskNames().empty(); }));
    EXPECT_TRUE(pumpUntil([&] { return application->runningBackgroundTasks().empty(); }));
    EXPECT_EQ(manager()->requestWithTaskIdentifeier(task->taskIdentifier()), nullptr);
    EXPECT_EQ(received().size(), 1u);
}

class UITestModePipelineTest : public PipelineTest {
  protected:
    void prepareDefaults() override { BDXDefaults::getInstance()->setIsUITestModeEnabled(true); }
};

TEST_F(UITestModePipelineTest, SendsFromMemoryWithoutBackgroundTasksOrTemporaryFiles) {
    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(probe);
    ASSERT_TRUE(waitForResults(probe, 1));
    EXPECT_EQ(probe->results[0].statusCode, 200);
    EXPECT_TRUE(ui::Application::sharedApplication()->runningBackgroundTasks().empty());
    EXPECT_EQ(manager()->backgroundSession()->configuration().identifier(), "");
    const std::string temp = BDXDiskPersistenceManager::getInstance()->tempDirectory();
    EXPECT_TRUE(std::filesystem::is_empty(temp)) << "no body file in " << temp;
    const bdx::Value record = received()[0];
    EXPECT_EQ(record["content_encoding"], "gzip");
    EXPECT_EQ(record["json"], (bdx::Value{{"n", 1}}));
}

TEST_F(PipelineTest, OutsideUITestModeTransfersRunInTheBackgroundSession) {
    EXPECT_EQ(manager()->backgroundSession()->configuration().identifier(), "com.Brindlex.BackgroundSession");
}

}  // namespace
}  // namespace bdx::testing
