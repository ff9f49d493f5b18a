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

class BDXDALService;
namespace bdx {
class DispatchQueue;
}  // namespace bdx

// The events the host reports: a count per name for all time, in the object store, and the events of
// this run, the last 1000, in memory ("com.bdx.eventLogsQueue").
class BDXEventLogger : public BDXSnapshotProtcol, public std::enable_shared_from_this<BDXEventLogger> {
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

    using SurveyEventLogsHandler = std::function<void(const std::vector<BDXSurveyEventLog>& logs)>;

    // Up to 1000 counted events, in no set order: now (seeing the counts still queued), or in the lane
    // after the queued counts.
    void loadSnapshotSynchronouslyWithCompletionHandler(const SurveyEventLogsHandler& handler);
    void loadSnapshotAsyncWithCompletion(SurveyEventLogsHandler handler);
    // The counted events as archived survey event logs.
    void loadSnapshotSynchronously(bool synchronously, SnapshotHandler withCompletionHandler) override;

    // The counts are kept across sessions: these two leave them.
    void purgeOldLogs() override {}
    void clearOldLogs() override {}
    // Deletes every count.
    void clearAllLogs() override;

    // The one data service of the event logger, made on first use.
    static std::shared_ptr<BDXDALService> dataLayerService();

    // This run's events as dictionaries, oldest first; waits for the events already queued.
    bdx::Value stateLogs() const;
    void clearAllStateEventLogs();

  private:
    static const std::shared_ptr<bdx::DispatchQueue>& eventsQueue();
    std::shared_ptr<BDXCountLimitedArray<BDXStateEventLog>> stateEventLogs() const;

    mutable std::mutex stateEventLogsMutex_;
    mutable std::shared_ptr<BDXCountLimitedArray<BDXStateEventLog>> stateEventLogs_;
    // Held by the asynchronous load.
    std::recursive_mutex lock_;
};
