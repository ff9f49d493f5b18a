#include "transport/BDXSDKVersionRequest.h"

#include <nlohmann/json.hpp>

#include "core/BDXDefaults.h"
#include "transport/BDXServerDataRequest.h"

BDXSDKVersionRequest::BDXSDKVersionRequest(std::weak_ptr<BDXSDKVersionRequestDelegate> delegate)
    : delegate_(std::move(delegate)) {}

std::string BDXSDKVersionRequest::latestVersionURL() {
    std::string url = BDXDefaults::getInstance()->baseURL();
    const std::string versionPath = "/v3";
    for (auto at = url.find(versionPath); at != std::string::npos; at = url.find(versionPath, at)) {
        url.erase(at, versionPath.size());
    }
    return url + "/latest_version";
}

void BDXSDKVersionRequest::executeNow() {
    setIsExecuting(true);
    bdx::Value payload = bdx::Value::object();
    payload["sdk_type"] = "ios";
    auto request =
        BDXServerDataRequest::executeWithURL(latestVersionURL(), BDXHTTPMethodGET, payload, weak_from_this());
    std::lock_guard<std::mutex> guard(mutex_);
    dataRequest_ = std::move(request);
}

void BDXSDKVersionRequest::serverExecutionDone(const std::shared_ptr<BDXServerProtocol>&,
                                               std::int64_t statusCode,
                                               const std::optional<bdx::Error>& error,
                                               const bdx::Value& response) {
    if (statusCode != 200 || error) {
        // Counted, but never retried: the manager sees a success.
        setFailures(failures() + 1);
    }
    setIsSuccess(true);
    if (auto delegate = delegate_.lock()) {
        delegate->SDKVersionRequestDone(shared_from_this(), isSuccess(), response, error);
    }
}

std::shared_ptr<BDXServerDataRequest> BDXSDKVersionRequest::dataRequest() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return dataRequest_;
}
