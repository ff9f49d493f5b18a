#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "foundation/Date.h"
#include "foundation/NotificationCenter.h"
#include "foundation/StringWithFormat.h"
#include "platform/store/FetchRequest.h"
#include "reports/BDXSnapshotProtcol.h"

class BDXDALService;
namespace bdx::store {
class ManagedObjectContext;
}  // namespace bdx::store

// The host's log lines of this session, kept in the object store through one process-wide data service,
// and sent with a report. Lines of earlier sessions are removed as soon as the store is open.
class BDXLogLogger : public BDXSnapshotProtcol, public std::enable_shared_from_this<BDXLogLogger> {
  public:
    // The newest lines a snapshot takes, and the count of lines added here that starts a purge.
    static constexpr std::size_t kMaximumLogsCount = 1000;

    // A logger that clears old lines whenever the store manager announces its store.
    static std::shared_ptr<BDXLogLogger> init();
    BDXLogLogger();
    ~BDXLogLogger() override;

    // The level word of lines the host gives none: "d".
    static std::string defaultLogLevel() { return "d"; }
    // Every line of every session.
    static bdx::store::FetchRequest fetchRequest();
    // The one data service of every log logger, made on first use.
    static std::shared_ptr<BDXDALService> dataLayerService();

    // Stores a line of the host unless the feature BDXLog is off. Without an argument list the format is
    // the message as it stands, so a "%" in it is kept literally.
    void addBDXLogWithFormat(const std::string& format,
                             std::optional<std::span<const bdx::FormatArgument>> args,
                             const std::string& level);
    // Prints the line while a debugger is attached (and the host allows it), then queues its write;
    // returns at once.
    void addLog(const std::string& message, const std::string& level, const bdx::Date& date);
    // Inserts the line into `context`, with the present session's identifier.
    void addLog(const std::string& message, const std::string& level, const bdx::Date& date,
                const std::shared_ptr<bdx::store::ManagedObjectContext>& inManagedObjectContext);

    // The newest 1000 lines of this session, oldest first, as dictionaries; also the writes still queued.
    bdx::Value loadLogsSynchronously();
    // The same, read after the queued writes. A failed read calls the handler twice, both times with an
    // empty array.
    void loadLogsAsynchronouslyWithCompletionHandler(SnapshotHandler handler);
    void loadSnapshotSynchronously(bool synchronously, SnapshotHandler withCompletionHandler) override;

    // Starts a purge once the lines added here reach 1000 (compared as an unsigned count).
    void purgeIfNeeded();
    // Deletes the oldest rows beyond 1000, of every session, and takes their number off the count.
    void purgeOldLogs() override;
    void clearAllLogs() override;
    // Deletes the lines of every other session.
    void clearOldLogs() override;

    std::shared_ptr<bdx::store::ManagedObjectContext> privateContext() const;
    // Lines added by this logger, less those purged.
    std::int64_t logsCount() const { return logsCount_.load(); }

  private:
    void deleteRows(const bdx::store::FetchRequest& request);

    std::atomic<std::int64_t> logsCount_{0};
    bdx::NotificationCenter::Token storeObserver_ = 0;
};
