#include "persistence/BDXLog.h"

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
