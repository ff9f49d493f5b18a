#pragma once

#include <memory>
#include <optional>

#include "foundation/Value.h"
#include "transport/BDXHighLevelRequest.h"

class BDXFeaturesRequest;

// Who hears the answer of the daily feature check; the features object is the one in this library. A
// header of its own so that the public features header does not pull in the request.
class BDXFeaturesRequestDelegate {
  public:
    virtual ~BDXFeaturesRequestDelegate() = default;
    // On the main queue, once the result is judged; must begin by calling handleRequest of
    // BDXServerManager. A success carries the service's flat object of flags and no error; a failure
    // carries a null response and what went wrong.
    virtual void featuresRequestDone(const std::shared_ptr<BDXFeaturesRequest>& request, bool isSuccess,
                                     const bdx::Value& response,
                                     const std::optional<BDXRequestErrorInfo>& error) = 0;
};
