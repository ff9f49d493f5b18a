#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Logging/BDXEventLogger.h"
#include "Logging/BDXInspector.h"
#include "Logging/BDXStateEventLog.h"
#include "Logging/BDXSurveyEventLog.h"
#include "Logging/BDXUserAttributesLogger.h"
#include "Logging/BDXUserDataLogger.h"
#include "foundation/NotificationCenter.h"
#include "foundation/Sandbox.h"
#include "foundation/SingletonReset.h"
#include "testing/ConsoleCapture.h"
#include "testing/DispatchTesting.h"
#include "tests/Logging/LoggingTestSupport.h"

namespace {

std::vector<std::string> snapshotOf(BDXUserDataLogger& logger) {
    std::vector<std::string> texts;
    logger.loadSnapshotSynchronously(false, [&texts](const bdx::Value& logs) {
        for (const auto& text : logs) {
            texts.push_back(text.get<std::string>());
        }
    });
    return texts;
}

TEST(UserData, KeepsAtMost1000Characters) {
    const std::string multiByte = "\xC3\xA9";  // one character, two bytes
    std::string thousandAccents;
    for (int index = 0; index < 1000; ++index) {
        thousandAccents += multiByte;
    }
    struct Case {
        std::string given;
        std::string kept;
    };
    for (const Case& c : {Case{"", ""}, Case{std::string(999, 'a'), std::string(999, 'a')},
                          Case{std::string(1000, 'b'), std::string(1000, 'b')},
                          Case{std::string(1000, 'c') + "d", std::string(1000, 'c')},
                          Case{std::string(5000, 'e'), std::string(1000, 'e')},
                          Case{thousandAccents + multiByte, thousandAccents}}) {
        auto logger = BDXUserDataLogger::sharedInstance();
        logger->setUserData(c.given);
        EXPECT_EQ(c.kept, logger->getUserData()) << c.given.size() << " bytes given";
        logger->setUserData(std::nullopt);
        EXPECT_EQ(c.kept, logger->getUserData()) << "nothing changes nothing";
    }
}

TEST(UserData, TheExtraTextGoesWithTheNextSnapshotOnly) {
    auto logger = BDXUserDataLogger::sharedInstance();
    logger->setUserData(std::string("plan: pro"));
    logger->setExtraUserData("; extra");
    EXPECT_EQ(std::vector<std::string>{"plan: pro; extra"}, snapshotOf(*logger));
    EXPECT_EQ(std::vector<std::string>{"plan: pro"}, snapshotOf(*logger));
}

TEST(UserData, PurgeForgetsTheTextButKeepsTheExtraAndClearForgetsBoth) {
    auto logger = BDXUserDataLogger::sharedInstance();
    logger->setUserData(std::string("data"));
    logger->setExtraUserData("extra");
    logger->purgeOldLogs();
    logger->clearOldLogs();
    EXPECT_EQ(std::vector<std::string>{"extra"}, snapshotOf(*logger));
    logger->setUserData(std::string("data"));
    logger->setExtraUserData("extra");
    logger->clearAllLogs();
    EXPECT_EQ(std::vector<std::string>{""}, snapshotOf(*logger));
}

TEST(UserAttributes, SettingTheSameValueTwiceKeepsOneEntryAndPostsTwice) {
    int posted = 0;
    bdx::NotificationCenter::defaultCenter()->addObserver(BDXUserAttributesUpdatedNotification, nullptr,
                                                          [&posted](const bdx::Notification&) { ++posted; });
    auto logger = BDXUserAttributesLogger::sharedInstance();
    logger->setUserAttribute("pro", "plan");
    logger->setUserAttribute("pro", "plan");
    EXPECT_EQ((bdx::Value{{"plan", "pro"}}), logger->getUserAttributes());
    bdx::testing::runMainQueueUntilIdle();
    EXPECT_EQ(2, posted);

    logger->removeUserAttributeForKey("plan");
    EXPECT_EQ(bdx::Value::object(), logger->getUserAttributes());
    bdx::testing::runMainQueueUntilIdle();
    EXPECT_EQ(2, posted) << "a removal posts nothing";
}

TEST(UserAttributes, ReadByKeyAsTextAndCleared) {
    auto logger = BDXUserAttributesLogger::sharedInstance();
    logger->setUserAttribute("1", "b");
    logger->setUserAttribute("2", "a");
    logger->setUserAttribute("3", "b");
    EXPECT_EQ("3", logger->userAttributeForKey("b"));
    EXPECT_EQ(std::nullopt, logger->userAttributeForKey("missing"));
    EXPECT_EQ(R"({"b":"3","a":"2"})", logger->getUserAttributesString());
    logger->clearUserAttributes();
    EXPECT_EQ("{}", logger->getUserAttributesString());
    logger->setUserAttribute("\xFF\xFE", "broken");
    EXPECT_EQ(std::nullopt, logger->getUserAttributesString()) << "text that is not UTF-8 cannot be JSON";
}

// The other side of the relaunch tests: runs only when a parent test starts this program on its sandbox.
TEST(UserDataRelaunchChild, WritesAttributesAndEvents) {
    const char* root = std::getenv("BDX_RELAUNCH_SANDBOX");
    if (!root) {
        GTEST_SKIP() << "runs as the first launch of a relaunch test";
    }
    bdx::Sandbox::setRoot(root);
    auto attributes = BDXUserAttributesLogger::sharedInstance();
    attributes->setUserAttribute("pro", "plan");
    attributes->setUserAttribute("north", "region");
    attributes->removeUserAttributeForKey("region");
    attributes->setUserAttribute("7", "seats");
    bdx::testing::openStore();
    auto events = BDXEventLogger::sharedInstance();
    for (const char* name : {"open", "buy", "open", "open"}) {
        events->addEventLogWithName(name, bdx::Value());
    }
    bdx::testing::waitUntilIdle();
    bdx::resetAllSingletons();
    bdx::testing::waitUntilIdle();
}

// Counts by name.
std::map<std::string, std::int64_t> countsOf(const std::vector<BDXSurveyEventLog>& logs) {
    std::map<std::string, std::int64_t> counts;
    for (const auto& log : logs) {
        counts[log.name()] += log.count();
    }
    return counts;
}

std::map<std::string, std::int64_t> storedCounts() {
    std::vector<BDXSurveyEventLog> logs;
    BDXEventLogger::sharedInstance()->loadSnapshotSynchronouslyWithCompletionHandler(
        [&logs](const std::vector<BDXSurveyEventLog>& loaded) { logs = loaded; });
    return countsOf(logs);
}

TEST(UserDataRelaunch, AttributesAndEventCountsSurviveARelaunchInAnotherProcess) {
    ASSERT_EQ(0, bdx::testing::runProcess({"/proc/self/exe", "--gtest_filter=UserDataRelaunchChild.*"},
                                          "BDX_RELAUNCH_SANDBOX=" + bdx::Sandbox::current().root().string()));
    auto attributes = BDXUserAttributesLogger::sharedInstance();
    EXPECT_EQ((bdx::Value{{"plan", "pro"}, {"seats", "7"}}), attributes->getUserAttributes());
    bdx::testing::openStore();
    EXPECT_EQ((std::map<std::string, std::int64_t>{{"buy", 1}, {"open", 3}}), storedCounts());
    EXPECT_TRUE(BDXEventLogger::sharedInstance()->stateLogs().empty()) << "the run's events last for the run";
}

TEST(EventCounts, CountOneRowPerNameForAllTime) {
    bdx::testing::openStore();
    auto logger = BDXEventLogger::sharedInstance();
    for (int event = 1; event <= 1001; ++event) {
        logger->addEventLogWithName("tap", bdx::Value());
    }
    logger->addEventLogWithName("swipe", bdx::Value{{"dir", "left"}});
    bdx::testing::waitUntilIdle();
    EXPECT_EQ((std::map<std::string, std::int64_t>{{"swipe", 1}, {"tap", 1001}}), storedCounts());

    std::vector<bdx::Value> answers;
    logger->loadSnapshotSynchronously(false, [&answers](const bdx::Value& logs) { answers.push_back(logs); });
    bdx::testing::waitUntilIdle();
    ASSERT_EQ(1u, answers.size());
    std::map<std::string, std::int64_t> archived;
    for (const auto& log : answers[0]) {
        const BDXSurveyEventLog restored = BDXSurveyEventLog::initWithDictionary(log);
        archived[restored.name()] = restored.count();
    }
    EXPECT_EQ((std::map<std::string, std::int64_t>{{"swipe", 1}, {"tap", 1001}}), archived);

    logger->purgeOldLogs();
    logger->clearOldLogs();
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(2u, storedCounts().size()) << "counts are kept across sessions";
    logger->clearAllLogs();
    bdx::testing::waitUntilIdle();
    EXPECT_TRUE(storedCounts().empty());
}

TEST(StateEventLog, CarriesItsParamsOnlyWhenTheyAreJSON) {
    BDXInspector::overrideDebuggerAttached(true);
    bdx::testing::ConsoleCapture capture;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        bdx::Value params;
        bool carried;
        bdx::Value expected;
    };
    for (const Case& c :
         {Case{bdx::Value{{"screen", "home"}, {"n", 2}}, true, {{"screen", "home"}, {"n", 2}}},
          Case{bdx::Value(), true, bdx::Value::object()},
          Case{bdx::Value::array({1, 2}), true, bdx::Value::array({1, 2})},
          Case{bdx::Value("text"), false, {}}, Case{bdx::Value{{"ratio", nan}}, false, {}},
          Case{bdx::Value{{"deep", {{"inf", std::numeric_limits<double>::infinity()}}}}, false, {}}}) {
        const bdx::Value dictionary = BDXStateEventLog("purchase", 1709283600000.0, c.params).toDictionary();
        EXPECT_EQ("purchase", dictionary["event"]);
        EXPECT_EQ(1709283600000.0, dictionary["timestamp"].get<double>());
        EXPECT_EQ(c.carried, dictionary.contains("params")) << c.params.dump();
        if (c.carried) {
            EXPECT_EQ(c.expected, dictionary["params"]);
        }
    }
    const auto printed = capture.lines(bdx::Console::Channel::StandardOutput);
    EXPECT_EQ(3, std::count(printed.begin(), printed.end(),
                            "[Brindlex] Paramters of user event: (purchase) is not JSON serializable"));
}

TEST(StateEventLog, ArchivesUnderClassAndFieldNames) {
    const BDXStateEventLog log("signup", 12.0, bdx::Value{{"via", "mail"}});
    const bdx::Value archived = log.dictionaryValue();
    EXPECT_EQ((bdx::Value{{"BDXStateEventLogname", "signup"},
                          {"BDXStateEventLogtimeEpoch", 12.0},
                          {"BDXStateEventLogparams", {{"via", "mail"}}}}),
              archived);
    EXPECT_EQ(log.toDictionary(), BDXStateEventLog::initWithDictionary(archived).toDictionary());
    EXPECT_FALSE(
        BDXStateEventLog("bare", 1.0, bdx::Value()).dictionaryValue().contains("BDXStateEventLogparams"));
}

TEST(SurveyEventLog, IsEqualByNameAndOrderedByCountWithinOneName) {
    const BDXSurveyEventLog two("open", 2), five("open", 5), other("close", 9);
    EXPECT_TRUE(two.isEqual(five));
    EXPECT_FALSE(two.isEqual(other));
    EXPECT_EQ(-1, two.compare(five));
    EXPECT_EQ(1, five.compare(two));
    EXPECT_EQ(0, five.compare(BDXSurveyEventLog("open", 5)));
    EXPECT_EQ(0, two.compare(other));
    const bdx::Value archived = five.dictionaryValue();
    EXPECT_EQ((bdx::Value{{"BDXSurveyEventLogname", "open"}, {"BDXSurveyEventLogcount", 5}}), archived);
    const BDXSurveyEventLog restored = BDXSurveyEventLog::initWithDictionary(archived);
    EXPECT_EQ("open", restored.name());
    EXPECT_EQ(5, restored.count());
}

TEST(EventLoggerRun, The1001stEventRemovesTheOldestOfTheRun) {
    auto logger = BDXEventLogger::sharedInstance();
    for (int event = 1; event <= 1001; ++event) {
        logger->addEventLogWithName("e" + std::to_string(event), bdx::Value{{"i", event}},
                                    bdx::Date(1000.0 + event));
    }
    const bdx::Value logs = logger->stateLogs();
    ASSERT_EQ(1000u, logs.size());
    EXPECT_EQ((bdx::Value{{"event", "e2"}, {"timestamp", 1002000.0}, {"params", {{"i", 2}}}}), logs.front());
    EXPECT_EQ("e1001", logs.back()["event"]);
    logger->addEventLogWithName("queued before the clear", bdx::Value());
    logger->clearAllStateEventLogs();
    EXPECT_TRUE(logger->stateLogs().empty());
}

}  // namespace
