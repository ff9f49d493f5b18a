#include "sessions/BDXSession.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdint>
#include <memory>
#include <string>

#include "foundation/TaggedValue.h"
#include "platform/ui/Application.h"
#include "sessions/BDXSessionLogger.h"
#include "tests/core/CoreTestSupport.h"

namespace {

using SessionRecord = bdx::testing::CoreTest;

// A stored record as the cache file holds it.
bdx::Value storedRecord(bdx::Value eventLogs) {
    return {{"BDXSessionsessionNumber", 4},
            {"BDXSessionsessionStartTimestamp", 1709283600.0},
            {"BDXSessiondate", bdx::TaggedValue::fromDate(bdx::Date(1709283600.25))},
            {"BDXSessionuserAttributes", {{"plan", "pro"}}},
            {"BDXSessioneventLogs", std::move(eventLogs)},
            {"BDXSessionrequestParameters", {{"duration", 42}}}};
}

}  // namespace

TEST_F(SessionRecord, CachedFormNamesEachFieldAfterTheClassAndSkipsWhatIsAbsent) {
    BDXSession fresh(3);
    const bdx::Value record = fresh.dictionaryValue();
    std::vector<std::string> keys;
    for (const auto& [key, value] : record.items()) {
        keys.push_back(key);
    }
    const std::vector<std::string> expected = {"BDXSessionsessionNumber", "BDXSessionsessionStartTimestamp",
                                               "BDXSessiondate", "BDXSessionuserAttributes",
                                               "BDXSessioneventLogs"};
    EXPECT_EQ(expected, keys) << "no parameters yet: the key is left out, not stored as null";

    BDXSession restored;
    ASSERT_TRUE(restored.initWithDictionary(storedRecord(bdx::Value{"first", "second"})));
    EXPECT_EQ(4, restored.sessionNumber());
    EXPECT_EQ(1709283600.25, restored.date().timeIntervalSince1970());
    EXPECT_EQ(bdx::Value({{"plan", "pro"}}), restored.userAttributes());
    ASSERT_NE(nullptr, restored.requestParameters());
    EXPECT_EQ(bdx::Value({{"duration", 42}}), *restored.requestParameters());
    EXPECT_EQ(storedRecord(bdx::Value{"first", "second"}), restored.dictionaryValue()) << "a round trip";
    EXPECT_FALSE(restored.initWithDictionary(bdx::Value{{"BDXSessionsessionNumber", 1}}))
        << "a record without its date has no identity";
}

TEST_F(SessionRecord, StoredEventLogsAreTakenOnlyAsAListOfTexts) {
    struct Case {
        const char* name;
        bdx::Value stored;
        bdx::Value expected;
    };
    const Case cases[] = {
        {"texts", bdx::Value{"a", "b"}, bdx::Value{"a", "b"}},
        {"dictionaries", bdx::Value::parse(R"([{"event": "tap"}])"), bdx::Value::array()},
        {"text after a dictionary", bdx::Value::parse(R"([{"event": "tap"}, "a"])"), bdx::Value::array()},
        {"empty list", bdx::Value::array(), bdx::Value::array()},
        {"not a list", "a", bdx::Value::array()},
    };
    for (const auto& c : cases) {
        BDXSession restored;
        ASSERT_TRUE(restored.initWithDictionary(storedRecord(c.stored))) << c.name;
        EXPECT_EQ(c.expected, restored.eventLogs()) << c.name;
    }
}

TEST_F(SessionRecord, DurationCountsTheWholeSecondsOfTheClockBetweenStartAndNow) {
    struct Case {
        double number;
        double startFraction;  // where in its second the session begins
        double after;
        std::int64_t expected;
    };
    const Case cases[] = {
        {1, 0, 0, 0}, {1, 0, 2.9, 2}, {1, 0.9, 0.2, 1}, {7, 0.5, 61.4, 61}, {0, 0, 61.5, 0},
    };
    for (const auto& c : cases) {
        const double now = clock->now();
        clock->advance(std::floor(now) + 1 + c.startFraction - now);
        BDXSession session(c.number);
        clock->advance(c.after);
        EXPECT_EQ(c.expected, session.sessionDurationTillNow())
            << "number " << c.number << ", begun at ." << c.startFraction << ", after " << c.after;
    }
}

TEST_F(SessionRecord, RecordsBegunInTheSameSecondAreOneSession) {
    BDXSession first(1);
    clock->advance(0.4);
    BDXSession sameSecond(2);
    clock->advance(0.7);
    BDXSession nextSecond(1);
    EXPECT_TRUE(first.isEqual(sameSecond));
    EXPECT_FALSE(first.isEqual(nextSecond));
    EXPECT_FALSE(first.isEqual(BDXSession()));
}

TEST_F(SessionRecord, ActiveTimeStopwatchRunsOnlyWhileActive) {
    BDXSessionLogger logger;
    struct Step {
        const char* action;
        double seconds;
        std::int64_t expected;
    };
    const Step steps[] = {
        {"run", 10.4, 10},
        {"resign", 0, 10},
        {"run", 30, 10},
        {"resign", 0, 10},
        {"active", 0, 10},
        {"run", 2.2, 13},
        // Becoming active again restarts the running stretch: what ran since the last start is dropped.
        {"active", 0, 10},
        {"run", 5, 15},
    };
    auto application = bdx::ui::Application::sharedApplication();
    for (const auto& step : steps) {
        const std::string action = step.action;
        if (action == "run") {
            clock->advance(step.seconds);
        } else if (action == "resign") {
            application->resignActive();
        } else {
            application->becomeActive();
        }
        EXPECT_EQ(step.expected, logger.getDuration()) << "after " << action << " " << step.seconds;
    }
}
