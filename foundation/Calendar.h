#pragma once

#include <cstdint>
#include <optional>

#include "foundation/Date.h"
#include "foundation/TimeZone.h"

namespace bdx {

// The fields of a moment on the calendar, in a given time zone.
struct DateComponents {
    int year = 0;
    int month = 0;  // 1 to 12
    int day = 0;    // day of the month, from 1
    int hour = 0;   // 0 to 23
    int minute = 0;
    int second = 0;
    int nanosecond = 0;
    int weekday = 0;  // 1 is Sunday, 7 is Saturday
};

// The Gregorian calendar in one time zone: days, their starts, and the fields of a moment. Days are calendar
// days, so a day in a zone that moves its clocks has 23 or 25 hours and still counts as one.
class Calendar {
  public:
    explicit Calendar(TimeZone zone) : zone_(std::move(zone)) {}
    // The calendar of the local time zone as it is now.
    static Calendar current() { return Calendar(TimeZone::local()); }

    const TimeZone& timeZone() const { return zone_; }

    // The first moment of the day that holds `date` (midnight, or the first hour that exists that day).
    Date startOfDayForDate(Date date) const;
    DateComponents components(Date date) const;
    // The moment of those fields (weekday and nanoseconds ignored; out-of-range fields carry over, so day 32
    // of January is the first of February); nothing when the calendar cannot resolve them.
    std::optional<Date> dateFromComponents(const DateComponents& components) const;
    // Calendar days from the start of the day of `from` to the start of the day of `to`: 1 from 23:59 to
    // 00:01 the next day, negative when `to` is on an earlier day, 0 within one day.
    std::int64_t daysFromDate(Date from, Date to) const;
    bool isDate(Date date, Date sameDayAs) const { return daysFromDate(date, sameDayAs) == 0; }

  private:
    TimeZone zone_;
};

}  // namespace bdx
