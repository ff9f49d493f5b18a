#include "Logging/BDXLogLogger.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "Logging/BDXSessionLogReads.h"
#include "core/BDXDefaults.h"
#include "core/BDXFeatures.h"
#include "foundation/Once.h"
#include "foundation/Singleton.h"
#include "persistence/BDXCoreDataPersistenceManager.h"
#include "persistence/BDXDALService.h"
#include "persistence/BDXLog.h"
#include "persistence/BDXLogLoggerContextProvider.h"
#include "platform/store/ManagedObjectContext.h"

using bdx::store::FetchRequest;
using bdx::store::ManagedObjectContext;

std::shared_ptr<BDXLogLogger> BDXLogLogger::init() {
    auto logger = std::make_shared<BDXLogLogger>();
    std::weak_ptr<BDXLogLogger> weakLogger = logger;
    logger->storeObserver_ = bdx::NotificationCenter::defaultCenter()->addObserver(
        BDXCoreDataPersistenceManager::didAddPersistentStoreNotification(), nullptr,
        [weakLogger](const bdx::Notification&) {
            if (auto self = weakLogger.lock()) {
                self->clearOldLogs();
            }
        });
    return logger;
}

BDXLogLogger::BDXLogLogger() = default;

BDXLogLogger::~BDXLogLogger() {
    if (storeObserver_ != 0) {
        bdx::NotificationCenter::defaultCenter()->removeObserver(storeObserver_);
    }
}

FetchRequest BDXLogLogger::fetchRequest() {
    return BDXLog::fetchRequest();
}

std::shared_ptr<BDXDALService> BDXLogLogger::dataLayerService() {
    return bdx::Singleton<BDXDALService, BDXLogLogger>::holder().get([] {
        return BDXDALService::initWithContextProvider(std::make_shared<BDXLogLoggerContextProvider>());
    });
}

void BDXLogLogger::addBDXLogWithFormat(const std::string& format,
                                       std::optional<std::span<const bdx::FormatArgument>> args,
                                       const std::string& level) {
    const bdx::Date date = bdx::Date::now();
    if (!BDXDefaults::getInstance()->features()->BDXLog()) {
        return;
    }
    addLog(args ? bdx::formatWithArguments(format, *args) : format, level, date);
}

void BDXLogLogger::addLog(const std::string& message, const std::string& level, const bdx::Date& date) {
    if (BDXInspector::isDebuggerAttached() && BDXDefaults::getInstance()->allowBDXLogToPrintInConsoleLog()) {
        BDXInspector::printLogWithMessage(message, level);
    }
    std::weak_ptr<BDXLogLogger> weakSelf = weak_from_this();
    dataLayerService()->writeASync(
        [weakSelf, message, level, date](const std::shared_ptr<ManagedObjectContext>& context) {
            if (auto self = weakSelf.lock()) {
                self->addLog(message, level, date, context);
            }
        },
        [weakSelf](const bdx::Error&) {
            if (auto self = weakSelf.lock()) {
                ++self->logsCount_;
                self->purgeIfNeeded();
            }
        });
}

void BDXLogLogger::addLog(const std::string& message, const std::string& level, const bdx::Date& date,
                          const std::shared_ptr<ManagedObjectContext>& inManagedObjectContext) {
    auto log = std::dynamic_pointer_cast<BDXLog>(
        inManagedObjectContext->insertNewObjectForEntityForName(BDXLog::entityName()));
    if (!log) {
        return;
    }
    log->setDate(date);
    log->setLevel(level);
    log->setMessage(message);
    log->setSessionId(BDXInspector::sessionUUID());
    BDXSDKLogVerbose("Saved BDXLog %@", log->description());
}

bdx::Value BDXLogLogger::loadLogsSynchronously() {
    bdx::Value logs = bdx::Value::array();
    dataLayerService()->readSync([&logs](const std::shared_ptr<ManagedObjectContext>& context) {
        logs =
            bdx_newestRecordsOfThisSession<BDXLog>(context, kMaximumLogsCount).value_or(bdx::Value::array());
    });
    return logs;
}

void BDXLogLogger::loadLogsAsynchronouslyWithCompletionHandler(SnapshotHandler handler) {
    bdx_readRecordsOfThisSessionAsync<BDXLog>(*dataLayerService(), kMaximumLogsCount, "BDXLogs loaded: %@",
                                              std::move(handler));
}

void BDXLogLogger::loadSnapshotSynchronously(bool synchronously, SnapshotHandler withCompletionHandler) {
    bdx_answerSnapshot(*this, synchronously, std::move(withCompletionHandler));
}

void BDXLogLogger::purgeIfNeeded() {
    if (static_cast<std::uint64_t>(logsCount_.load()) >= kMaximumLogsCount) {
        purgeOldLogs();
    }
}

void BDXLogLogger::purgeOldLogs() {
    std::weak_ptr<BDXLogLogger> weakSelf = weak_from_this();
    dataLayerService()->writeASync(
        [weakSelf](const std::shared_ptr<ManagedObjectContext>& context) {
            auto self = weakSelf.lock();
            if (!self) {
                return;
            }
            FetchRequest request = BDXLog::fetchRequest();
            request.sortDescriptors = {{"date", true}};
            const auto rows = context->executeFetchRequest(request);
            const auto excess =
                static_cast<std::int64_t>(rows.size()) - static_cast<std::int64_t>(kMaximumLogsCount);
            for (std::int64_t index = 0; index < excess; ++index) {
                context->deleteObject(rows[static_cast<std::size_t>(index)]);
            }
            // Taken off even when negative: below 1000 rows the count rises again.
            self->logsCount_ -= excess;
        },
        nullptr);
}

void BDXLogLogger::deleteRows(const FetchRequest& request) {
    dataLayerService()->writeASync(
        [request](const std::shared_ptr<ManagedObjectContext>& context) {
            FetchRequest faults = request;
            faults.includesPropertyValues = false;
            for (const auto& row : context->executeFetchRequest(faults)) {
                context->deleteObject(row);
            }
            context->save();
        },
        nullptr);
}

void BDXLogLogger::clearAllLogs() {
    deleteRows(BDXLog::fetchRequest());
}

void BDXLogLogger::clearOldLogs() {
    deleteRows(BDXLog::fetchRequestWithSessionIdNotEqual(BDXInspector::sessionUUID()));
}

std::shared_ptr<ManagedObjectContext> BDXLogLogger::privateContext() const {
    return BDXCoreDataPersistenceManager::sharedManager()->privateContext();
}
