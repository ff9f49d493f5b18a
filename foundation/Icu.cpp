#include "foundation/Icu.h"
#include "foundation/Singleton.h"

#include <unicode/ustring.h>

#include <cmath>
#include <map>
#include <mutex>

namespace bdx {

std::u16string Icu::toUtf16(std::string_view utf8) {
    if (utf8.empty()) {
        return {};
    }
    UErrorCode status = U_ZERO_ERROR;
    int32_t needed = 0;
    u_strFromUTF8WithSub(nullptr, 0, &needed, utf8.data(), static_cast<int32_t>(utf8.size()), 0xFFFD, nullptr,
                         &status);
    std::u16string result(static_cast<size_t>(needed), u'\0');
    status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(reinterpret_cast<UChar*>(result.data()), needed, nullptr, utf8.data(),
                         static_cast<int32_t>(utf8.size()), 0xFFFD, nullptr, &status);
    return U_SUCCESS(status) ? result : std::u16string();
}

std::string Icu::toUtf8(const UChar* text, int32_t length) {
    if (!text || length <= 0) {
        return {};
    }
    UErrorCode status = U_ZERO_ERROR;
    int32_t needed = 0;
    u_strToUTF8WithSub(nullptr, 0, &needed, text, length, 0xFFFD, nullptr, &status);
    std::string result(static_cast<size_t>(needed), '\0');
    status = U_ZERO_ERROR;
    u_strToUTF8WithSub(result.data(), needed, nullptr, text, length, 0xFFFD, nullptr, &status);
    return U_SUCCESS(status) ? result : std::string();
}

namespace {

// Opening a calendar or a date format makes the engine load and resolve its data, which costs tens of
// microseconds; cloning an opened one costs a small part of that. Opened ones are kept here as prototypes,
// by their settings, for the whole process. The lock also covers the cloning, as the engine does not promise
// that two threads may clone one object at once.
template <class Handle>
struct PrototypeCache {
    static constexpr size_t kLimit = 64;
    std::mutex mutex;
    std::map<std::string, Handle, std::less<>> prototypes;
};

PrototypeCache<Icu::CalendarHandle>& calendarCache() {
    return neverDestroyed<PrototypeCache<Icu::CalendarHandle>>();
}

PrototypeCache<Icu::DateFormatHandle>& dateFormatCache() {
    return neverDestroyed<PrototypeCache<Icu::DateFormatHandle>>();
}

}  // namespace

Icu::CalendarHandle Icu::openCalendar(std::string_view zoneIdentifier) {
    auto& cache = calendarCache();
    std::lock_guard<std::mutex> lock(cache.mutex);
    auto it = cache.prototypes.find(zoneIdentifier);
    if (it == cache.prototypes.end()) {
        const std::u16string zone = toUtf16(zoneIdentifier);
        UErrorCode status = U_ZERO_ERROR;
        CalendarHandle opened(ucal_open(chars(zone), length(zone), "en_US", UCAL_GREGORIAN, &status));
        if (U_FAILURE(status) || !opened) {
            return nullptr;
        }
        if (cache.prototypes.size() >= cache.kLimit) {
            return opened;
        }
        it = cache.prototypes.emplace(std::string(zoneIdentifier), std::move(opened)).first;
    }
    UErrorCode status = U_ZERO_ERROR;
    CalendarHandle copy(ucal_clone(it->second.get(), &status));
    return U_SUCCESS(status) ? std::move(copy) : nullptr;
}

Icu::DateFormatHandle Icu::openDateFormat(std::string_view pattern, std::string_view zoneIdentifier,
                                          std::string_view locale, UErrorCode* status) {
    std::string key;
    key.append(locale).push_back('\n');
    key.append(zoneIdentifier).push_back('\n');
    key.append(pattern);
    auto& cache = dateFormatCache();
    std::lock_guard<std::mutex> lock(cache.mutex);
    auto it = cache.prototypes.find(key);
    if (it == cache.prototypes.end()) {
        const std::u16string zone = toUtf16(zoneIdentifier);
        const std::u16string text = toUtf16(pattern);
        const std::string localeName(locale);
        DateFormatHandle opened(udat_open(UDAT_PATTERN, UDAT_PATTERN, localeName.c_str(), chars(zone),
                                          length(zone), chars(text), length(text), status));
        if (U_FAILURE(*status) || !opened) {
            return nullptr;
        }
        // Strict, as the platform's formatter is by default: no guessing of fields that do not match.
        udat_setLenient(opened.get(), false);
        if (cache.prototypes.size() >= cache.kLimit) {
            return opened;
        }
        it = cache.prototypes.emplace(std::move(key), std::move(opened)).first;
    }
    *status = U_ZERO_ERROR;
    DateFormatHandle copy(udat_clone(it->second.get(), status));
    return U_SUCCESS(*status) ? std::move(copy) : nullptr;
}

double Icu::millisecondsFromSeconds(double seconds) {
    if (!std::isfinite(seconds)) {
        return seconds;
    }
    return std::round(seconds * 1e6) / 1e3;
}

}  // namespace bdx
