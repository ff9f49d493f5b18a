#include "persistence/BDXLog.h"

#include <nlohmann/json.hpp>

#include "core/BDXDateOperations.h"
#include "core/BDXObjectDescription.h"
#include "persistence/BDXSessionLogRequests.h"

using bdx::store::FetchRequest;

std::string BDXLog::entityName() {
    return "BrindlexLog";
}

FetchRequest BDXLog::fetchRequest() {
    return FetchRequest(entityName());
}

FetchRequest BDXLog::fetchRequestWithSessionIdNotEqual(const std::string& sessionId) {
    return bdx_session_log_requests::otherSessions(entityName(), sessionId);
}

FetchRequest BDXLog::logsFetchRequestWithMaxCount(std::size_t maxCount, const std::string& sessionId) {
    return bdx_session_log_requests::newestOfSession(entityName(), maxCount, sessionId);
}

bdx::Value BDXLog::toDictionary() const {
    return bdx::Value{{"log_message_date", bdx_logTimeEpoch(date().value_or(bdx::Date()))},
                      {"log_message", message().value_or("")},
                      {"log_message_level", level().value_or("")}};
}

std::string BDXLog::description() const {
    return bdx_description("BDXLog", {{"date", date() ? date()->description() : "(null)"},
                                      {"level", level().value_or("(null)")},
                                      {"message", message().value_or("(null)")},
                                      {"sessionId", sessionId().value_or("(null)")}});
}
