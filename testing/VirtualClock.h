#pragma once

#include <atomic>
#include <memory>

#include "foundation/Clock.h"

namespace bdx::testing {

// A clock whose time stands still until the test advances it. Installed, it drives every delayed
// block and timer of the library: advance() fires, in deadline order, everything due in the span,
// each on its own queue with the clock set to its deadline, so that a day of timers runs in moments.
class VirtualClock : public Clock {
  public:
    // Friday 1 March 2024, 09:00:00 UTC.
    static constexpr double kStartDate = 1709283600.0;

    explicit VirtualClock(double startDate = kStartDate);

    double now() const override;
    double monotonicNow() const override;
    bool isVirtual() const override { return true; }

    // Moves time forward by `seconds` (must be called on the main thread, normally the test's own).
    // Every `after` and timer due in the span fires in deadline order on its target queue, with the
    // time set to its deadline. Before the next one fires, every queue runs dry: the fired block, the
    // work it hands to other queues, what that work hands on, and the main queue, so that an `after`
    // made by any of it fires at its exact virtual time within the same advance.
    void advance(double seconds);
    // Moves the wall time only, as a user who changes the device's clock; deadlines stay.
    void shiftWallClock(double seconds);

  private:
    void moveTo(double monotonic);

    const double startDate_;
    std::atomic<double> elapsed_{0};
    std::atomic<double> wallShift_{0};
};

}  // namespace bdx::testing
