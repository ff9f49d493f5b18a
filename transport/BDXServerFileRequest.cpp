#include "transport/BDXServerFileRequest.h"

#include <nlohmann/json.hpp>

#include <filesystem>

#include "archives/BDXGZIP.h"
#include "core/BDXDefaults.h"
#include "foundation/DispatchQueue.h"
#include "foundation/StringWithFormat.h"
#include "persistence/BDXDiskIOManager.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "platform/gfx/ImageCodecs.h"
#include "platform/net/URLRequest.h"
#include "platform/net/URLSession.h"
#include "transport/BDXServerDataRequest.h"
#include "transport/BDXServerManager.h"
#include "transport/BDXServerRequestDelegate.h"

namespace {

void append(bdx::Data& data, std::string_view text) {
    data.insert(data.end(), text.begin(), text.end());
}

// Only PNG and JPEG decode on this platform; anything else is sent as it is without asking the
// decoders (which would log every text file as a damaged image).
bool mayBeImage(const bdx::Data& data) {
    static constexpr unsigned char png[] = {0x89, 'P', 'N', 'G'};
    static constexpr unsigned char jpeg[] = {0xFF, 0xD8, 0xFF};
    return (data.size() >= 4 && std::equal(std::begin(png), std::end(png), data.begin())) ||
           (data.size() >= 3 && std::equal(std::begin(jpeg), std::end(jpeg), data.begin()));
}

}  // namespace

std::shared_ptr<BDXServerFileRequest> BDXServerFileRequest::executeWithURL(
    const std::string& url, const std::string& filePath, const bdx::Value& fileInfo,
    std::weak_ptr<BDXServerRequestDelegate> delegate) {
    auto request = std::make_shared<BDXServerFileRequest>(url, filePath, fileInfo, std::move(delegate));
    BDXServerManager::getInstance()->executeServerRequest(request);
    return request;
}

BDXServerFileRequest::BDXServerFileRequest(std::string url, std::string filePath, bdx::Value fileInfo,
                                           std::weak_ptr<BDXServerRequestDelegate> delegate)
    : BDXLowLevelRequest(std::move(delegate), filePath),
      url_(std::move(url)),
      fileName_(std::filesystem::path(filePath).filename().string()),
      mimeType_(mimeTypeFromFile(filePath)),
      info_(std::make_shared<const bdx::Value>(std::move(fileInfo))) {}

std::string BDXServerFileRequest::mimeTypeFromFile(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    if (!extension.empty()) {
        extension.erase(0, 1);
    }
    if (extension == "log" || extension == "txt") {
        return "text/plain";
    }
    if (extension == "jpg" || extension == "jpeg") {
        return "image/jpeg";
    }
    return "application/octet-stream";
}

bdx::Data BDXServerFileRequest::dataFromContentOfFilePath(const std::string& path) {
    bdx::Data content = BDXDiskIOManager::getInstance()->readFileAtPath(path).value_or(bdx::Data());
    if (mayBeImage(content)) {
        if (auto image = bdx::gfx::imageWithData(content)) {
            return bdx::gfx::jpegData(image, 1.0);
        }
    }
    return content;
}

bdx::Data BDXServerFileRequest::multipartBodyWithContent(const bdx::Data& content) const {
    bdx::Data body;
    if (info_->is_object()) {
        for (const auto& [name, value] : info_->items()) {
            const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
            append(body, bdx::stringWithFormat("\r\n--%@\r\n", std::string(kBoundary)));
            append(body, bdx::stringWithFormat("Content-Disposition: form-data; name=\"%@\"\r\n\r\n%@", name,
                                               text));
        }
    }
    append(body, bdx::stringWithFormat("\r\n--%@\r\n", std::string(kBoundary)));
    append(body, bdx::stringWithFormat("Content-Disposition: form-data; name=\"file\"; filename=\"%@\"\r\n",
                                       fileName_));
    append(body, bdx::stringWithFormat("Content-Type: %@\r\n\r\n", mimeType_));
    body.insert(body.end(), content.begin(), content.end());
    append(body, bdx::stringWithFormat("\r\n--%@--\r\n", std::string(kBoundary)));
    return body;
}

std::shared_ptr<bdx::net::URLSessionTask> BDXServerFileRequest::sessionDataTaskWithRawRequest(
    const bdx::net::URLRequest& request) {
    auto session = BDXServerManager::getInstance()->backgroundSession();
    const std::string path = filePath();
    if (!session || path.empty()) {
        return nullptr;
    }
    return session->uploadTaskWithRequestFromFile(request, path);
}

void BDXServerFileRequest::prepareRequestWithCompletionHandler(TaskHandler completionHandler) {
    bdx::net::URLRequest request(url_, bdx::net::URLRequestCachePolicy::UseProtocolCachePolicy,
                                 kTimeoutInterval);
    request.setHTTPMethod("POST");
    request.setValueForHTTPHeaderField(
        bdx::stringWithFormat("multipart/form-data; boundary=%@", std::string(kBoundary)), "Content-Type");
    request.setValueForHTTPHeaderField("gzip", "Content-Encoding");

    // A failed compression is not looked at: whatever came out, possibly nothing, is what gets stored.
    const bdx::Data body =
        bdx_dataByGZipCompressingWithError(multipartBodyWithContent(dataFromContentOfFilePath(filePath())))
            .value_or(bdx::Data());

    if (BDXDefaults::getInstance()->isUITestModeEnabled()) {
        request.setHTTPBody(body);
        auto session = BDXServerManager::getInstance()->backgroundSession();
        if (completionHandler) {
            completionHandler(session ? session->dataTaskWithRequest(request) : nullptr);
        }
        return;
    }
    storeBody(body, [self = shared_from_this(), request, completionHandler](bool success) {
        if (!success) {
            reportUnsentBody(self, "Low disk space");
            return;
        }
        if (completionHandler) {
            completionHandler(self->sessionDataTaskWithRawRequest(request));
        }
    });
}
