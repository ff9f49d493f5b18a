#include "foundation/DateFormatter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <tuple>

#include "foundation/Calendar.h"
#include "foundation/Clock.h"
#include "foundation/Date.h"
#include "foundation/TimeZone.h"
#include "testing/VirtualClock.h"

using bdx::Calendar;
using bdx::Date;
using bdx::DateFormatter;
using bdx::TimeZone;

namespace {

// 2024-07-01 12:05:30.123 UTC, a Monday in summer time.
constexpr double kSummerNoon = 1719835530.123;
// 2024-01-15 12:00:00 UTC, a Monday in winter time.
constexpr double kWinterNoon = 1705320000.0;

TimeZone zone(const char* name) {
    auto found = TimeZone::named(name);
    EXPECT_TRUE(found.has_value()) << name;
    return found.value_or(TimeZone::utc());
}

std::string format(const char* pattern, const char* zoneName, double seconds) {
    return DateFormatter(pattern, zone(zoneName)).stringFromDate(Date(seconds));
}

// Stops the time at `now`; the test main puts the real clock back after each test.
void stopClockAt(double now) {
    bdx::Clock::install(std::make_shared<bdx::testing::VirtualClock>(now));
}

}  // namespace

TEST(DatePatterns, EachPatternOfTheLibraryInUtcAndInDaylightSavingZones) {
    // The spring change in New York: one second after 01:59:59 EST is 03:00:00 EDT.
    const double lastStandardSecond = 1710053999.0;  // 2024-03-10 06:59:59 UTC
    const struct {
        const char* pattern;
        const char* zone;
        double seconds;
        const char* expected;
    } cases[] = {
        {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "UTC", kSummerNoon, "2024-07-01T12:05:30.123+0000"},
        {"yyyy-MM-dd HH:mm:ss.SSS", "UTC", kSummerNoon, "2024-07-01 12:05:30.123"},
        {"yyyyMMddhhmmssSSS", "UTC", kSummerNoon, "20240701120530123"},
        {"yyyy-MM-dd HH:mm:ss", "UTC", kSummerNoon, "2024-07-01 12:05:30"},
        {"dd/MM/yyyy", "UTC", kSummerNoon, "01/07/2024"},
        {"EEE, d MMM yyyy h:mm a zzz", "UTC", kSummerNoon, "Mon, 1 Jul 2024 12:05 PM UTC"},
        {"EEEE d MMMM yy", "UTC", kWinterNoon, "Monday 15 January 24"},
        // Milliseconds are cut, not rounded, and a fraction binary cannot hold exactly keeps its digits.
        {"ss.SSS", "UTC", 1.001, "01.001"},
        {"ss.SSS", "UTC", 59.9999, "59.999"},
        // The file-name pattern uses the twelve-hour clock on purpose: 00:05 and 12:05 give the same text.
        {"yyyyMMddhhmmssSSS", "UTC", kSummerNoon - 12 * 3600, "20240701120530123"},
        {"hh a", "UTC", kSummerNoon - 12 * 3600, "12 AM"},
        {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "Europe/Berlin", kSummerNoon, "2024-07-01T14:05:30.123+0200"},
        {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "Europe/Berlin", kWinterNoon, "2024-01-15T13:00:00.000+0100"},
        {"yyyyMMddhhmmssSSS", "Europe/Berlin", kSummerNoon, "20240701020530123"},
        {"HH:mm zzz ZZZZZ", "Europe/Berlin", kSummerNoon, "14:05 GMT+2 +02:00"},
        {"yyyy-MM-dd HH:mm:ss.SSS", "America/New_York", kSummerNoon, "2024-07-01 08:05:30.123"},
        {"hh:mm a zzz Z", "America/New_York", kSummerNoon, "08:05 AM EDT -0400"},
        {"hh:mm a zzz Z", "America/New_York", kWinterNoon, "07:00 AM EST -0500"},
        {"dd/MM/yyyy", "America/New_York", kSummerNoon - 9 * 3600, "30/06/2024"},
        {"HH:mm:ss zzz", "America/New_York", lastStandardSecond, "01:59:59 EST"},
        {"HH:mm:ss zzz", "America/New_York", lastStandardSecond + 1, "03:00:00 EDT"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(format(c.pattern, c.zone, c.seconds), c.expected) << c.pattern << " in " << c.zone;
    }
}

TEST(DateParsing, RemoteTimestampsReadTheirOwnOffset) {
    DateFormatter remote("yyyy-MM-dd'T'HH:mm:ss.SSSZ", zone("America/New_York"));
    for (const char* text : {"2024-07-01T14:05:30.123+0200", "2024-07-01T12:05:30.123Z",
                             "2024-07-01T12:05:30.123+0000", "2024-07-01T08:05:30.123-04:00"}) {
        auto parsed = remote.dateFromString(text);
        ASSERT_TRUE(parsed.has_value()) << text;
        EXPECT_NEAR(parsed->timeIntervalSince1970(), kSummerNoon, 1e-6) << text;
    }
}

TEST(DateParsing, ConsoleTimestampsReadInTheFormattersZone) {
    DateFormatter berlin("yyyy-MM-dd HH:mm:ss.SSS", zone("Europe/Berlin"));
    auto parsed = berlin.dateFromString("2024-07-01 14:05:30.123");
    ASSERT_TRUE(parsed.has_value());
    EXPECT_NEAR(parsed->timeIntervalSince1970(), kSummerNoon, 1e-6);

    DateFormatter newYork("yyyy-MM-dd HH:mm:ss.SSS", zone("America/New_York"));
    for (double seconds : {kSummerNoon, kWinterNoon, 1710053999.0, 1710054000.5}) {
        auto back = newYork.dateFromString(newYork.stringFromDate(Date(seconds)));
        ASSERT_TRUE(back.has_value());
        EXPECT_NEAR(back->timeIntervalSince1970(), seconds, 1e-6);
    }
}

TEST(DateParsing, TextThatDoesNotMatchGivesNothing) {
    DateFormatter console("yyyy-MM-dd HH:mm:ss.SSS", TimeZone::utc());
    EXPECT_FALSE(console.dateFromString("2024-13-01 12:05:30.123"));
    EXPECT_FALSE(console.dateFromString("2024-07-01 12:05:30"));
    EXPECT_FALSE(console.dateFromString("2024-07-01 12:05:30.123 and more"));
    EXPECT_FALSE(console.dateFromString("2024/07/01 12:05:30.123"));
    EXPECT_FALSE(console.dateFromString(""));
}

TEST(DateFormatterSettings, LocalZoneByDefaultAndChangesTakeEffect) {
    TimeZone::setDefaultTimeZone(zone("Europe/Berlin"));
    DateFormatter formatter("HH:mm");
    EXPECT_EQ(formatter.timeZone().name(), "Europe/Berlin");
    EXPECT_EQ(formatter.stringFromDate(Date(kSummerNoon)), "14:05");
    formatter.setTimeZone(zone("America/New_York"));
    EXPECT_EQ(formatter.stringFromDate(Date(kSummerNoon)), "08:05");
    formatter.setDateFormat("yyyy");
    EXPECT_EQ(formatter.stringFromDate(Date(kSummerNoon)), "2024");
    EXPECT_EQ(formatter.localeIdentifier(), "en_US");
}

TEST(DateFormatterSettings, QuotedTextStandsAsWritten) {
    DateFormatter formatter("h 'o''clock' a, 'week' w", TimeZone::utc());
    EXPECT_EQ(formatter.stringFromDate(Date(kSummerNoon)), "12 o'clock PM, week 27");
    auto parsed = DateFormatter("yyyy-MM-dd'T'HH", TimeZone::utc()).dateFromString("2024-07-01T12");
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(parsed->timeIntervalSince1970(), 1719835200.0);
}

TEST(TimeZones, NamesOffsetsAndTheSystemZone) {
    EXPECT_FALSE(TimeZone::named("Nowhere/Atlantis"));
    EXPECT_EQ(zone("Europe/Berlin").secondsFromGMT(Date(kSummerNoon)), 7200);
    EXPECT_EQ(zone("Europe/Berlin").secondsFromGMT(Date(kWinterNoon)), 3600);
    EXPECT_TRUE(zone("America/New_York").isDaylightSavingTimeForDate(Date(kSummerNoon)));
    EXPECT_FALSE(zone("America/New_York").isDaylightSavingTimeForDate(Date(kWinterNoon)));
    EXPECT_EQ(zone("America/New_York").abbreviationForDate(Date(kWinterNoon)), "EST");
    EXPECT_EQ(TimeZone::forSecondsFromGMT(-12600).name(), "GMT-03:30");
    EXPECT_EQ(TimeZone::forSecondsFromGMT(-12600).secondsFromGMT(Date(kSummerNoon)), -12600);

    // The system zone follows TZ once it is read again.
    const char* saved = std::getenv("TZ");
    const std::string previous = saved ? saved : "";
    setenv("TZ", "America/New_York", 1);
    TimeZone::resetSystemTimeZone();
    EXPECT_EQ(TimeZone::system().name(), "America/New_York");
    EXPECT_EQ(TimeZone::local().name(), "America/New_York");
    TimeZone::setDefaultTimeZone(TimeZone::utc());
    EXPECT_EQ(TimeZone::local().name(), "UTC");
    if (saved) {
        setenv("TZ", previous.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    TimeZone::resetSystemTimeZone();
}

TEST(CalendarDays, CountsCalendarDaysNotElapsedTime) {
    const Calendar berlin(zone("Europe/Berlin"));
    // 2024-07-01 23:59 and 2024-07-02 00:01 in Berlin.
    const Date beforeMidnight(1719871140.0);
    const Date afterMidnight(1719871260.0);
    EXPECT_EQ(berlin.daysFromDate(beforeMidnight, afterMidnight), 1);
    EXPECT_EQ(berlin.daysFromDate(afterMidnight, beforeMidnight), -1);
    EXPECT_EQ(berlin.daysFromDate(beforeMidnight, beforeMidnight.dateByAddingTimeInterval(-23 * 3600)), 0);
    // The same two moments are one day apart in UTC only when midnight UTC lies between them: it does not.
    EXPECT_EQ(Calendar(TimeZone::utc()).daysFromDate(beforeMidnight, afterMidnight), 0);

    // Across the spring change in New York a calendar day has 23 hours and still counts as one.
    const Calendar newYork(zone("America/New_York"));
    const Date saturdayNoon(1710003600.0);  // 2024-03-09 12:00 EST
    EXPECT_EQ(newYork.daysFromDate(saturdayNoon, saturdayNoon.dateByAddingTimeInterval(47 * 3600)), 2);
    const Date sundayStart(1710048600.0);  // 2024-03-10 00:30 EST
    EXPECT_EQ(newYork.daysFromDate(sundayStart, sundayStart.dateByAddingTimeInterval(23 * 3600 - 60)), 1);
}

TEST(CalendarDays, StartOfDayAndComponentsInTheCalendarsZone) {
    const Calendar berlin(zone("Europe/Berlin"));
    const Date earlyMorning(1719790200.0);  // 2024-07-01 01:30 in Berlin, still 2024-06-30 in UTC
    EXPECT_EQ(berlin.startOfDayForDate(earlyMorning).timeIntervalSince1970(), 1719784800.0);
    EXPECT_EQ(Calendar(TimeZone::utc()).startOfDayForDate(earlyMorning).timeIntervalSince1970(),
              1719705600.0);

    const auto parts = Calendar(zone("America/New_York")).components(Date(kSummerNoon));
    // Weekday 2 is Monday.
    EXPECT_EQ(
        std::tie(parts.year, parts.month, parts.day, parts.hour, parts.minute, parts.second, parts.weekday),
        std::make_tuple(2024, 7, 1, 8, 5, 30, 2));
    EXPECT_NEAR(parts.nanosecond, 123000000, 1000);

    auto made = berlin.dateFromComponents({.year = 2024, .month = 1, .day = 32, .hour = 9});
    ASSERT_TRUE(made.has_value());
    EXPECT_EQ(made->timeIntervalSince1970(), 1706774400.0);  // 2024-02-01 09:00 CET
}

TEST(CalendarDays, CurrentCalendarFollowsTheDefaultZone) {
    TimeZone::setDefaultTimeZone(zone("America/New_York"));
    EXPECT_EQ(Calendar::current().timeZone().name(), "America/New_York");
}

TEST(Dates, DescriptionsAndTheInstalledClock) {
    EXPECT_EQ(Date(kSummerNoon).description(), "2024-07-01 12:05:30 +0000");
    EXPECT_EQ(Date::distantPast().description(), "0001-01-01 00:00:00 +0000");
    EXPECT_EQ(Date::distantFuture().description(), "4001-01-01 00:00:00 +0000");

    stopClockAt(kWinterNoon);
    EXPECT_EQ(Date::now().timeIntervalSince1970(), kWinterNoon);
    EXPECT_EQ(Date(kWinterNoon + 60).timeIntervalSinceNow(), 60.0);
    EXPECT_EQ(Date::dateWithTimeIntervalSinceNow(-1).timeIntervalSince1970(), kWinterNoon - 1);
}
