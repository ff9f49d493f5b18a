#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "foundation/Error.h"
#include "persistence/BDXDALService.h"
#include "platform/store/ManagedObjectContext.h"
#include "reports/BDXSnapshotProtcol.h"

// How the log and network loggers read what a report takes: the newest records of the present session,
// oldest first. Included only by their sources (it carries the JSON header).

// The newest `maxCount` records of `Entity` of this session, oldest first, as dictionaries; nothing when
// the fetch fails.
template <class Entity>
std::optional<bdx::Value> bdx_newestRecordsOfThisSession(
    const std::shared_ptr<bdx::store::ManagedObjectContext>& context, std::size_t maxCount) {
    bdx::Error error;
    auto rows = context->executeFetchRequest(
        Entity::logsFetchRequestWithMaxCount(maxCount, BDXInspector::sessionUUID()), &error);
    if (!error.isEmpty()) {
        return std::nullopt;
    }
    std::reverse(rows.begin(), rows.end());
    bdx::Value records = bdx::Value::array();
    for (const auto& row : rows) {
        if (auto record = std::dynamic_pointer_cast<Entity>(row)) {
            records.push_back(record->toDictionary());
        }
    }
    return records;
}

// Reads in the service's lane, after the writes queued before, and answers `handler`. A failed read
// answers at once with nothing and then goes on to answer again, as the loggers always have: handlers
// tolerate the second call.
template <class Entity>
void bdx_readRecordsOfThisSessionAsync(BDXDALService& service, std::size_t maxCount, const char* loadedFormat,
                                       BDXSnapshotProtcol::SnapshotHandler handler) {
    service.readASync(
        [maxCount, loadedFormat, handler](const std::shared_ptr<bdx::store::ManagedObjectContext>& context) {
            const std::optional<bdx::Value> loaded =
                bdx_newestRecordsOfThisSession<Entity>(context, maxCount);
            if (!loaded && handler) {
                handler(bdx::Value::array());
            }
            const bdx::Value records = loaded.value_or(bdx::Value::array());
            if (bdx_sdk_log_detail::levelAllows(0)) {
                BDXSDKLogVerbose(loadedFormat, records.dump());
            }
            if (handler) {
                handler(records);
            }
        },
        nullptr);
}

// The snapshot answer both loggers give: read now on the caller's thread, or through the lane.
template <class Logger>
void bdx_answerSnapshot(Logger& logger, bool synchronously, BDXSnapshotProtcol::SnapshotHandler handler) {
    if (!synchronously) {
        logger.loadLogsAsynchronouslyWithCompletionHandler(std::move(handler));
        return;
    }
    const bdx::Value records = logger.loadLogsSynchronously();
    if (handler) {
        handler(records);
    }
}
