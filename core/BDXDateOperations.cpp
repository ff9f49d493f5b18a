#include "core/BDXDateOperations.h"

#include <cmath>

#include "foundation/Calendar.h"
#include "foundation/DateFormatter.h"

double bdx_currentTimeStamp() {
    return std::trunc(bdx::Date::now().timeIntervalSince1970());
}

double bdx_logTimeEpoch(const bdx::Date& date) {
    return std::trunc(date.timeIntervalSince1970() * 1000.0);
}

std::int64_t bdx_daysCountToDate(const bdx::Date& receiver, const bdx::Date& date) {
    return bdx::Calendar::current().daysFromDate(receiver, date);
}

std::int64_t bdx_daysCountToNow(const bdx::Date& receiver) {
    return bdx_daysCountToDate(receiver, bdx::Date::now());
}

bool bdx_isEqualToDate(const bdx::Date& receiver, const bdx::Date& date) {
    return std::trunc(receiver.timeIntervalSince1970()) == std::trunc(date.timeIntervalSince1970());
}

std::optional<bdx::Date> bdx_dateWithRemoteString(const std::string& string) {
    // The text carries its own offset, so one formatter serves the process whatever the local zone.
    static const bdx::DateFormatter formatter("yyyy-MM-dd'T'HH:mm:ss.SSSZ");
    return formatter.dateFromString(string);
}

std::optional<bdx::Date> bdx_dateWithConsoleLogTimeStamp(const std::string& string) {
    // Local time: made for each call so that a change of the local zone is followed.
    const bdx::DateFormatter formatter("yyyy-MM-dd HH:mm:ss.SSS");
    return formatter.dateFromString(string);
}
