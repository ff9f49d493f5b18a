#include "transport/BDXFeaturesRequest.h"

#include <nlohmann/json.hpp>

#include "core/BDXDefaults.h"
#include "transport/BDXServerDataRequest.h"

BDXFeaturesRequest::BDXFeaturesRequest(bdx::Value parameters,
                                       std::weak_ptr<BDXFeaturesRequestDelegate> delegate)
    : URL_(BDXDefaults::getInstance()->baseURL() + "/features"),
      parameters_(std::make_unique<const bdx::Value>(std::move(parameters))),
      delegate_(std::move(delegate)) {}

const bdx::Value& BDXFeaturesRequest::parameters() const {
    return *parameters_;
}

void BDXFeaturesRequest::executeNow() {
    setIsExecuting(true);
    auto request =
        BDXServerDataRequest::executeWithURL(URL_, BDXHTTPMethodGET, *parameters_, weak_from_this());
    std::lock_guard<std::mutex> guard(mutex_);
    dataRequest_ = std::move(request);
}

void BDXFeaturesRequest::serverExecutionDone(const std::shared_ptr<BDXServerProtocol>&,
                                             std::int64_t statusCode, const std::optional<bdx::Error>& error,
                                             const bdx::Value& response) {
    auto failure = judgeResult(statusCode, error, response);
    if (!failure && !response.is_object()) {
        // JSON, but not the object of flags (a bare null, number or list): nothing to apply, so it is
        // asked again like any failure.
        setIsSuccess(false);
        setFailures(failures() + 1);
        failure = BDXRequestErrorInfo{
            error, statusCode, response.is_null() ? nullptr : std::make_shared<const bdx::Value>(response)};
    }
    auto delegate = delegate_.lock();
    if (!delegate) {
        return;
    }
    if (failure) {
        delegate->featuresRequestDone(shared_from_this(), false, bdx::Value(), failure);
    } else {
        delegate->featuresRequestDone(shared_from_this(), true, response, std::nullopt);
    }
}

std::shared_ptr<BDXServerDataRequest> BDXFeaturesRequest::dataRequest() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return dataRequest_;
}
