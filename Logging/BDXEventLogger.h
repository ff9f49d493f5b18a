#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Logging/BDXStateEventLog.h"
#include "Logging/BDXSurveyEventLog.h"
#include "core/BDXCountLimitedArray.h"
#include "foundation/Date.h"
#include "reports/BDXSnapshotProtcol.h"

namespace bdx {
class DispatchQueue;
}  // namespace bdx

// The events the host reports: a count per name for all time, in the object store, and the events of
// this run, the last 1000, in memory ("com.bdx.eventLogsQueue").
class BDXEventLogger : public std::enable_shared_from_this<BDXEventLogger> {
  public:
    static constexpr std::size_t kStateEventLogsMaximumCount = 1000;
    static constexpr std::size_t kEventLogsFetchLimit = 1000;

    BDXEventLogger();

    static std::shared_ptr<BDXEventLogger> sharedInstance();
    static void destroy();

    // Counts the event under its name and adds it to this run's events; returns at once. Null params
    // stand for none.
    void addEventLogWithName(const std::string& name, const bdx::Value& params);
    void addEventLogWithName(const std::string& name, const bdx::Value& params, const bdx::Date& date);

    // This run's events as dictionaries, oldest first; waits for the events already queued.
    bdx::Value stateLogs() const;
    void clearAllStateEventLogs();

  private:
    static const std::shared_ptr<bdx::DispatchQueue>& eventsQueue();
    std::shared_ptr<BDXCountLimitedArray<BDXStateEventLog>> stateEventLogs() const;

    mutable std::mutex stateEventLogsMutex_;
    mutable std::shared_ptr<BDXCountLimitedArray<BDXStateEventLog>> stateEventLogs_;
    std::recursive_mutex lock_;
};
