#include "foundation/Calendar.h"

#include <cmath>

#include "foundation/Console.h"
#include "foundation/Icu.h"

namespace bdx {
namespace {

Icu::CalendarHandle calendarAt(const TimeZone& zone, Date date) {
    auto calendar = Icu::openCalendar(zone.name());
    if (!calendar) {
        Console::logFault("cannot open a calendar in the time zone " + zone.name());
        return nullptr;
    }
    UErrorCode status = U_ZERO_ERROR;
    ucal_setMillis(calendar.get(), Icu::millisecondsFromSeconds(date.timeIntervalSince1970()), &status);
    return U_SUCCESS(status) ? std::move(calendar) : nullptr;
}

// Moves the calendar back to the first moment of its day.
bool truncateToStartOfDay(UCalendar* calendar) {
    UErrorCode status = U_ZERO_ERROR;
    const int32_t year = ucal_get(calendar, UCAL_EXTENDED_YEAR, &status);
    const int32_t dayOfYear = ucal_get(calendar, UCAL_DAY_OF_YEAR, &status);
    if (U_FAILURE(status)) {
        return false;
    }
    ucal_clear(calendar);
    ucal_set(calendar, UCAL_EXTENDED_YEAR, year);
    ucal_set(calendar, UCAL_DAY_OF_YEAR, dayOfYear);
    // With the time fields cleared the engine resolves to midnight, or, on a day whose midnight is skipped by
    // a clock change, to the first wall time after the gap.
    ucal_getMillis(calendar, &status);
    return U_SUCCESS(status);
}

}  // namespace

Date Calendar::startOfDayForDate(Date date) const {
    auto calendar = calendarAt(zone_, date);
    if (!calendar || !truncateToStartOfDay(calendar.get())) {
        return date;
    }
    UErrorCode status = U_ZERO_ERROR;
    const UDate millis = ucal_getMillis(calendar.get(), &status);
    return U_SUCCESS(status) ? Date(millis / 1000.0) : date;
}

DateComponents Calendar::components(Date date) const {
    DateComponents parts;
    auto calendar = calendarAt(zone_, date);
    if (!calendar) {
        return parts;
    }
    UErrorCode status = U_ZERO_ERROR;
    UCalendar* c = calendar.get();
    parts.year = ucal_get(c, UCAL_EXTENDED_YEAR, &status);
    parts.month = ucal_get(c, UCAL_MONTH, &status) + 1;
    parts.day = ucal_get(c, UCAL_DATE, &status);
    parts.hour = ucal_get(c, UCAL_HOUR_OF_DAY, &status);
    parts.minute = ucal_get(c, UCAL_MINUTE, &status);
    parts.second = ucal_get(c, UCAL_SECOND, &status);
    parts.weekday = ucal_get(c, UCAL_DAY_OF_WEEK, &status);
    // The engine keeps milliseconds; the rest of the fraction comes from the date itself.
    const double seconds = date.timeIntervalSince1970();
    const double fraction = seconds - std::floor(seconds);
    parts.nanosecond = static_cast<int>(std::llround(fraction * 1e9) % 1000000000LL);
    return parts;
}

std::optional<Date> Calendar::dateFromComponents(const DateComponents& components) const {
    auto calendar = Icu::openCalendar(zone_.name());
    if (!calendar) {
        return std::nullopt;
    }
    UCalendar* c = calendar.get();
    ucal_clear(c);
    ucal_setAttribute(c, UCAL_LENIENT, 1);
    ucal_set(c, UCAL_EXTENDED_YEAR, components.year);
    ucal_set(c, UCAL_MONTH, components.month - 1);
    ucal_set(c, UCAL_DATE, components.day);
    ucal_set(c, UCAL_HOUR_OF_DAY, components.hour);
    ucal_set(c, UCAL_MINUTE, components.minute);
    ucal_set(c, UCAL_SECOND, components.second);
    UErrorCode status = U_ZERO_ERROR;
    const UDate millis = ucal_getMillis(c, &status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    return Date(millis / 1000.0 + components.nanosecond / 1e9);
}

std::int64_t Calendar::daysFromDate(Date from, Date to) const {
    auto start = calendarAt(zone_, from);
    auto end = calendarAt(zone_, to);
    if (!start || !end) {
        return 0;
    }
    // The local Julian day numbers of the two dates: a difference of calendar days, however long the days
    // between are and whenever they start.
    UErrorCode status = U_ZERO_ERROR;
    const int32_t first = ucal_get(start.get(), UCAL_JULIAN_DAY, &status);
    const int32_t last = ucal_get(end.get(), UCAL_JULIAN_DAY, &status);
    return U_SUCCESS(status) ? static_cast<std::int64_t>(last) - first : 0;
}

}  // namespace bdx
