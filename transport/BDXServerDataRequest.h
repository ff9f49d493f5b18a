#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "foundation/Data.h"
#include "foundation/Value.h"
#include "transport/BDXLowLevelRequest.h"

namespace bdx::net {
class URLRequest;
}

// The platform's numbering of the methods a JSON request may use; any other number leaves the
// platform's default method and sends no body.
enum BDXHTTPMethod : std::int64_t {
    BDXHTTPMethodGET = 0,
    BDXHTTPMethodPOST = 1,
    BDXHTTPMethodPUT = 2,
    BDXHTTPMethodDELETE = 3,
};

// A JSON request. GET and DELETE carry the payload as an escaped query string and no body; POST and PUT
// carry it as compact UTF-8 JSON compressed with gzip, stored in a temporary file first and sent from
// there as an upload task. Every request says "Content-Type: application/json" and "Content-Encoding:
// gzip", whatever custom headers say.
class BDXServerDataRequest : public BDXLowLevelRequest,
                             public std::enable_shared_from_this<BDXServerDataRequest> {
  public:
    // Makes the request and hands it to the server manager at once.
    static std::shared_ptr<BDXServerDataRequest> executeWithURL(
        const std::string& url, std::int64_t HTTPMethod, const bdx::Value& payload,
        std::weak_ptr<BDXServerRequestDelegate> delegate);
    static std::shared_ptr<BDXServerDataRequest> executeWithURL(
        const std::string& url, std::int64_t HTTPMethod, const bdx::Value& payload, const bdx::Value& headers,
        std::weak_ptr<BDXServerRequestDelegate> delegate);

    // initWithURL:HTTPMethod:payload:headers:delegate:. `headers` may be null for none.
    BDXServerDataRequest(std::string url, std::int64_t HTTPMethod, bdx::Value payload, bdx::Value headers,
                         std::weak_ptr<BDXServerRequestDelegate> delegate);

    // `url` followed by "?key=value&key=value" for the payload's string values, in the payload's order:
    // keys as they stand, values percent-escaped as UTF-8 with the reserved characters and the blank
    // escaped.
    std::string GETURLFromParamaters() const;
    // The body of a POST or PUT: the payload as compact JSON, gzip-compressed; nothing when the payload
    // cannot be serialised.
    std::optional<bdx::Data> requestWithHTTPMethod(std::int64_t HTTPMethod, const bdx::Value& HTTPBody) const;
    // A data task for GET and DELETE; otherwise an upload task from `filePath`, or nothing without one.
    std::shared_ptr<bdx::net::URLSessionTask> sessionDataTaskWithRawRequest(
        const bdx::net::URLRequest& request);

    void prepareRequestWithCompletionHandler(TaskHandler completionHandler) override;

    const std::string& url() const { return url_; }
    std::int64_t httpMethod() const { return httpMethod_; }
    const bdx::Value& payload() const;
    const bdx::Value& headers() const;

  private:
    const std::string url_;
    const std::int64_t httpMethod_;
    const std::shared_ptr<const bdx::Value> payload_;
    const std::shared_ptr<const bdx::Value> headers_;
};
