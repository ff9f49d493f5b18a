#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "foundation/Data.h"
#include "foundation/Error.h"
#include "platform/net/URLRequest.h"
#include "platform/net/URLResponse.h"

namespace bdx {
class OperationQueue;
}

namespace bdx::net {

// The platform's one-shot loader: one request, one answer.
class URLConnection {
  public:
    using CompletionHandler = std::function<void(std::shared_ptr<const URLResponse> response,
                                                 std::optional<Data> data, std::optional<Error> error)>;

    // Loads `request` on the shared session and runs the handler as an operation of `queue` (a null
    // queue: the shared session's delegate queue) with the response, the whole body (nullopt on
    // failure) and the error.
    static void sendAsynchronousRequest(const URLRequest& request, std::shared_ptr<OperationQueue> queue,
                                        CompletionHandler handler);
};

}  // namespace bdx::net
