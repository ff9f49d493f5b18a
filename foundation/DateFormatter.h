#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/Date.h"
#include "foundation/TimeZone.h"

namespace bdx {

// Dates to text and back with the platform's date patterns ("yyyy-MM-dd'T'HH:mm:ss.SSSZ",
// "yyyyMMddhhmmssSSS", "dd/MM/yyyy", "EEE, d MMM yyyy h:mm a zzz"...): every pattern letter of the Unicode
// date format (y M d H h m s S a Z z E and the rest), quoted literals, "''" for a quote. Locale "en_US" and
// the local time zone unless set otherwise. Parsing is strict: the whole text must match the pattern, or the
// result is nothing.
//
// Thread-safe: one formatter may be shared, as the library keeps some for the whole process.
class DateFormatter {
  public:
    DateFormatter();
    explicit DateFormatter(std::string_view dateFormat);
    DateFormatter(std::string_view dateFormat, TimeZone timeZone);
    ~DateFormatter();
    DateFormatter(const DateFormatter&) = delete;
    DateFormatter& operator=(const DateFormatter&) = delete;

    std::string dateFormat() const;
    void setDateFormat(std::string_view dateFormat);
    TimeZone timeZone() const;
    void setTimeZone(const TimeZone& timeZone);
    std::string localeIdentifier() const;
    void setLocaleIdentifier(std::string_view identifier);

    // The date in the pattern; "" when the pattern cannot be used (logged).
    std::string stringFromDate(Date date) const;
    // The date the text stands for; nothing when it does not match the pattern.
    std::optional<Date> dateFromString(std::string_view text) const;

  private:
    struct Engine;
    // The engine behind the current settings, made again after a change. Called with mutex_ held.
    Engine* engine() const;

    mutable std::mutex mutex_;
    std::string format_;
    TimeZone zone_;
    std::string locale_ = "en_US";
    mutable std::unique_ptr<Engine> engine_;
    mutable bool engineFailed_ = false;
};

}  // namespace bdx
