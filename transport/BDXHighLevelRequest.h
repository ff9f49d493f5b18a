#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "foundation/Error.h"
#include "foundation/Value.h"
#include "transport/BDXBaseRequest.h"

// What the delegate of a failed request is given: the transfer's error or nothing, the status and the
// response or nothing.
struct BDXRequestErrorInfo {
    std::optional<bdx::Error> error;
    std::int64_t statusCode = 0;
    // Absent when the response was null.
    std::shared_ptr<const bdx::Value> response;

    // {"error": the error's description or null, "statusCode": the number, "response": the response or
    // null}.
    bdx::Value dictionaryValue() const;
};

// The state every high-level request shares (running, success, failure count) and the common way of
// judging a result. The fields are read by the manager's queues and written on the main queue. A request
// that runs a low-level request also takes the role of its BDXServerRequestDelegate.
class BDXHighLevelRequest : public BDXBaseRequest {
  public:
    std::int32_t failures() const override { return failures_; }
    void setFailures(std::int32_t failures) { failures_ = failures; }
    bool isExecuting() const override { return isExecuting_; }
    void setIsExecuting(bool isExecuting) override { isExecuting_ = isExecuting; }
    bool isSuccess() const override { return isSuccess_; }
    void setIsSuccess(bool isSuccess) { isSuccess_ = isSuccess; }

    // Success is a status of exactly 200 with no error; nothing else (201, 204, a redirect, a rate
    // limit) means anything. A failure raises `failures` by one and gives what the delegate is told;
    // a success gives nothing.
    std::optional<BDXRequestErrorInfo> judgeResult(std::int64_t statusCode,
                                                   const std::optional<bdx::Error>& error,
                                                   const bdx::Value& response);

  private:
    std::atomic<std::int32_t> failures_{0};
    std::atomic<bool> isExecuting_{false};
    std::atomic<bool> isSuccess_{false};
};
