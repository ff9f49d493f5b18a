#include "transport/BDXServerDataRequest.h"

#include <nlohmann/json.hpp>

#include <filesystem>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "archives/BDXGZIP.h"
#include "core/BDXDefaults.h"
#include "foundation/DispatchQueue.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "platform/net/PercentEscape.h"
#include "platform/net/URLRequest.h"
#include "platform/net/URLSession.h"
#include "transport/BDXServerManager.h"
#include "transport/BDXServerRequestDelegate.h"

namespace {

constexpr std::string_view kQueryCharactersToEscape = "!*'();:@&=+$,/?%#[]\" ";

const char* methodName(std::int64_t method) {
    switch (method) {
        case BDXHTTPMethodGET:
            return "GET";
        case BDXHTTPMethodPOST:
            return "POST";
        case BDXHTTPMethodPUT:
            return "PUT";
        case BDXHTTPMethodDELETE:
            return "DELETE";
        default:
            return nullptr;
    }
}

bool sendsQuery(std::int64_t method) {
    return method == BDXHTTPMethodGET || method == BDXHTTPMethodDELETE;
}

bool sendsBody(std::int64_t method) {
    return method == BDXHTTPMethodPOST || method == BDXHTTPMethodPUT;
}

}  // namespace

std::shared_ptr<BDXServerDataRequest> BDXServerDataRequest::executeWithURL(
    const std::string& url, std::int64_t HTTPMethod, const bdx::Value& payload,
    std::weak_ptr<BDXServerRequestDelegate> delegate) {
    return executeWithURL(url, HTTPMethod, payload, bdx::Value(), std::move(delegate));
}

std::shared_ptr<BDXServerDataRequest> BDXServerDataRequest::executeWithURL(
    const std::string& url, std::int64_t HTTPMethod, const bdx::Value& payload, const bdx::Value& headers,
    std::weak_ptr<BDXServerRequestDelegate> delegate) {
    auto request =
        std::make_shared<BDXServerDataRequest>(url, HTTPMethod, payload, headers, std::move(delegate));
    BDXServerManager::getInstance()->executeServerRequest(request);
    return request;
}

BDXServerDataRequest::BDXServerDataRequest(std::string url, std::int64_t HTTPMethod, bdx::Value payload,
                                           bdx::Value headers,
                                           std::weak_ptr<BDXServerRequestDelegate> delegate)
    : BDXLowLevelRequest(std::move(delegate), ""),
      url_(std::move(url)),
      httpMethod_(HTTPMethod),
      payload_(std::make_shared<const bdx::Value>(std::move(payload))),
      headers_(std::make_shared<const bdx::Value>(std::move(headers))) {}

const bdx::Value& BDXServerDataRequest::payload() const {
    return *payload_;
}

const bdx::Value& BDXServerDataRequest::headers() const {
    return *headers_;
}

std::string BDXServerDataRequest::GETURLFromParamaters() const {
    std::string url = url_;
    if (!payload_->is_object()) {
        return url;
    }
    bool first = true;
    for (const auto& [key, value] : payload_->items()) {
        // Values are meant to be strings; anything else goes as its JSON text rather than be lost.
        const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
        url += first ? "?" : "&";
        url += key;
        url += "=";
        url += bdx::net::stringByAddingPercentEscapes(text, kQueryCharactersToEscape);
        first = false;
    }
    return url;
}

std::optional<bdx::Data> BDXServerDataRequest::requestWithHTTPMethod(std::int64_t HTTPMethod,
                                                                     const bdx::Value& HTTPBody) const {
    if (!sendsBody(HTTPMethod)) {
        return std::nullopt;
    }
    std::string json;
    try {
        json = HTTPBody.dump();
    } catch (const nlohmann::json::exception& error) {
        BDXSDKLogError("The payload of a request to %@ cannot be written as JSON: %@", url_,
                       std::string(error.what()));
        return std::nullopt;
    }
    return bdx_dataByGZipCompressingWithError(bdx::Data(json.begin(), json.end()));
}

std::shared_ptr<bdx::net::URLSessionTask> BDXServerDataRequest::sessionDataTaskWithRawRequest(
    const bdx::net::URLRequest& request) {
    auto session = BDXServerManager::getInstance()->backgroundSession();
    if (!session) {
        return nullptr;
    }
    if (sendsQuery(httpMethod_)) {
        return session->dataTaskWithRequest(request);
    }
    const std::string path = filePath();
    if (path.empty()) {
        return nullptr;
    }
    return session->uploadTaskWithRequestFromFile(request, path);
}

void BDXServerDataRequest::prepareRequestWithCompletionHandler(TaskHandler completionHandler) {
    bdx::net::URLRequest request(url_);
    std::optional<bdx::Data> body;
    if (const char* method = methodName(httpMethod_)) {
        request.setHTTPMethod(method);
        if (sendsQuery(httpMethod_)) {
            request.setURL(GETURLFromParamaters());
        } else {
            body = requestWithHTTPMethod(httpMethod_, *payload_);
        }
    }
    if (headers_->is_object()) {
        bdx::net::HTTPHeaderFields fields;
        for (const auto& [name, value] : headers_->items()) {
            if (value.is_string()) {
                fields[name] = value.get<std::string>();
            }
        }
        request.setAllHTTPHeaderFields(std::move(fields));
    }
    // After the custom headers, so that these two always win.
    request.setValueForHTTPHeaderField("application/json", "Content-Type");
    request.setValueForHTTPHeaderField("gzip", "Content-Encoding");

    if (BDXDefaults::getInstance()->isUITestModeEnabled()) {
        request.setHTTPBody(std::move(body));
        auto session = BDXServerManager::getInstance()->backgroundSession();
        if (completionHandler) {
            completionHandler(session ? session->dataTaskWithRequest(request) : nullptr);
        }
        return;
    }
    if (!body) {
        if (completionHandler) {
            completionHandler(sessionDataTaskWithRawRequest(request));
        }
        return;
    }
    storeBody(*body, [self = shared_from_this(), request, completionHandler](bool success) {
        if (!success) {
            reportUnsentBody(self, "Low disk space");
            return;
        }
        std::error_code error;
        if (!std::filesystem::exists(self->filePath(), error)) {
            reportUnsentBody(self, "File does not exist");
            return;
        }
        if (completionHandler) {
            completionHandler(self->sessionDataTaskWithRawRequest(request));
        }
    });
}
