#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "foundation/Error.h"
#include "foundation/Value.h"
#include "transport/BDXFeaturesRequestDelegate.h"
#include "transport/BDXHighLevelRequest.h"
#include "transport/BDXServerRequestDelegate.h"

class BDXServerDataRequest;

// The daily question to the service about which features this application may use: a GET of /features
// with the parameters in the query ({"application_token": the token}). The reply is one flat object of
// flags and the account's state.
class BDXFeaturesRequest : public BDXHighLevelRequest,
                           public BDXServerRequestDelegate,
                           public std::enable_shared_from_this<BDXFeaturesRequest> {
    BDX_DECLARE_CLASS(BDXFeaturesRequest, bdx::Object)

  public:
    // initWithParameters:delegate:. The address is fixed here, from the base URL in force now.
    BDXFeaturesRequest(bdx::Value parameters, std::weak_ptr<BDXFeaturesRequestDelegate> delegate);

    void executeNow() override;
    // The common judgement; a success whose reply is not a JSON object counts as a failure too, so that
    // it is asked again.
    void serverExecutionDone(const std::shared_ptr<BDXServerProtocol>& request, std::int64_t statusCode,
                             const std::optional<bdx::Error>& error, const bdx::Value& response) override;
    // Its reply is what switches a disabled server manager on again, so it is the one request that
    // still starts while the manager is disabled.
    bool runsWhileServerManagerIsDisabled() const override { return true; }

    const std::string& URL() const { return URL_; }
    const bdx::Value& parameters() const;
    std::shared_ptr<BDXServerDataRequest> dataRequest() const;

  private:
    const std::string URL_;
    std::unique_ptr<const bdx::Value> parameters_;
    std::weak_ptr<BDXFeaturesRequestDelegate> delegate_;
    mutable std::mutex mutex_;
    std::shared_ptr<BDXServerDataRequest> dataRequest_;
};
