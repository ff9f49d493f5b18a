#include "Logging/BDXEventLogger.h"

#include <nlohmann/json.hpp>

#include "core/BDXDateOperations.h"
#include "foundation/DispatchQueue.h"
#include "foundation/Singleton.h"

BDXEventLogger::BDXEventLogger() = default;

std::shared_ptr<BDXEventLogger> BDXEventLogger::sharedInstance() {
    return bdx::Singleton<BDXEventLogger>::holder().get();
}

void BDXEventLogger::destroy() {
    bdx::Singleton<BDXEventLogger>::holder().destroy();
}

const std::shared_ptr<bdx::DispatchQueue>& BDXEventLogger::eventsQueue() {
    static const std::shared_ptr<bdx::DispatchQueue> queue =
        bdx::DispatchQueue::create("com.bdx.eventLogsQueue", bdx::DispatchQueue::Attribute::Serial);
    return queue;
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
    auto fresh = std::make_shared<BDXCountLimitedArray<BDXStateEventLog>>(kStateEventLogsMaximumCount);
    std::lock_guard<std::mutex> guard(stateEventLogsMutex_);
    stateEventLogs_ = std::move(fresh);
}
