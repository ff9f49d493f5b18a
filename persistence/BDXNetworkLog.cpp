#include "persistence/BDXNetworkLog.h"

#include <nlohmann/json.hpp>

#include "persistence/BDXSessionLogRequests.h"

using bdx::store::FetchRequest;

std::string BDXNetworkLog::entityName() {
    return "NetworkLog";
}

FetchRequest BDXNetworkLog::fetchRequest() {
    return FetchRequest(entityName());
}

FetchRequest BDXNetworkLog::fetchRequestWithSessionIdNotEqual(const std::string& sessionId) {
    return bdx_session_log_requests::otherSessions(entityName(), sessionId);
}

FetchRequest BDXNetworkLog::logsFetchRequestWithMaxCount(std::size_t maxCount, const std::string& sessionId) {
    return bdx_session_log_requests::newestOfSession(entityName(), maxCount, sessionId);
}

bdx::Value BDXNetworkLog::headers() const {
    return valueForKey("headers");
}
void BDXNetworkLog::setHeaders(const bdx::Value& headers) {
    setValue("headers", headers);
}
bdx::Value BDXNetworkLog::requestBody() const {
    return valueForKey("requestBody");
}
void BDXNetworkLog::setRequestBody(const bdx::Value& body) {
    setValue("requestBody", body);
}
bdx::Value BDXNetworkLog::responseBody() const {
    return valueForKey("responseBody");
}
void BDXNetworkLog::setResponseBody(const bdx::Value& body) {
    setValue("responseBody", body);
}
bdx::Value BDXNetworkLog::responseHeaders() const {
    return valueForKey("responseHeaders");
}
void BDXNetworkLog::setResponseHeaders(const bdx::Value& headers) {
    setValue("responseHeaders", headers);
}
