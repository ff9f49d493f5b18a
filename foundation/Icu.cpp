#include "foundation/Icu.h"

#include <unicode/ustring.h>

#include <cmath>

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

Icu::CalendarHandle Icu::openCalendar(std::string_view zoneIdentifier) {
    const std::u16string zone = toUtf16(zoneIdentifier);
    UErrorCode status = U_ZERO_ERROR;
    UCalendar* calendar = ucal_open(chars(zone), length(zone), "en_US", UCAL_GREGORIAN, &status);
    if (U_FAILURE(status)) {
        if (calendar) {
            ucal_close(calendar);
        }
        return nullptr;
    }
    return CalendarHandle(calendar);
}

double Icu::millisecondsFromSeconds(double seconds) {
    if (!std::isfinite(seconds)) {
        return seconds;
    }
    return std::round(seconds * 1e6) / 1e3;
}

}  // namespace bdx
