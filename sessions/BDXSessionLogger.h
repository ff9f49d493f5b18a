#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "foundation/Date.h"

// A stopwatch of the time the application has been active in this process: it runs while the application
// is active and stands while it is not. Observes from construction to destruction.
class BDXSessionLogger {
  public:
    // Not used by the library itself: the snapshot manager keeps an instance of its own.
    static std::shared_ptr<BDXSessionLogger> sharedInstance();

    // Starts running now.
    BDXSessionLogger();
    ~BDXSessionLogger();
    BDXSessionLogger(const BDXSessionLogger&) = delete;
    BDXSessionLogger& operator=(const BDXSessionLogger&) = delete;

    void applicationDidBecomeActive();
    void applicationWillResignActive();
    // The active time so far, rounded to the nearest second.
    std::int64_t getDuration() const;

  private:
    mutable std::mutex mutex_;
    std::optional<bdx::Date> appStart_;
    double oldDuration_ = 0;
};
