#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/Date.h"

namespace bdx {

// A time zone by its identifier ("Europe/Berlin", "UTC", "GMT+01:00"), with the rules of the tz database.
//
// The local zone of the library is the default zone: the one a host or test set with setDefaultTimeZone, or
// else the system's zone (TZ, then /etc/localtime), read once and kept until resetSystemTimeZone(). Calendars
// and date formatters made without a zone use the local zone at the time they are made.
class TimeZone {
  public:
    static TimeZone utc();
    // The zone of that identifier, or nothing when the tz database does not know it.
    static std::optional<TimeZone> named(std::string_view identifier);
    // A fixed offset east of Greenwich, named "GMT+hh:mm".
    static TimeZone forSecondsFromGMT(int seconds);

    static TimeZone system();
    // Forgets the system zone read so far, so that the next read sees a changed TZ or /etc/localtime.
    static void resetSystemTimeZone();
    // The default zone, or the system zone when none was set.
    static TimeZone local();
    // Sets the default zone for the whole process; resetAllSingletons() goes back to the system zone.
    static void setDefaultTimeZone(const TimeZone& zone);
    static void resetDefaultTimeZone();

    const std::string& name() const { return name_; }
    // Offset from UTC at that moment, daylight saving included.
    int secondsFromGMT(Date date) const;
    bool isDaylightSavingTimeForDate(Date date) const;
    // The short name the en_US locale uses at that moment: "EDT", "UTC", "GMT+2".
    std::string abbreviationForDate(Date date) const;

    bool operator==(const TimeZone& other) const { return name_ == other.name_; }

  private:
    explicit TimeZone(std::string name) : name_(std::move(name)) {}
    std::string name_;
};

}  // namespace bdx
