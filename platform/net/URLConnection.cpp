#include "platform/net/URLConnection.h"

#include "foundation/OperationQueue.h"
#include "platform/net/URLSession.h"

namespace bdx::net {

void URLConnection::sendAsynchronousRequest(const URLRequest& request, std::shared_ptr<OperationQueue> queue,
                                            CompletionHandler handler) {
    if (!handler) {
        handler = [](auto&&...) {};
    }
    auto task = URLSession::sharedSession()->dataTaskWithRequest(
        request, [queue = std::move(queue), handler = std::move(handler)](
                     std::optional<Data> data, std::shared_ptr<const URLResponse> response,
                     std::optional<Error> error) mutable {
            if (!queue) {
                handler(std::move(response), std::move(data), std::move(error));
                return;
            }
            queue->addOperationWithBlock([handler, response = std::move(response), data = std::move(data),
                                          error = std::move(error)] { handler(response, data, error); });
        });
    if (task) {
        task->resume();
    }
}

}  // namespace bdx::net
