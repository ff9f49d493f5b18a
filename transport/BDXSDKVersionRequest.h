#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "foundation/Error.h"
#include "foundation/Value.h"
#include "transport/BDXHighLevelRequest.h"
#include "transport/BDXSDKVersionRequestDelegate.h"
#include "transport/BDXServerRequestDelegate.h"

class BDXSDKVersionRequest;
class BDXServerDataRequest;

// Asks the service for the newest version of the SDK: a GET of /latest_version beside the versioned
// API, with "sdk_type" "ios". The reply carries "latest_version".
class BDXSDKVersionRequest : public BDXHighLevelRequest,
                             public BDXServerRequestDelegate,
                             public std::enable_shared_from_this<BDXSDKVersionRequest> {
    BDX_DECLARE_CLASS(BDXSDKVersionRequest, bdx::Object)

  public:
    explicit BDXSDKVersionRequest(std::weak_ptr<BDXSDKVersionRequestDelegate> delegate);

    // The base URL with its "/v3" removed, plus "/latest_version".
    static std::string latestVersionURL();

    void executeNow() override;
    // A failure is counted in `failures` but reported as a success, so it is never pushed again.
    void serverExecutionDone(const std::shared_ptr<BDXServerProtocol>& request, std::int64_t statusCode,
                             const std::optional<bdx::Error>& error, const bdx::Value& response) override;

    std::shared_ptr<BDXServerDataRequest> dataRequest() const;

  private:
    std::weak_ptr<BDXSDKVersionRequestDelegate> delegate_;
    mutable std::mutex mutex_;
    std::shared_ptr<BDXServerDataRequest> dataRequest_;
};
