#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "foundation/Data.h"
#include "foundation/Error.h"
#include "foundation/Value.h"

namespace bdx::net {
class URLResponse;
}

// Turns what a finished task hands back into a status code, an error and a response object:
// - a body, no error, an HTTP response, and the body parses as JSON (a bare string or number too):
//   the HTTP status, no error, the parsed JSON;
// - the same but the body is not JSON: status 0, no error, {"Error": the body as UTF-8 text, or ""};
// - anything else (no body, an error, no HTTP response): status 0, the task's error, {"Error": "Error"}.
// So a reply without a body counts as status 0, whatever its HTTP status was.
class BDXResponseParser {
  public:
    using Completion = std::function<void(std::int64_t statusCode, const std::optional<bdx::Error>& error,
                                          const bdx::Value& response)>;

    void prepareResponseWithData(const std::optional<bdx::Data>& data, const std::optional<bdx::Error>& error,
                                 const std::shared_ptr<const bdx::net::URLResponse>& rawResponse,
                                 const Completion& completionHandler);
};
