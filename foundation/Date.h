// Public header: installed with the library for hosts to include.
#pragma once

#include <compare>
#include <string>

namespace bdx {

// A moment in time: seconds since 1970-01-01 00:00:00 UTC, as a double. A plain value; calendar questions
// (days, components, time zones) go to Calendar and DateFormatter.
class Date {
  public:
    // The reference moment of 1970; prefer Date::now() or an explicit interval.
    constexpr Date() = default;
    constexpr explicit Date(double secondsSince1970) : seconds_(secondsSince1970) {}

    // The present moment, read from the installed Clock.
    static Date now();
    static constexpr Date dateWithTimeIntervalSince1970(double seconds) { return Date(seconds); }
    static Date dateWithTimeIntervalSinceNow(double seconds);
    // The platform's far-away dates: year 1 and year 4001.
    static constexpr Date distantPast() { return Date(-62135596800.0); }
    static constexpr Date distantFuture() { return Date(64092211200.0); }

    constexpr double timeIntervalSince1970() const { return seconds_; }
    // Seconds from `other` to this date: positive when this date is later.
    constexpr double timeIntervalSinceDate(const Date& other) const { return seconds_ - other.seconds_; }
    double timeIntervalSinceNow() const;
    constexpr Date dateByAddingTimeInterval(double seconds) const { return Date(seconds_ + seconds); }

    constexpr bool isEqualToDate(const Date& other) const { return seconds_ == other.seconds_; }
    constexpr Date earlierDate(const Date& other) const { return other.seconds_ < seconds_ ? other : *this; }
    constexpr Date laterDate(const Date& other) const { return other.seconds_ > seconds_ ? other : *this; }
    constexpr auto operator<=>(const Date&) const = default;

    // "2024-07-01 12:05:30 +0000": the moment in UTC, whole seconds, as "%@" prints a date.
    std::string description() const;

  private:
    double seconds_ = 0.0;
};

}  // namespace bdx
