#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "Logging/BDXInspector.h"
#include "core/BDXFeatures.h"
#include "foundation/NotificationCenter.h"
#include "foundation/StringWithFormat.h"
#include "platform/host/Info.h"
#include "testing/FileContents.h"
#include "tests/sessions/SessionTestSupport.h"

namespace {

using SessionLifecycle = bdx::testing::SessionTest;

std::int64_t sessionCount() {
    return static_cast<std::int64_t>(BDXDefaults::getInstance()->sessionCount());
}

std::shared_ptr<BDXSession> asSession(const std::shared_ptr<BDXCachable>& model) {
    return std::dynamic_pointer_cast<BDXSession>(model);
}

}  // namespace

TEST_F(SessionLifecycle, FirstSessionOfAnInstallationIsTheOnlyOneThatTellsItsNumber) {
    launch();
    EXPECT_EQ(1, manager()->sessionIndex());
    ASSERT_NE(nullptr, manager()->currentSession()) << "the start-up operation begins a session";
    EXPECT_EQ(1, manager()->currentSession()->sessionNumber());
    EXPECT_EQ(1, sessionCount());

    clock_->advance(30);
    background();
    EXPECT_EQ(2, manager()->sessionIndex());
    const auto stored = storedSessions();
    ASSERT_EQ(1u, stored.size()) << "the session ended in the background is on disk, not sent";
    const auto saved = asSession(stored[0])->requestParameters();
    ASSERT_NE(nullptr, saved);
    EXPECT_EQ(1, saved->at("session_number"));
    EXPECT_EQ(30, saved->at("duration"));
    EXPECT_TRUE(collector_.requests().empty());

    clock_->advance(100);
    foreground();
    EXPECT_EQ(2, manager()->currentSession()->sessionNumber());
    EXPECT_EQ(2, sessionCount());
    waitForAnswered(1);
    const bdx::Value sent = sessionPayloads().at(0);
    EXPECT_FALSE(sent.contains("session_number")) << sent.dump();
    EXPECT_EQ(0, sent["duration"]) << "the session begun in the foreground goes out at once";
    EXPECT_EQ(manager()->currentSession()->identifier(), sent["started_at"]);
}

TEST_F(SessionLifecycle, CountAndIndexFollowEachBeginAndEnd) {
    // Without the start-up operation: the save makes the session it ends when there is none.
    struct Case {
        std::vector<std::string> steps;
        std::int64_t count, index, currentNumber;
    };
    const Case cases[] = {
        {{"save"}, 1, 2, 1},           {{"begin", "save"}, 1, 2, 1},
        {{"save", "save"}, 1, 3, 1},   {{"begin", "save", "foreground"}, 2, 2, 2},
        {{"begin", "begin"}, 2, 1, 1},
    };
    for (const auto& c : cases) {
        bdx::UserDefaults::standardUserDefaults()->removeObjectForKey("BDXSessionCount");
        bdx::UserDefaults::standardUserDefaults()->removeObjectForKey("BDXSessionNumber");
        BDXSessionManager::destroy();
        std::string trace;
        for (const auto& step : c.steps) {
            trace += step + " ";
            clock_->advance(5);
            if (step == "save") {
                manager()->saveSession();
            } else if (step == "begin") {
                manager()->initializeSession();
            } else {
                manager()->sendPreviousSessionIfExistThenInitializeNewOne();
            }
        }
        EXPECT_EQ(c.count, sessionCount()) << trace;
        EXPECT_EQ(c.index, manager()->sessionIndex()) << trace;
        EXPECT_EQ(c.currentNumber, manager()->currentSession()->sessionNumber()) << trace;
    }
}

TEST_F(SessionLifecycle, PayloadHasEveryKeyWithItsTypeCompactAndCompressed) {
    BDXDefaults::getInstance()->setIdentifiedEmail("ann@example.com");
    BDXDefaults::getInstance()->setName("Ann");
    launch();
    clock_->advance(12.7);
    foreground();
    waitForAnswered(1);
    const bdx::Value request = collector_.requests().at(0);
    EXPECT_EQ("POST", request["method"]);
    EXPECT_EQ(bdx::testing::kSessionsPath, request["path"]);
    EXPECT_EQ("gzip", request["content_encoding"]);
    EXPECT_EQ(nullptr, request["error"]) << "the collector's strict reading found a fault";
    EXPECT_EQ(200, request["status"]);
    const bdx::Value payload = request["json"];

    const auto info = bdx::host::Info::shared();
    const auto session = manager()->currentSession();
    // Each key with its value, whose type is the type the service reads.
    const std::pair<const char*, bdx::Value> keys[] = {
        {"sdk_version", BDXInspector::getSDKVersion()},
        {"application_token", "app-token"},
        {"uuid", BDXInspector::getUUID()},
        {"os", "iOS " + info->systemVersion()},
        {"device", BDXInspector::getDeviceModel()},
        {"bundle_id", info->bundleIdentifier()},
        {"app_version", info->shortVersionString() + " (" + info->bundleVersion() + ")"},
        {"started_at", bdx::stringWithFormat("%f", session->sessionStartTimestamp())},
        {"duration", 0},
        {"email", "ann@example.com"},
        {"name", "Ann"},
        {"custom_attributes", bdx::Value::object()},
        {"user_events", bdx::Value::array()},
        {"crash_reporting_enabled", true},
        // No session has ended yet, so this one still has the first number, and says so.
        {"session_number", 1},
    };
    std::vector<std::string> order;
    for (const auto& [name, expected] : keys) {
        order.push_back(name);
        ASSERT_TRUE(payload.contains(name)) << name << " missing from " << payload.dump();
        EXPECT_STREQ(expected.type_name(), payload[name].type_name()) << name << ": " << payload[name].dump();
        EXPECT_EQ(expected.is_number_integer(), payload[name].is_number_integer())
            << name << ": whole numbers";
        EXPECT_EQ(expected, payload[name]) << name;
    }
    EXPECT_TRUE(std::regex_match(payload["started_at"].get<std::string>(), std::regex(R"(\d+\.\d{6})")));
    std::vector<std::string> sentOrder;
    for (const auto& [name, value] : payload.items()) {
        sentOrder.push_back(name);
    }
    EXPECT_EQ(order, sentOrder) << "keys in the order built, and no others";

    const std::string folder = request["folder"];
    EXPECT_EQ(payload.dump(), bdx::testing::readFile(folder + "/body.bin"))
        << "compact JSON: no blank outside the strings";
    if (std::system("command -v gzip >/dev/null 2>&1") == 0) {
        EXPECT_EQ(0, std::system(("gzip -t '" + folder + "/body.raw'").c_str())) << "one whole gzip stream";
    }
}

TEST_F(SessionLifecycle, SavedSessionIsDeliveredOnceByTheNextLaunchWithItsSavedDuration) {
    launch();
    const std::string startedAt = manager()->currentSession()->identifier();
    clock_->advance(42);
    background();
    collector_.script(bdx::testing::kSessionsPath, bdx::Value::parse(R"([{"status": 500}])"), "POST");

    relaunch();  // an hour later; the restored record goes out and meets a failure
    waitForAnswered(1);
    ASSERT_EQ(1u, storedSessions().size()) << "a failed delivery keeps the record";
    clock_->advance(1.9);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(1u, collector_.requests().size()) << "retried after e^1 s, not before";
    clock_->advance(0.2);
    waitForAnswered(2);

    const bdx::Value payloads = sessionPayloads();
    ASSERT_EQ(2u, payloads.size());
    for (const auto& payload : payloads) {
        EXPECT_EQ(startedAt, payload["started_at"]);
        EXPECT_EQ(42, payload["duration"]) << "the duration of the moment of the save, not of the delivery";
        EXPECT_EQ(1, payload["session_number"]);
    }
    EXPECT_EQ(500, collector_.requests()[0]["status"]);
    EXPECT_EQ(200, collector_.requests()[1]["status"]);
    EXPECT_TRUE(storedSessions().empty()) << "a delivered record leaves the cache file at once";

    relaunch();
    clock_->advance(60);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(2u, collector_.requests().size()) << "a delivered record is not sent again";
}

struct DisabledSendingCase {
    const char* name;
    bool disclaimer;
    bool sendingDisabled;
};

class DisabledSending : public bdx::testing::SessionTest,
                        public ::testing::WithParamInterface<DisabledSendingCase> {};

TEST_P(DisabledSending, StillCountsAndNotifiesButKeepsNothingWhenTheDisclaimerAllows) {
    const auto& c = GetParam();
    BDXDefaults::getInstance()->features()->setDisclaimer(c.disclaimer);
    BDXSessionManager::disableSendingSession();
    EXPECT_EQ(c.sendingDisabled, BDXSessionManager::isSendingSessionDisabled());
    int starts = 0;
    int ends = 0;
    auto center = bdx::NotificationCenter::defaultCenter();
    center->addObserver(kBDXSessionStartNotification, nullptr, [&](const bdx::Notification& n) {
        EXPECT_NE(nullptr, n.userInfoValue<std::shared_ptr<BDXSession>>(kBDXSessionNotificationParam));
        ++starts;
    });
    center->addObserver(kBDXSessionEndNotification, nullptr, [&](const bdx::Notification&) { ++ends; });

    launch();
    clock_->advance(20);
    background();
    clock_->advance(20);
    foreground();
    EXPECT_EQ(2, starts);
    EXPECT_EQ(1, ends);
    EXPECT_EQ(2, manager()->sessionIndex()) << "the index rises at the end of a session in any case";
    EXPECT_EQ(2, sessionCount());
    if (c.sendingDisabled) {
        clock_->advance(30);
        bdx::testing::waitUntilIdle();
        EXPECT_TRUE(storedSessions().empty());
        EXPECT_TRUE(collector_.requests().empty());
    } else {
        waitForAnswered(1);
        EXPECT_EQ(1u, storedSessions().size()) << "the session saved in the background";
        EXPECT_EQ(1u, collector_.requests().size()) << "the session begun in the foreground";
    }
}

INSTANTIATE_TEST_SUITE_P(SessionLifecycle, DisabledSending,
                         ::testing::Values(DisabledSendingCase{"DisclaimerOn", true, true},
                                           DisabledSendingCase{"DisclaimerOff", false, false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(SessionLifecycle, ListenersLearnTheDatesAndMayLeaveInsideTheirCallback) {
    EXPECT_EQ(std::nullopt, manager()->addListener(nullptr));
    std::vector<std::string> heard;
    auto early = std::make_shared<BDXSessionListener>();
    early->didInitializeSessionAtDate = [&](const bdx::Date& date) {
        heard.push_back("early began " + std::to_string(date.timeIntervalSince1970()));
    };
    EXPECT_EQ(std::nullopt, manager()->addListener(early)) << "no session yet";

    launch();
    const bdx::Date began = manager()->currentSession()->date();
    ASSERT_EQ(1u, heard.size());
    EXPECT_EQ("early began " + std::to_string(began.timeIntervalSince1970()), heard[0]);

    auto leaving = std::make_shared<BDXSessionListener>();
    leaving->didEndSessionAtDate = [&](const bdx::Date& date) {
        heard.push_back("leaving ended " + std::to_string(date.timeIntervalSince1970()));
        manager()->removeListener(leaving);
    };
    auto late = std::make_shared<BDXSessionListener>();
    late->didEndSessionAtDate = [&](const bdx::Date&) { heard.push_back("late ended"); };
    for (const auto& listener : {leaving, late}) {
        const auto joined = manager()->addListener(listener);
        ASSERT_TRUE(joined.has_value()) << "a listener that joins late learns when the session began";
        EXPECT_EQ(began.timeIntervalSince1970(), joined->timeIntervalSince1970());
    }
    EXPECT_EQ(std::nullopt, manager()->addListener(nullptr)) << "nothing to add: nothing returned";

    clock_->advance(8);
    const double endedAt = clock_->now();
    background();
    clock_->advance(8);
    foreground();
    clock_->advance(8);
    background();
    const std::vector<std::string> expected = {
        "early began " + std::to_string(began.timeIntervalSince1970()),
        "leaving ended " + std::to_string(endedAt),
        "late ended",  // the walk under way goes on after a listener left
        "early began " + std::to_string(began.timeIntervalSince1970() + 16),
        "late ended",  // the listener that left is not called again
    };
    EXPECT_EQ(expected, heard);
    waitForAnswered(1);  // the session begun in the foreground was sent: let its answer end the test's work
}
