#include "foundation/Date.h"

#include <cmath>
#include <cstdio>
#include <ctime>

#include "foundation/Clock.h"

namespace bdx {

Date Date::now() {
    return Date(Clock::current()->now());
}

Date Date::dateWithTimeIntervalSinceNow(double seconds) {
    return now().dateByAddingTimeInterval(seconds);
}

double Date::timeIntervalSinceNow() const {
    return timeIntervalSinceDate(now());
}

std::string Date::description() const {
    if (!std::isfinite(seconds_)) {
        return "(invalid date)";
    }
    const std::time_t whole = static_cast<std::time_t>(std::floor(seconds_));
    std::tm parts{};
    if (!gmtime_r(&whole, &parts)) {
        return "(invalid date)";
    }
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d +0000", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text;
}

}  // namespace bdx
