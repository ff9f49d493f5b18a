// Public header: installed with the library for hosts to include.
#pragma once

#include <functional>
#include <memory>

namespace bdx {

// Every read of the time and every delay in the library goes through the installed clock, so that
// tests can install a virtual clock and run days of retries, deferred writes and daily checks
// without sleeping.
class Clock {
  public:
    virtual ~Clock() = default;

    // Wall-clock time in seconds since 1970 (what a date reads).
    virtual double now() const = 0;
    // Seconds on a clock that never goes backwards; deadlines of delays and timers are on it.
    virtual double monotonicNow() const = 0;
    virtual bool isVirtual() const { return false; }

    // The clock in force; the real clock unless a test installed another.
    static std::shared_ptr<Clock> current();
    // Installs a clock for the whole process; nullptr puts the real clock back.
    static void install(std::shared_ptr<Clock> clock);

    // Called after every install with the clock replaced and the clock now in force, on the
    // installing thread, so that whoever keeps deadlines can carry them over to the new clock.
    using InstallObserver =
        std::function<void(const std::shared_ptr<Clock>& previous, const std::shared_ptr<Clock>& installed)>;
    static void addInstallObserver(InstallObserver observer);
};

}  // namespace bdx
