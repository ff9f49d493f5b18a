#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "foundation/Date.h"

// Date operations the library shares: time stamps, calendar-day counts and the two text forms of dates
// it reads back.

// Seconds since 1970, cut to a whole number.
double bdx_currentTimeStamp();
// Milliseconds since 1970, cut to a whole number: the time stamp of every log record.
double bdx_logTimeEpoch(const bdx::Date& date);
// Calendar days in the local calendar from the start of the day of `receiver` to the start of the day of
// `date`; negative when `date` is on an earlier day. Time of day does not count, and a day on which the
// clocks change still counts as one.
std::int64_t bdx_daysCountToDate(const bdx::Date& receiver, const bdx::Date& date);
std::int64_t bdx_daysCountToNow(const bdx::Date& receiver);
// Whether both dates fall in the same whole second since 1970, as time stamps compare.
bool bdx_isEqualToDate(const bdx::Date& receiver, const bdx::Date& date);
// A date as the service writes it, "yyyy-MM-dd'T'HH:mm:ss.SSSZ"; nothing for any other text.
std::optional<bdx::Date> bdx_dateWithRemoteString(const std::string& string);
// A console time stamp, "yyyy-MM-dd HH:mm:ss.SSS" in the local time zone; nothing for any other text.
std::optional<bdx::Date> bdx_dateWithConsoleLogTimeStamp(const std::string& string);
