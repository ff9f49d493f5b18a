#pragma once

// Glue to the calendar engine (ICU) behind dates, calendars and time zones: text conversion between the
// library's UTF-8 and the engine's UTF-16, and owned calendar handles. For those sources only; keep it out of
// public headers.
#include <unicode/ucal.h>
#include <unicode/udat.h>
#include <unicode/utypes.h>

#include <memory>
#include <string>
#include <string_view>

namespace bdx {

class Icu {
  public:
    struct CalendarCloser {
        void operator()(UCalendar* calendar) const { ucal_close(calendar); }
    };
    using CalendarHandle = std::unique_ptr<UCalendar, CalendarCloser>;
    struct DateFormatCloser {
        void operator()(UDateFormat* format) const { udat_close(format); }
    };
    using DateFormatHandle = std::unique_ptr<UDateFormat, DateFormatCloser>;

    // A Gregorian calendar in the zone of that identifier, en_US rules (weeks start on Sunday); nullptr when
    // the engine cannot make one.
    static CalendarHandle openCalendar(std::string_view zoneIdentifier);
    // A strict date format of that pattern, zone and locale; nullptr (and `status` set) when the engine
    // cannot make one.
    static DateFormatHandle openDateFormat(std::string_view pattern, std::string_view zoneIdentifier,
                                           std::string_view locale, UErrorCode* status);
    // Engine time (milliseconds) for seconds since 1970, rounded to the microsecond first so that a decimal
    // fraction that binary cannot hold exactly (1.001 stored as 1.000999…) keeps its millisecond.
    static double millisecondsFromSeconds(double seconds);

    static std::u16string toUtf16(std::string_view utf8);
    static std::string toUtf8(const UChar* text, int32_t length);
    static const UChar* chars(const std::u16string& text) {
        return reinterpret_cast<const UChar*>(text.data());
    }
    static int32_t length(const std::u16string& text) { return static_cast<int32_t>(text.size()); }
};

}  // namespace bdx
