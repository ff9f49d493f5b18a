#include <gtest/gtest.h>

#include "core/BDXDateOperations.h"
#include "foundation/Calendar.h"
#include "foundation/TimeZone.h"
#include "tests/core/CoreTestSupport.h"

namespace {

class BDXDateOperations : public bdx::testing::CoreTest {
  protected:
    void inZone(const char* name) {
        auto zone = bdx::TimeZone::named(name);
        ASSERT_TRUE(zone);
        bdx::TimeZone::setDefaultTimeZone(*zone);
    }
    // The moment of a local wall-clock time in the zone in force.
    bdx::Date local(int year, int month, int day, int hour, int minute) {
        auto date = bdx::Calendar::current().dateFromComponents(
            {.year = year, .month = month, .day = day, .hour = hour, .minute = minute});
        EXPECT_TRUE(date);
        return date.value_or(bdx::Date());
    }
};

}  // namespace

TEST_F(BDXDateOperations, DaysAreCountedBetweenDayStarts) {
    inZone("Europe/Berlin");
    EXPECT_EQ(bdx_daysCountToDate(local(2024, 5, 6, 23, 59), local(2024, 5, 7, 0, 1)), 1);
    EXPECT_EQ(bdx_daysCountToDate(local(2024, 5, 6, 0, 1), local(2024, 5, 6, 23, 59)), 0);
    EXPECT_EQ(bdx_daysCountToDate(local(2024, 5, 7, 0, 1), local(2024, 5, 6, 23, 59)), -1);
    EXPECT_EQ(bdx_daysCountToDate(local(2024, 12, 31, 12, 0), local(2025, 3, 1, 8, 0)), 60);
}

TEST_F(BDXDateOperations, ADayOnWhichTheClocksChangeCountsAsOne) {
    inZone("America/New_York");
    // Clocks went forward on 10 March 2024 (a 23-hour day) and back on 3 November (a 25-hour day).
    EXPECT_EQ(bdx_daysCountToDate(local(2024, 3, 9, 23, 59), local(2024, 3, 10, 0, 1)), 1);
    EXPECT_EQ(bdx_daysCountToDate(local(2024, 3, 10, 0, 0), local(2024, 3, 11, 0, 0)), 1);
    EXPECT_EQ(bdx_daysCountToDate(local(2024, 3, 10, 23, 30), local(2024, 3, 11, 0, 30)), 1);
    EXPECT_EQ(bdx_daysCountToDate(local(2024, 11, 3, 0, 30), local(2024, 11, 3, 23, 30)), 0);
    EXPECT_EQ(bdx_daysCountToDate(local(2024, 11, 2, 23, 59), local(2024, 11, 4, 0, 1)), 2);
    // The same instants are a different count in another zone: the local calendar decides.
    const bdx::Date before = local(2024, 3, 9, 23, 59);
    const bdx::Date after = local(2024, 3, 10, 0, 1);
    inZone("UTC");
    EXPECT_EQ(bdx_daysCountToDate(before, after), 0);
}

TEST_F(BDXDateOperations, CountToNowFollowsTheClock) {
    inZone("UTC");
    const bdx::Date start = bdx::Date::now();
    EXPECT_EQ(bdx_daysCountToNow(start), 0);
    clock->advance(15 * 3600);  // 09:00 to 00:00 of the next day
    EXPECT_EQ(bdx_daysCountToNow(start), 1);
}

TEST_F(BDXDateOperations, TimeStampsAreCutToWholeUnits) {
    clock->advance(0.75);
    EXPECT_EQ(bdx_currentTimeStamp(), bdx::testing::VirtualClock::kStartDate);
    EXPECT_EQ(bdx_logTimeEpoch(bdx::Date(1709283600.12345)), 1709283600123.0);
    EXPECT_EQ(bdx_logTimeEpoch(bdx::Date(-1.0005)), -1000.0);
    EXPECT_TRUE(bdx_isEqualToDate(bdx::Date(100.2), bdx::Date(100.9)));
    EXPECT_FALSE(bdx_isEqualToDate(bdx::Date(100.9), bdx::Date(101.0)));
}

TEST_F(BDXDateOperations, ServiceAndConsoleTextsParse) {
    inZone("Europe/Berlin");
    const auto remote = bdx_dateWithRemoteString("2024-03-01T09:00:00.250+0000");
    ASSERT_TRUE(remote);
    EXPECT_DOUBLE_EQ(remote->timeIntervalSince1970(), 1709283600.25);
    const auto offset = bdx_dateWithRemoteString("2024-03-01T10:00:00.250+0100");
    ASSERT_TRUE(offset);
    EXPECT_DOUBLE_EQ(offset->timeIntervalSince1970(), 1709283600.25);
    EXPECT_FALSE(bdx_dateWithRemoteString("2024-03-01 09:00:00"));
    EXPECT_FALSE(bdx_dateWithRemoteString(""));

    // Console stamps are local time: 10:00 in Berlin is 09:00 UTC in winter.
    const auto console = bdx_dateWithConsoleLogTimeStamp("2024-03-01 10:00:00.500");
    ASSERT_TRUE(console);
    EXPECT_DOUBLE_EQ(console->timeIntervalSince1970(), 1709283600.5);
    EXPECT_FALSE(bdx_dateWithConsoleLogTimeStamp("2024-03-01T10:00:00.500"));
}
