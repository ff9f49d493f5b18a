#include "persistence/BDXNetworkLog.h"

#include <nlohmann/json.hpp>

#include "Logging/BDXNetworkLogCategories.h"
#include "core/BDXDateOperations.h"
#include "foundation/StringWithFormat.h"
#include "platform/net/URLRequest.h"
#include "platform/net/URLResponse.h"

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

namespace {

bdx::Value dictionaryOf(const bdx::net::HTTPHeaderFields& fields) {
    bdx::Value dictionary = bdx::Value::object();
    for (const auto& [name, value] : fields) {
        dictionary[name] = value;
    }
    return dictionary;
}

bool hasKeys(const bdx::Value& dictionary) {
    return dictionary.is_object() && !dictionary.empty();
}

}  // namespace

void BDXNetworkLog::saveRequest(const bdx::net::URLRequest& request, const std::optional<bdx::Data>& body,
                                const std::string& sessionId, double duration, const bdx::Date& date) {
    setUrl(request.URL());
    setSessionId(sessionId);
    setDate(date);
    setMethod(request.HTTPMethod());
    setHeaders(dictionaryOf(request.allHTTPHeaderFields()));
    setDuration(duration);
    if (body) {
        setRequestBody(bdx_JSONOrUTF8String(*body));
    }
}

void BDXNetworkLog::saveResponse(const std::shared_ptr<const bdx::net::URLResponse>& response,
                                 const std::optional<bdx::Data>& data) {
    if (data) {
        setResponseBody(bdx_JSONOrUTF8String(*data));
    }
    if (auto http = std::dynamic_pointer_cast<const bdx::net::HTTPURLResponse>(response)) {
        setStatusCode(static_cast<std::int32_t>(http->statusCode()));
        setResponseHeaders(dictionaryOf(http->allHeaderFields()));
    }
    setContentType(bdx_contentType(response));
}

void BDXNetworkLog::saveErrorResponse(const bdx::Error& error) {
    const std::string description = error.localizedDescription();
    if (!description.empty()) {
        setResponseBody(bdx::stringWithFormat("%@ %d: %@", error.domain(), error.code(), description));
    }
    setStatusCode(0);
}

bdx::Value BDXNetworkLog::toDictionary() const {
    bdx::Value dictionary = bdx::Value::object();
    dictionary["date"] = bdx_logTimeEpoch(date().value_or(bdx::Date()));
    dictionary["url"] = url().value_or("");
    dictionary["method"] = method().value_or("");
    if (const bdx::Value response = responseBody(); !response.is_null()) {
        dictionary["response"] = response;
    }
    if (const bdx::Value request = requestBody(); !request.is_null()) {
        dictionary["request"] = request;
    }
    dictionary["status"] = statusCode();
    dictionary["response_time"] = duration();
    if (const bdx::Value fields = headers(); hasKeys(fields)) {
        dictionary["headers"] = fields;
    }
    if (const bdx::Value fields = responseHeaders(); hasKeys(fields)) {
        dictionary["response_headers"] = fields;
    }
    return dictionary;
}
