#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Logging/BDXConsoleLog.h"
#include "core/BDXCountLimitedArray.h"

namespace bdx {
class DispatchQueue;
}  // namespace bdx

// Keeps the library's own error lines (BDXSDKLogInternalError) in a ring of the last 100, whatever the
// level of diagnostics in force, so that a report about the library itself can carry them. The ring starts
// with the library's version line.
class BDXSDKInternalLogManager {
  public:
    BDXSDKInternalLogManager();

    static std::shared_ptr<BDXSDKInternalLogManager> sharedManager();
    static void destroy();

    // Stamps the line with the present log time and adds it; returns once the ring has it queued.
    void addSDKInternalLog(const std::string& log);
    // A new empty ring; the version line is not added again.
    void clearLogs();
    // Oldest first.
    std::vector<BDXConsoleLog> internalLogs() const;

  private:
    std::shared_ptr<BDXCountLimitedArray<BDXConsoleLog>> ring() const;

    std::shared_ptr<bdx::DispatchQueue> queue_;
    mutable std::mutex mutex_;
    std::shared_ptr<BDXCountLimitedArray<BDXConsoleLog>> internalLog_;
};
