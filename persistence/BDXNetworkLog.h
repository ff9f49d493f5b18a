#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "foundation/Data.h"
#include "foundation/Date.h"
#include "foundation/Error.h"
#include "foundation/Value.h"
#include "persistence/BDXSessionLogEntity.h"

namespace bdx::net {
class URLRequest;
class URLResponse;
}  // namespace bdx::net

// One HTTP transaction of the object store (entity "NetworkLog"). Its session, date and requests come
// from BDXSessionLogEntity.
class BDXNetworkLog : public BDXSessionLogEntity<BDXNetworkLog> {
  public:
    static std::string entityName();

    // The dictionaries and bodies are JSON values; null is absent.
    bdx::Value headers() const;
    void setHeaders(const bdx::Value& headers);
    std::optional<std::string> method() const { return stringForKey("method"); }
    void setMethod(std::optional<std::string> method) { setString("method", std::move(method)); }
    bdx::Value requestBody() const;
    void setRequestBody(const bdx::Value& body);
    bdx::Value responseBody() const;
    void setResponseBody(const bdx::Value& body);
    bdx::Value responseHeaders() const;
    void setResponseHeaders(const bdx::Value& headers);
    std::int32_t statusCode() const {
        return static_cast<std::int32_t>(integerForKey("statusCode").value_or(0));
    }
    void setStatusCode(std::int32_t statusCode) { setInteger("statusCode", statusCode); }
    std::optional<std::string> url() const { return stringForKey("url"); }
    void setUrl(std::optional<std::string> url) { setString("url", std::move(url)); }
    double duration() const { return doubleForKey("duration").value_or(0); }
    void setDuration(double duration) { setDouble("duration", duration); }

    // Not stored: it lives as long as this object and is gone from a fetched one.
    std::uint64_t contentType() const { return contentType_; }
    void setContentType(std::uint64_t contentType) { contentType_ = contentType; }

    // The request half: URL, session, date, method, header fields and duration (milliseconds); a body
    // becomes its JSON or its UTF-8 text.
    void saveRequest(const bdx::net::URLRequest& request, const std::optional<bdx::Data>& body,
                     const std::string& sessionId, double duration, const bdx::Date& date);
    // The response half: the body as JSON or text, status and header fields of an HTTP response, and the
    // content type in every case.
    void saveResponse(const std::shared_ptr<const bdx::net::URLResponse>& response,
                      const std::optional<bdx::Data>& data);
    // A failed exchange: "<domain> <code>: <description>" as the response, and status 0.
    void saveErrorResponse(const bdx::Error& error);

    // The record of a report: "date" (log time), "url", "method", "response" and "request" when there are
    // bodies, "status", "response_time", and the two header dictionaries when they have a field.
    bdx::Value toDictionary() const;

  private:
    std::uint64_t contentType_ = 0;
};
