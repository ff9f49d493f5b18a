#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "foundation/Data.h"

namespace bdx::net {
class URLSessionTask;
}

class BDXServerRequestDelegate;

// A low-level request: it builds the body, stores it in a file, makes the URL task and keeps what the
// transfer received.
class BDXServerProtocol {
  public:
    // Called with the task to run, or with nothing when no task can be made. A body that could not be
    // stored never reaches it: the delegate hears of the failure instead.
    using TaskHandler = std::function<void(std::shared_ptr<bdx::net::URLSessionTask> task)>;

    virtual ~BDXServerProtocol() = default;

    virtual void prepareRequestWithCompletionHandler(TaskHandler completionHandler) = 0;
    // The received body; each chunk replaces the one before.
    virtual void setRequestData(std::optional<bdx::Data> data) = 0;
    virtual std::optional<bdx::Data> requestData() const = 0;
    // Held weakly: the high-level request owns its low-level request, not the other way round.
    virtual std::shared_ptr<BDXServerRequestDelegate> delegate() const = 0;
    virtual void setDelegate(std::weak_ptr<BDXServerRequestDelegate> delegate) = 0;
};
