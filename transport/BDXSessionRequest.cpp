#include "transport/BDXSessionRequest.h"

#include <nlohmann/json.hpp>

#include "core/BDXDefaults.h"
#include "transport/BDXServerDataRequest.h"

BDXSessionRequest::BDXSessionRequest(bdx::Value parameters, std::weak_ptr<BDXSessionRequestDelegate> delegate)
    : parameters_(std::make_shared<const bdx::Value>(std::move(parameters))),
      delegate_(std::move(delegate)) {}

void BDXSessionRequest::executeNow() {
    setIsExecuting(true);
    auto request = BDXServerDataRequest::executeWithURL(BDXDefaults::getInstance()->baseURL() + "/sessions",
                                                        BDXHTTPMethodPOST, *parameters_, weak_from_this());
    std::lock_guard<std::mutex> guard(mutex_);
    dataRequest_ = std::move(request);
}

void BDXSessionRequest::serverExecutionDone(const std::shared_ptr<BDXServerProtocol>&,
                                            std::int64_t statusCode, const std::optional<bdx::Error>& error,
                                            const bdx::Value& response) {
    const auto failure = judgeResult(statusCode, error, response);
    if (auto delegate = delegate_.lock()) {
        delegate->sessionRequestDone(shared_from_this(), isSuccess(),
                                     failure ? failure->dictionaryValue() : bdx::Value());
    }
}

std::shared_ptr<BDXServerDataRequest> BDXSessionRequest::dataRequest() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return dataRequest_;
}
