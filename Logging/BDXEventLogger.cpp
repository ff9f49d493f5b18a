#include "Logging/BDXEventLogger.h"

#include <nlohmann/json.hpp>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXDateOperations.h"
#include "foundation/DispatchQueue.h"
#include "foundation/Singleton.h"
#include "persistence/BDXDALService.h"
#include "persistence/BDXEventLog.h"
#include "persistence/BDXEventLoggerContextProvider.h"
#include "platform/store/ManagedObjectContext.h"

using bdx::store::ManagedObjectContext;

namespace {

std::vector<BDXSurveyEventLog> surveyEventLogsIn(const std::shared_ptr<ManagedObjectContext>& context) {
    std::vector<BDXSurveyEventLog> logs;
    for (const auto& row : context->executeFetchRequest(
             BDXEventLog::eventlogsFetchRequestWithMaxCount(BDXEventLogger::kEventLogsFetchLimit))) {
        if (auto event = std::dynamic_pointer_cast<BDXEventLog>(row)) {
            BDXSDKLogVerbose("BDXEventLogger loaded: %@", event->description());
            logs.push_back(event->toSurveyEventLog());
        }
    }
    return logs;
}

}  // namespace

BDXEventLogger::BDXEventLogger() = default;

std::shared_ptr<BDXEventLogger> BDXEventLogger::sharedInstance() {
    return bdx::Singleton<BDXEventLogger>::holder().get();
}

void BDXEventLogger::destroy() {
    bdx::Singleton<BDXEventLogger>::holder().destroy();
}

const std::shared_ptr<bdx::DispatchQueue>& BDXEventLogger::eventsQueue() {
    // Never destroyed: a worker may still use it while the process exits.
    static const auto* const queue = new std::shared_ptr<bdx::DispatchQueue>(
        bdx::DispatchQueue::create("com.bdx.eventLogsQueue", bdx::DispatchQueue::Attribute::Serial));
    return *queue;
}

std::shared_ptr<BDXCountLimitedArray<BDXStateEventLog>> BDXEventLogger::stateEventLogs() const {
    std::lock_guard<std::mutex> guard(stateEventLogsMutex_);
    if (!stateEventLogs_) {
        stateEventLogs_ =
            std::make_shared<BDXCountLimitedArray<BDXStateEventLog>>(kStateEventLogsMaximumCount);
    }
    return stateEventLogs_;
}

void BDXEventLogger::addEventLogWithName(const std::string& name, const bdx::Value& params) {
    addEventLogWithName(name, params, bdx::Date::now());
}

void BDXEventLogger::addEventLogWithName(const std::string& name, const bdx::Value& params,
                                         const bdx::Date& date) {
    const double timeEpoch = bdx_logTimeEpoch(date);
    dataLayerService()->writeASync(
        [name](const std::shared_ptr<ManagedObjectContext>& context) {
            // A failed fetch finds no row, and the name gets a second one.
            const auto rows = context->executeFetchRequest(BDXEventLog::eventlogFetchRequestWithName(name));
            auto event = rows.empty() ? nullptr : std::dynamic_pointer_cast<BDXEventLog>(rows.front());
            if (event) {
                event->setCount(event->count() + 1);
            } else if ((event = std::dynamic_pointer_cast<BDXEventLog>(
                            context->insertNewObjectForEntityForName(BDXEventLog::entityName())))) {
                event->setName(name);
                event->setCount(1);
            }
            if (event) {
                BDXSDKLogVerbose("Saved event log: %@", event->description());
            }
        },
        nullptr);
    eventsQueue()->async([weakSelf = weak_from_this(), name, timeEpoch, params] {
        if (auto self = weakSelf.lock()) {
            self->stateEventLogs()->addObject(BDXStateEventLog(name, timeEpoch, params));
        }
    });
}

bdx::Value BDXEventLogger::stateLogs() const {
    bdx::Value logs = bdx::Value::array();
    eventsQueue()->sync([&] {
        for (const auto& log : stateEventLogs()->objects()) {
            logs.push_back(log.toDictionary());
        }
    });
    return logs;
}

void BDXEventLogger::clearAllStateEventLogs() {
    // Behind the events already queued, so that none of them lands in the new ring.
    eventsQueue()->async([weakSelf = weak_from_this()] {
        if (auto self = weakSelf.lock()) {
            auto fresh =
                std::make_shared<BDXCountLimitedArray<BDXStateEventLog>>(kStateEventLogsMaximumCount);
            std::lock_guard<std::mutex> guard(self->stateEventLogsMutex_);
            self->stateEventLogs_ = std::move(fresh);
        }
    });
}

std::shared_ptr<BDXDALService> BDXEventLogger::dataLayerService() {
    return bdx::Singleton<BDXDALService, BDXEventLogger>::holder().get([] {
        return BDXDALService::initWithContextProvider(std::make_shared<BDXEventLoggerContextProvider>());
    });
}

void BDXEventLogger::loadSnapshotSynchronouslyWithCompletionHandler(const SurveyEventLogsHandler& handler) {
    std::vector<BDXSurveyEventLog> logs;
    dataLayerService()->readSync(
        [&logs](const std::shared_ptr<ManagedObjectContext>& context) { logs = surveyEventLogsIn(context); });
    if (handler) {
        handler(logs);
    }
}

void BDXEventLogger::loadSnapshotAsyncWithCompletion(SurveyEventLogsHandler handler) {
    std::weak_ptr<BDXEventLogger> weakSelf = weak_from_this();
    dataLayerService()->readASync(
        [weakSelf, handler](const std::shared_ptr<ManagedObjectContext>& context) {
            auto self = weakSelf.lock();
            std::unique_lock<std::recursive_mutex> guard;
            if (self) {
                guard = std::unique_lock<std::recursive_mutex>(self->lock_);
            }
            const std::vector<BDXSurveyEventLog> logs = surveyEventLogsIn(context);
            if (handler) {
                handler(logs);
            }
        },
        nullptr);
}

void BDXEventLogger::loadSnapshotSynchronously(bool synchronously, SnapshotHandler withCompletionHandler) {
    auto archived = [withCompletionHandler](const std::vector<BDXSurveyEventLog>& logs) {
        bdx::Value array = bdx::Value::array();
        for (const auto& log : logs) {
            array.push_back(log.dictionaryValue());
        }
        if (withCompletionHandler) {
            withCompletionHandler(array);
        }
    };
    if (synchronously) {
        loadSnapshotSynchronouslyWithCompletionHandler(archived);
    } else {
        loadSnapshotAsyncWithCompletion(archived);
    }
}

void BDXEventLogger::clearAllLogs() {
    dataLayerService()->writeASync(
        [](const std::shared_ptr<ManagedObjectContext>& context) {
            for (const auto& row : context->executeFetchRequest(BDXEventLog::eventlogsFetchRequest())) {
                context->deleteObject(row);
            }
            BDXSDKLogVerbose("BDXEventLogger cleared.");
        },
        nullptr);
}
