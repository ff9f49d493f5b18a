#include "sessions/BDXSession.h"

#include <nlohmann/json.hpp>

#include <cmath>

#include "Logging/BDXEventLogger.h"
#include "Logging/BDXUserAttributesLogger.h"
#include "core/BDXDateOperations.h"
#include "core/BDXDefaults.h"
#include "core/BDXFeatures.h"
#include "core/BDXNullableMutableDictionary.h"
#include "foundation/StringWithFormat.h"
#include "foundation/TaggedValue.h"
#include "persistence/BDXCacheManager.h"
#include "reports/BDXSnapshot.h"
#include "reports/BDXSnapshotManager.h"
#include "transport/BDXServerManager.h"

namespace {

std::shared_ptr<const bdx::Value> shared(bdx::Value value) {
    return std::make_shared<const bdx::Value>(std::move(value));
}

}  // namespace

BDXSession::BDXSession()
    : userAttributes_(shared(bdx::Value::object())), eventLogs_(shared(bdx::Value::array())) {}

BDXSession::BDXSession(double sessionNumber)
    : date_(bdx::Date::now()),
      sessionNumber_(static_cast<std::int64_t>(sessionNumber)),
      sessionStartTimestamp_(bdx_currentTimeStamp()),
      userAttributes_(shared(bdx::Value::object())),
      eventLogs_(shared(bdx::Value::array())) {}

std::shared_ptr<BDXSession> BDXSession::initWithSessionNumber(double sessionNumber) {
    return std::make_shared<BDXSession>(sessionNumber);
}

bdx::Date BDXSession::date() const {
    std::lock_guard guard(mutex_);
    return date_;
}

std::int64_t BDXSession::sessionNumber() const {
    std::lock_guard guard(mutex_);
    return sessionNumber_;
}

double BDXSession::sessionStartTimestamp() const {
    std::lock_guard guard(mutex_);
    return sessionStartTimestamp_;
}

bdx::Value BDXSession::userAttributes() const {
    std::lock_guard guard(mutex_);
    return *userAttributes_;
}

bdx::Value BDXSession::eventLogs() const {
    std::lock_guard guard(mutex_);
    return *eventLogs_;
}

std::shared_ptr<const bdx::Value> BDXSession::requestParameters() const {
    std::lock_guard guard(mutex_);
    return requestParameters_;
}

std::int64_t BDXSession::sessionDurationTillNow() const {
    std::lock_guard guard(mutex_);
    if (sessionNumber_ == 0) {
        return 0;
    }
    const double duration = std::trunc(bdx_currentTimeStamp() - sessionStartTimestamp_);
    return std::isinf(duration) ? 0 : static_cast<std::int64_t>(duration);
}

bdx::Value BDXSession::currentUserAttributes() {
    return BDXUserAttributesLogger::sharedInstance()->getUserAttributes();
}

bdx::Value BDXSession::currentUserEventLogs() {
    return BDXEventLogger::sharedInstance()->stateLogs();
}

bdx::Value BDXSession::requestParametersDict() {
    auto snapshot = BDXSnapshotManager::sharedInstance()->takePreSendingSnapshotWithScreenShot(false, false,
                                                                                               false, false);
    BDXNullableMutableDictionary parameters(snapshot->getSessionParams());
    const bdx::Value events = currentUserEventLogs();
    {
        std::lock_guard guard(mutex_);
        eventLogs_ = shared(events);
    }
    auto defaults = BDXDefaults::getInstance();
    parameters.setObject(bdx::stringWithFormat("%f", sessionStartTimestamp()), "started_at");
    parameters.setObject(sessionDurationTillNow(), "duration");
    parameters.setObject(defaults->sessionEmail(), "email");
    const auto name = defaults->name();
    parameters.setObject(name ? bdx::Value(*name) : bdx::Value(), "name");
    parameters.setObject(currentUserAttributes(), "custom_attributes");
    parameters.setObject(events, "user_events");
    parameters.setObject(defaults->features()->crashReporting(), "crash_reporting_enabled");
    const std::int64_t number = sessionNumber();
    if (number <= 1) {
        // Only the first session of an installation tells the service its number.
        parameters.setObject(number, "session_number");
    }
    return parameters.getDictionary();
}

bdx::Value BDXSession::dictionaryValue() const {
    std::lock_guard guard(mutex_);
    BDXNullableMutableDictionary record;
    record.setObject(sessionNumber_, coderNameForSelector("sessionNumber"));
    record.setObject(sessionStartTimestamp_, coderNameForSelector("sessionStartTimestamp"));
    record.setObject(bdx::TaggedValue::fromDate(date_), coderNameForSelector("date"));
    record.setObject(*userAttributes_, coderNameForSelector("userAttributes"));
    record.setObject(*eventLogs_, coderNameForSelector("eventLogs"));
    record.setObject(requestParameters_ ? *requestParameters_ : bdx::Value(),
                     coderNameForSelector("requestParameters"));
    return record.getDictionary();
}

bool BDXSession::initWithDictionary(const bdx::Value& dictionary) {
    if (!dictionary.is_object()) {
        return false;
    }
    const auto at = [&](const char* field) -> const bdx::Value* {
        auto found = dictionary.find(coderNameForSelector(field));
        return found == dictionary.end() ? nullptr : &*found;
    };
    const auto date = at("date") ? bdx::TaggedValue::toDate(*at("date")) : std::nullopt;
    if (!date) {
        // The date is the identity of a record; without it there is no session to send.
        return false;
    }
    std::lock_guard guard(mutex_);
    date_ = *date;
    const bdx::Value* number = at("sessionNumber");
    sessionNumber_ = number && number->is_number() ? number->get<std::int64_t>() : 0;
    const bdx::Value* start = at("sessionStartTimestamp");
    sessionStartTimestamp_ = start && start->is_number() ? start->get<double>() : 0;
    const bdx::Value* attributes = at("userAttributes");
    userAttributes_ = shared(attributes && attributes->is_object() ? *attributes : bdx::Value::object());
    // Only a list of texts is taken; any other shape of logs leaves the list empty.
    const bdx::Value* logs = at("eventLogs");
    eventLogs_ =
        shared(logs && logs->is_array() && !logs->empty() && logs->front().is_string() ? *logs
                                                                                       : bdx::Value::array());
    const bdx::Value* parameters = at("requestParameters");
    requestParameters_ = parameters && parameters->is_object() ? shared(*parameters) : nullptr;
    return true;
}

void BDXSession::send() {
    if (!requestParameters()) {
        const bdx::Value parameters = requestParametersDict();
        {
            std::lock_guard guard(mutex_);
            requestParameters_ = shared(parameters);
        }
        BDXCacheManager::getInstance()->saveCacheModel(shared_from_this());
    }
    auto self = std::static_pointer_cast<BDXSession>(shared_from_this());
    auto request = std::make_shared<BDXSessionRequest>(*requestParameters(), self);
    BDXServerManager::getInstance()->pushRequest(request);
}

void BDXSession::save() {
    const bdx::Value parameters = requestParametersDict();
    {
        std::lock_guard guard(mutex_);
        requestParameters_ = shared(parameters);
    }
    BDXCacheManager::getInstance()->saveCacheModel(shared_from_this());
}

void BDXSession::remove() {
    BDXCacheManager::getInstance()->removeCacheModel(shared_from_this());
}

std::string BDXSession::identifier() const {
    return bdx::stringWithFormat("%f", sessionStartTimestamp());
}

bool BDXSession::isEqual(const BDXCachable& other) const {
    auto session = dynamic_cast<const BDXSession*>(&other);
    return session != nullptr && bdx_isEqualToDate(date(), session->date());
}

std::string BDXSession::description() const {
    return bdx::stringWithFormat("<BDXSession: #%lld started %@>", static_cast<long long>(sessionNumber()),
                                 identifier());
}

void BDXSession::sessionRequestDone(const std::shared_ptr<BDXSessionRequest>& request, bool isSuccess,
                                    const bdx::Value&) {
    BDXServerManager::getInstance()->handleRequest(request);
    if (isSuccess) {
        remove();
    }
}
