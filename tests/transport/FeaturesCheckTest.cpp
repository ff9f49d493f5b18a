#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <mutex>
#include <tuple>
#include <utility>
#include <vector>

#include "Logging/BDXInspector.h"
#include "PipelineTestSupport.h"
#include "core/BDXDataStore.h"
#include "core/BDXDefaultsKeys.h"
#include "core/BDXFeatures.h"
#include "foundation/Date.h"
#include "foundation/TimeZone.h"
#include "foundation/UserDefaults.h"
#include "tests/core/FeatureDelegateRecorder.h"
#include "transport/BDXFeaturesRequest.h"

namespace bdx::testing {
namespace {

constexpr const char* kToken = "app-token-1";
constexpr const char* kFeaturesPath = "/api/sdk/v3/features";
// Midnight at the start of Friday 1 March 2024 in Berlin (UTC+1 all month long), the virtual clock's
// first day; the clock starts at 10:00 there.
constexpr double kFirstMidnight = 1709247600.0;

double localTime(int day, int hour, int minute) {
    return kFirstMidnight + day * 86400.0 + hour * 3600.0 + minute * 60.0;
}

using Getter = bool (BDXFeatures::*)() const;
const std::vector<std::pair<const char*, Getter>> kAllFlags = {
    {"whiteLabel", &BDXFeatures::whiteLabel},
    {"pushNotifications", &BDXFeatures::pushNotifications},
    {"userSteps", &BDXFeatures::userSteps},
    {"visualUserSteps", &BDXFeatures::visualUserSteps},
    {"userData", &BDXFeatures::userData},
    {"BDXLog", &BDXFeatures::BDXLog},
    {"consoleLog", &BDXFeatures::consoleLog},
    {"multipleAttachments", &BDXFeatures::multipleAttachments},
    {"networkLogging", &BDXFeatures::networkLogging},
    {"userEvents", &BDXFeatures::userEvents},
    {"userLoggerInC", &BDXFeatures::userLoggerInC},
    {"inAppMessaging", &BDXFeatures::inAppMessaging},
    {"sessionProfiler", &BDXFeatures::sessionProfiler},
    {"featureRequests", &BDXFeatures::featureRequests},
    {"disclaimer", &BDXFeatures::disclaimer},
    {"crashReporting", &BDXFeatures::crashReporting},
};

// A reply that gives every built-in flag the same value.
bdx::Value everyFlag(bool value) {
    bdx::Value reply = bdx::Value::object();
    for (const char* key :
         {"white_label", "push_notifications", "user_steps", "repro_steps", "user_data", "bdx_log",
          "console_log", "multiple_attachments", "network_log", "user_events", "in_app_messaging",
          "sessions_profiler", "feature_requests", "disclaimer_text", "crash_reporting_enabled"}) {
        reply[key] = value;
    }
    return reply;
}

std::shared_ptr<UserDefaults> store() {
    return UserDefaults::standardUserDefaults();
}

// The data store, the features and the pipeline over the collector, in the Berlin time zone.
class FeaturesCheckTest : public PipelineTest {
  protected:
    void SetUp() override {
        PipelineTest::SetUp();
        TimeZone::setDefaultTimeZone(*TimeZone::named("Europe/Berlin"));
        BDXInspector::overrideDebuggerAttached(false);
    }

    static std::shared_ptr<BDXFeatures> features() { return BDXDefaults::getInstance()->features(); }

    void scriptReply(const bdx::Value& reply) {
        collector->script(kFeaturesPath, bdx::Value::array({{{"status", 200}, {"body", reply.dump()}}}));
    }
    // The public layer's start: the token, which starts the daily check.
    static void launch() { BDXDataStore::getInstance()->setAppToken(kToken); }

    std::size_t featuresRequests() const {
        std::size_t count = 0;
        for (const auto& record : received()) {
            count += record["path"] == kFeaturesPath ? 1 : 0;
        }
        return count;
    }
    // Until the service was asked `count` times in all and the last answer was applied.
    bool answered(std::size_t count) {
        return pumpUntil(
            [&] { return featuresRequests() >= count && !features()->featuresRequestInProgress(); });
    }
    // Lets a check run as far as it goes without the network, and tells whether it asked the service.
    static bool checkPushedARequest() {
        runMainQueueUntilIdle();
        drainManagerQueue();
        return features()->featuresRequestInProgress() || !manager()->servers()->serverRequests().empty();
    }
    void advanceTo(double date) {
        clock->advance(date - Date::now().timeIntervalSince1970());
        waitUntilIdle();
    }

    // Every singleton dropped, the sandbox kept; the pipeline started again as the public layer would.
    void relaunchWith(net::ReachabilityFlags flags) {
        // A transfer's clean-up on the session's thread reads the settings: let it end before they go, or
        // it makes them again from a store about to be dropped.
        ASSERT_TRUE(
            pumpUntil([] { return ui::Application::sharedApplication()->runningBackgroundTasks().empty(); }));
        relaunch();
        TimeZone::setDefaultTimeZone(*TimeZone::named("Europe/Berlin"));
        BDXInspector::overrideDebuggerAttached(false);
        reachability = ScriptedReachabilityService::install();
        reachability->setFlags("127.0.0.1", flags);
        BDXDefaults::getInstance()->setBaseURL(collector->baseURL());
        auto initialization = BDXIntializationManager::getInstance();
        initialization->addOperation(manager()->initializationOperation());
        initialization->addOperation(BDXReachabilityInstance::getInstance()->initializationOperation());
        waitUntilIdle();
    }
};

TEST_F(FeaturesCheckTest, AReplyTurnsFlagsOffAndOnIsKeptAndLeavesMissingKeysAlone) {
    std::vector<std::tuple<bool, bool, bool>> profilerChanges;
    features()->addObserver("sessionProfiler", [&](const KeyValueChange& change) {
        profilerChanges.emplace_back(std::any_cast<bool>(change.oldValue),
                                     std::any_cast<bool>(change.newValue), isMainThread());
    });

    scriptReply(everyFlag(false));
    launch();
    ASSERT_TRUE(answered(1));
    const bdx::Value record = received()[0];
    EXPECT_EQ(record["method"], "GET");
    EXPECT_EQ(record["query"], (bdx::Value{{"application_token", kToken}}));
    for (const auto& [name, get] : kAllFlags) {
        EXPECT_FALSE(((*features()).*get)()) << name;
    }
    EXPECT_EQ(features()->recentFeatureResponse(), everyFlag(false));
    EXPECT_EQ(store()->objectForKey(kBDXDefaultsKeyFeaturesLatestFeaturesResponse), everyFlag(false));
    EXPECT_EQ(store()->dateForKey(kBDXDefaultsKeyFeaturesLastCheck), Date::now());
    EXPECT_EQ(store()->objectForKey("BDXFeatures/UserLoggerInC"), bdx::Value(false));

    // A key left out leaves its flag as it was; "user_events" alone drives two flags.
    bdx::Value second = everyFlag(true);
    second.erase("user_steps");
    second["user_events"] = false;
    advanceTo(localTime(1, 9, 0));
    scriptReply(second);
    features()->checkFeatures();
    ASSERT_TRUE(answered(2));
    for (const auto& [name, get] : kAllFlags) {
        const std::string flag = name;
        EXPECT_EQ(((*features()).*get)(),
                  flag != "userSteps" && flag != "userEvents" && flag != "userLoggerInC")
            << name;
    }
    EXPECT_EQ(profilerChanges,
              (std::vector<std::tuple<bool, bool, bool>>{{true, false, true}, {false, true, true}}));
}

TEST_F(FeaturesCheckTest, NumbersAndTextsReadAsThePlatformReadsThem) {
    const std::vector<std::pair<bdx::Value, bool>> values = {
        {"1", true}, {"0", false}, {1, true}, {0, false}, {true, true}, {false, false},
    };
    launch();
    ASSERT_TRUE(answered(1));
    for (std::size_t day = 0; day < values.size(); ++day) {
        const auto& [value, expected] = values[day];
        SCOPED_TRACE(value.dump());
        advanceTo(localTime(static_cast<int>(day) + 1, 9, 0));
        scriptReply({{"white_label", value}});
        features()->checkFeatures();
        ASSERT_TRUE(answered(day + 2));
        EXPECT_EQ(features()->whiteLabel(), expected);
    }
}

TEST_F(FeaturesCheckTest, AFailedCheckStaysOnItsWayUntilTheRetrySucceeds) {
    collector->script(kFeaturesPath, bdx::Value::parse(R"([{"status": 200, "body": "<html>ok</html>"},
                                                          {"status": 200, "body": "[false]"},
                                                          {"status": 200, "body": "{\"user_steps\": false}"}])"));
    launch();
    features()->checkFeatures();
    ASSERT_TRUE(checkPushedARequest());
    const auto waiting = manager()->servers()->serverRequests();
    ASSERT_EQ(waiting.size(), 1u) << "a check on its way blocks the second";
    const auto request = std::dynamic_pointer_cast<BDXFeaturesRequest>(waiting[0]);
    ASSERT_NE(request, nullptr);

    ASSERT_TRUE(pumpUntil([&] { return request->failures() == 1; }));
    drainManagerQueue();
    EXPECT_TRUE(features()->userSteps());
    EXPECT_TRUE(features()->featuresRequestInProgress());
    EXPECT_TRUE(store()->objectForKey(kBDXDefaultsKeyFeaturesLastCheck).is_null());
    EXPECT_TRUE(features()->recentFeatureResponse().is_null());

    features()->checkFeatures();
    runMainQueueUntilIdle();
    drainManagerQueue();
    EXPECT_TRUE(manager()->servers()->serverRequests().empty()) << "only the pipeline's retry asks again";

    // Retried after 2 s; JSON that is not an object of flags fails as well, and is retried after 7 s.
    clock->advance(1.9);
    waitUntilIdle();
    EXPECT_EQ(featuresRequests(), 1u);
    clock->advance(0.1);
    ASSERT_TRUE(pumpUntil([&] { return request->failures() == 2; }));
    EXPECT_TRUE(features()->featuresRequestInProgress());
    EXPECT_TRUE(features()->userSteps());
    clock->advance(7);
    ASSERT_TRUE(answered(3));
    EXPECT_TRUE(request->isSuccess());
    EXPECT_FALSE(features()->userSteps());
    EXPECT_EQ(store()->dateForKey(kBDXDefaultsKeyFeaturesLastCheck), Date::now());
}

struct ThrottleCase {
    const char* label;
    double first;
    double second;
    bool asksAgain;
};

TEST_F(FeaturesCheckTest, TheServiceIsAskedAgainOnANewLocalDayNotAfterADay) {
    const std::vector<ThrottleCase> cases = {
        {"10:30 and 23:59 of one day", localTime(0, 10, 30), localTime(0, 23, 59), false},
        {"23:59 and 00:01 of the next day", localTime(1, 23, 59), localTime(2, 0, 1), true},
        {"00:01 and 23:59 of one day", localTime(3, 0, 1), localTime(3, 23, 59), false},
        {"09:00 and 08:59 of the next day", localTime(5, 9, 0), localTime(6, 8, 59), true},
    };
    std::size_t asked = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        features()->clearPreviousData();
        advanceTo(c.first);
        features()->checkFeatures();
        ASSERT_TRUE(answered(++asked));
        advanceTo(c.second);
        features()->checkFeatures();
        if (c.asksAgain) {
            ASSERT_TRUE(answered(++asked));
        } else {
            EXPECT_FALSE(checkPushedARequest());
        }
        EXPECT_EQ(featuresRequests(), asked);
    }
}

TEST_F(FeaturesCheckTest, ARelaunchWithoutNetworkStartsFromTheLastAnswerAndRegisteredFlagsHearIt) {
    using Calls = FeatureDelegateRecorder::Calls;
    auto before = std::make_shared<FeatureDelegateRecorder>();
    features()->registerFeature("chats", before);
    EXPECT_TRUE(before->heard().empty()) << "nothing known yet";
    const bdx::Value reply = {{"white_label", true}, {"sessions_profiler", false}, {"chats", true}};
    scriptReply(reply);
    launch();
    ASSERT_TRUE(answered(1));
    EXPECT_EQ(before->heard(), (Calls{{"chats", true}}));

    relaunchWith(0);
    launch();
    EXPECT_FALSE(checkPushedARequest()) << "asked today already";
    EXPECT_TRUE(features()->whiteLabel());
    EXPECT_FALSE(features()->sessionProfiler());
    EXPECT_EQ(features()->recentFeatureResponse(), reply);
    auto delegate = std::make_shared<FeatureDelegateRecorder>();
    features()->registerFeature("chats", delegate);
    EXPECT_EQ(delegate->heard(), (Calls{{"chats", true}})) << "before registering returned";

    setReachable(kReachable);
    EXPECT_FALSE(checkPushedARequest());
    advanceTo(localTime(1, 0, 1));
    scriptReply({{"chats", "0"}});
    features()->checkFeatures();
    ASSERT_TRUE(answered(2));
    EXPECT_EQ(delegate->heard(), (Calls{{"chats", true}, {"chats", false}}));
    EXPECT_EQ(store()->objectForKey("BDXFeatures/Chats"), bdx::Value(false));
}

TEST_F(FeaturesCheckTest, AnInactiveAccountHoldsEveryRequestAcrossARelaunchUntilTheServiceSaysActive) {
    scriptReply({{"is_active", false}});
    launch();
    ASSERT_TRUE(answered(1));
    EXPECT_TRUE(manager()->shouldDisableServerManager());
    auto held = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 1}});
    manager()->pushRequest(held);
    drainManagerQueue();
    EXPECT_EQ(held->executeCount, 0);

    relaunchWith(kReachable);
    launch();
    EXPECT_FALSE(checkPushedARequest()) << "asked today already";
    EXPECT_TRUE(manager()->shouldDisableServerManager());
    auto probe = ProbeRequest::json(url("/sessions"), BDXHTTPMethodPOST, {{"n", 2}});
    manager()->pushRequest(probe);
    setReachable(0);
    setReachable(kReachable);
    drainManagerQueue();
    EXPECT_EQ(probe->executeCount, 0) << "neither a push nor a network change starts it";
    EXPECT_EQ(received().size(), 1u);

    advanceTo(localTime(1, 0, 1));
    scriptReply({{"is_active", "1"}});
    features()->checkFeatures();
    ASSERT_TRUE(answered(2));
    ASSERT_TRUE(waitForResults(probe, 1));
    EXPECT_TRUE(probe->isSuccess());
    EXPECT_FALSE(manager()->shouldDisableServerManager());
    EXPECT_FALSE(store()->boolForKey(kBDXDefaultsKeySDKDisabled));
    EXPECT_EQ(received()[2]["json"], (bdx::Value{{"n", 2}}));
}

}  // namespace
}  // namespace bdx::testing
