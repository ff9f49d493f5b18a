#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "foundation/Error.h"
#include "foundation/Value.h"
#include "transport/BDXHighLevelRequest.h"
#include "transport/BDXServerRequestDelegate.h"

class BDXServerDataRequest;
class BDXSessionRequest;

class BDXSessionRequestDelegate {
  public:
    virtual ~BDXSessionRequestDelegate() = default;
    // On the main queue, once the answer is judged. `error` is null after a success and otherwise
    // {"error", "statusCode", "response"}. Must end by calling handleRequest of BDXServerManager.
    virtual void sessionRequestDone(const std::shared_ptr<BDXSessionRequest>& request, bool isSuccess,
                                    const bdx::Value& error) = 0;
};

// Reports one session to the service: a POST of /sessions with the record's parameters as they stand,
// compact JSON compressed with gzip.
class BDXSessionRequest : public BDXHighLevelRequest,
                          public BDXServerRequestDelegate,
                          public std::enable_shared_from_this<BDXSessionRequest> {
    BDX_DECLARE_CLASS(BDXSessionRequest, bdx::Object)

  public:
    // initWithParameters:delegate:.
    BDXSessionRequest(bdx::Value parameters, std::weak_ptr<BDXSessionRequestDelegate> delegate);

    void executeNow() override;
    // The common judgement: a status of exactly 200 without an error.
    void serverExecutionDone(const std::shared_ptr<BDXServerProtocol>& request, std::int64_t statusCode,
                             const std::optional<bdx::Error>& error, const bdx::Value& response) override;

    const bdx::Value& parameters() const { return *parameters_; }
    std::shared_ptr<BDXServerDataRequest> dataRequest() const;

  private:
    const std::shared_ptr<const bdx::Value> parameters_;
    std::weak_ptr<BDXSessionRequestDelegate> delegate_;
    mutable std::mutex mutex_;
    std::shared_ptr<BDXServerDataRequest> dataRequest_;
};
