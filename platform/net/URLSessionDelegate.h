#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "foundation/Data.h"
#include "foundation/Error.h"
#include "platform/net/URLResponse.h"

namespace bdx::net {

class URLSession;
class URLSessionTask;
class URLSessionDataTask;

// What a session tells its delegate, always on the session's delegate queue, in the order things
// happened to each task. Every operation is optional: the defaults do nothing. The session holds its
// delegate weakly; events of a session whose delegate is gone are dropped.
class URLSessionDelegate {
  public:
    virtual ~URLSessionDelegate() = default;

    // The header fields of the final response arrived (also available as task->response()).
    virtual void didReceiveResponse(const std::shared_ptr<URLSession>& /*session*/,
                                    const std::shared_ptr<URLSessionDataTask>& /*dataTask*/,
                                    const std::shared_ptr<const URLResponse>& /*response*/) {}
    // One piece of the response body, as it came off the connection. Pieces are never merged: a body
    // sent in several pieces gives several calls.
    virtual void didReceiveData(const std::shared_ptr<URLSession>& /*session*/,
                                const std::shared_ptr<URLSessionDataTask>& /*dataTask*/,
                                const Data& /*data*/) {}
    // Progress of the body being sent.
    virtual void didSendBodyData(const std::shared_ptr<URLSession>& /*session*/,
                                 const std::shared_ptr<URLSessionTask>& /*task*/, std::int64_t /*bytesSent*/,
                                 std::int64_t /*totalBytesSent*/, std::int64_t /*totalBytesExpectedToSend*/) {
    }
    // The task is over: no error for a transfer that got a whole response, whatever its status; the
    // task's response() holds the HTTP response, if one came.
    virtual void didCompleteWithError(const std::shared_ptr<URLSession>& /*session*/,
                                      const std::shared_ptr<URLSessionTask>& /*task*/,
                                      const std::optional<Error>& /*error*/) {}
    // The session was invalidated and its last task has completed; nothing more comes after this.
    virtual void didBecomeInvalidWithError(const std::shared_ptr<URLSession>& /*session*/,
                                           const std::optional<Error>& /*error*/) {}
};

}  // namespace bdx::net
