#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "foundation/Error.h"
#include "foundation/Value.h"

class BDXServerProtocol;

// What a low-level request tells the high-level request that made it, on the main queue, once the
// transfer is over: the HTTP status (0 when the reply was not usable), the transfer's error if any, and
// the response object (the parsed JSON, or {"Error": ...}). The receiver judges the result and must
// end by calling handleRequest of BDXServerManager.
class BDXServerRequestDelegate {
  public:
    virtual ~BDXServerRequestDelegate() = default;
    virtual void serverExecutionDone(const std::shared_ptr<BDXServerProtocol>& request,
                                     std::int64_t statusCode, const std::optional<bdx::Error>& error,
                                     const bdx::Value& response) = 0;
};
