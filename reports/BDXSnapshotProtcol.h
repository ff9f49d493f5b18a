#pragma once

#include <functional>

#include "foundation/Value.h"

// What a log source offers a snapshot: its records for the report, and the ways to trim them.
class BDXSnapshotProtcol {
  public:
    // The records, as an array; a source may call the handler more than once, and handlers must
    // tolerate that.
    using SnapshotHandler = std::function<void(const bdx::Value& logs)>;

    virtual ~BDXSnapshotProtcol() = default;

    // Synchronously: the handler runs on the caller's thread before the call returns. Otherwise it runs
    // where the source's asynchronous read ends.
    virtual void loadSnapshotSynchronously(bool synchronously, SnapshotHandler withCompletionHandler) = 0;
    virtual void purgeOldLogs() = 0;
    virtual void clearAllLogs() = 0;
    // Removes what earlier runs of the process left.
    virtual void clearOldLogs() = 0;
};
