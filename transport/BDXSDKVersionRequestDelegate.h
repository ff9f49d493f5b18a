// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <optional>

#include "foundation/Error.h"
#include "foundation/Value.h"

class BDXSDKVersionRequest;

// Who hears the answer of the version check. A header of its own because the data store, which a host
// includes, is one: the request itself stays the library's own.
class BDXSDKVersionRequestDelegate {
  public:
    virtual ~BDXSDKVersionRequestDelegate() = default;
    // The raw response and error of the check. `isSuccess` is true even after a failure, so that the check
    // is not retried: `failures` of the request tells a failure apart.
    virtual void SDKVersionRequestDone(const std::shared_ptr<BDXSDKVersionRequest>& request, bool isSuccess,
                                       const bdx::Value& response,
                                       const std::optional<bdx::Error>& error) = 0;
};
