#pragma once

#include <cstdint>

#include "foundation/Object.h"

// A high-level request as the server manager sees it: something that can be started, knows whether it
// runs, and after its result came in whether it succeeded and how often it failed. The manager retries a
// request that did not succeed after e^failures seconds.
class BDXBaseRequest : public bdx::Object {
  public:
    // Starts the transfer: sets isExecuting and hands a low-level request to the server manager.
    virtual void executeNow() = 0;
    virtual std::int32_t failures() const = 0;
    virtual bool isExecuting() const = 0;
    virtual void setIsExecuting(bool isExecuting) = 0;
    virtual bool isSuccess() const = 0;
    // Whether the request starts even while the server manager is disabled: only the one whose reply
    // can switch the manager on again.
    virtual bool runsWhileServerManagerIsDisabled() const { return false; }
};
