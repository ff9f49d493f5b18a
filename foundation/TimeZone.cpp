#include "foundation/TimeZone.h"

#include <unicode/udat.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "foundation/Console.h"
#include "foundation/Icu.h"
#include "foundation/Singleton.h"
#include "foundation/SingletonReset.h"

namespace bdx {
namespace {

struct ZoneState {
    std::mutex mutex;
    std::optional<TimeZone> defaultZone;
    std::optional<std::string> systemZone;
    bool resetRegistered = false;
};

ZoneState& zoneState() {
    return neverDestroyed<ZoneState>();
}

std::string detectHostZone() {
    UChar buffer[128];
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = ucal_getHostTimeZone(buffer, 128, &status);
    if (U_FAILURE(status) || length <= 0) {
        Console::logFault("cannot tell the system time zone; using UTC");
        return "UTC";
    }
    std::string name = Icu::toUtf8(buffer, length);
    // The engine answers "Etc/Unknown" for a TZ it cannot place.
    if (name == "Etc/Unknown") {
        const char* tz = std::getenv("TZ");
        Console::logFault(std::string("unknown system time zone ") + (tz ? tz : "") + "; using UTC");
        return "UTC";
    }
    return name;
}

}  // namespace

TimeZone TimeZone::utc() {
    return TimeZone("UTC");
}

std::optional<TimeZone> TimeZone::named(std::string_view identifier) {
    if (identifier.empty()) {
        return std::nullopt;
    }
    const std::u16string id = Icu::toUtf16(identifier);
    UChar canonical[128];
    UBool isSystemID = false;
    UErrorCode status = U_ZERO_ERROR;
    ucal_getCanonicalTimeZoneID(Icu::chars(id), Icu::length(id), canonical, 128, &isSystemID, &status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    return TimeZone(std::string(identifier));
}

TimeZone TimeZone::forSecondsFromGMT(int seconds) {
    const int magnitude = seconds < 0 ? -seconds : seconds;
    char name[32];
    std::snprintf(name, sizeof name, "GMT%c%02d:%02d", seconds < 0 ? '-' : '+', magnitude / 3600,
                  (magnitude / 60) % 60);
    return TimeZone(name);
}

TimeZone TimeZone::system() {
    auto& s = zoneState();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.systemZone) {
        s.systemZone = detectHostZone();
    }
    return TimeZone(*s.systemZone);
}

void TimeZone::resetSystemTimeZone() {
    auto& s = zoneState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.systemZone.reset();
}

TimeZone TimeZone::local() {
    {
        auto& s = zoneState();
        std::lock_guard<std::mutex> lock(s.mutex);
        if (s.defaultZone) {
            return *s.defaultZone;
        }
    }
    return system();
}

void TimeZone::setDefaultTimeZone(const TimeZone& zone) {
    auto& s = zoneState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.defaultZone = zone;
    if (!s.resetRegistered) {
        s.resetRegistered = true;
        registerSingletonReset([] {
            auto& state = zoneState();
            std::lock_guard<std::mutex> resetLock(state.mutex);
            state.defaultZone.reset();
            state.systemZone.reset();
            state.resetRegistered = false;
        });
    }
}

void TimeZone::resetDefaultTimeZone() {
    auto& s = zoneState();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.defaultZone.reset();
}

int TimeZone::secondsFromGMT(Date date) const {
    auto calendar = Icu::openCalendar(name_);
    if (!calendar) {
        return 0;
    }
    UErrorCode status = U_ZERO_ERROR;
    ucal_setMillis(calendar.get(), Icu::millisecondsFromSeconds(date.timeIntervalSince1970()), &status);
    const int32_t zone = ucal_get(calendar.get(), UCAL_ZONE_OFFSET, &status);
    const int32_t dst = ucal_get(calendar.get(), UCAL_DST_OFFSET, &status);
    return U_SUCCESS(status) ? (zone + dst) / 1000 : 0;
}

bool TimeZone::isDaylightSavingTimeForDate(Date date) const {
    auto calendar = Icu::openCalendar(name_);
    if (!calendar) {
        return false;
    }
    UErrorCode status = U_ZERO_ERROR;
    ucal_setMillis(calendar.get(), Icu::millisecondsFromSeconds(date.timeIntervalSince1970()), &status);
    const int32_t dst = ucal_get(calendar.get(), UCAL_DST_OFFSET, &status);
    return U_SUCCESS(status) && dst != 0;
}

std::string TimeZone::abbreviationForDate(Date date) const {
    UErrorCode status = U_ZERO_ERROR;
    Icu::DateFormatHandle format = Icu::openDateFormat("z", name_, "en_US", &status);
    if (!format) {
        return name_;
    }
    UChar buffer[64];
    status = U_ZERO_ERROR;
    const int32_t length =
        udat_format(format.get(), Icu::millisecondsFromSeconds(date.timeIntervalSince1970()), buffer, 64,
                    nullptr, &status);
    return U_SUCCESS(status) ? Icu::toUtf8(buffer, length) : name_;
}

}  // namespace bdx
