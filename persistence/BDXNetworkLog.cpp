#include "persistence/BDXNetworkLog.h"

#include <nlohmann/json.hpp>

std::string BDXNetworkLog::entityName() {
    return "NetworkLog";
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
