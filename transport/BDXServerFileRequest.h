#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "foundation/Data.h"
#include "foundation/Value.h"
#include "transport/BDXLowLevelRequest.h"

namespace bdx::net {
class URLRequest;
}

// A file upload: one multipart/form-data body with the form fields of `info` and then the file, all
// compressed with gzip as a whole, stored in a temporary file and sent from there as an upload task.
// An image file travels re-encoded as JPEG at full quality, whatever its format on disk.
class BDXServerFileRequest : public BDXLowLevelRequest,
                             public std::enable_shared_from_this<BDXServerFileRequest> {
  public:
    static constexpr const char* kBoundary = "---------------------------14737809831466499882746641449";
    static constexpr double kTimeoutInterval = 240.0;

    // Makes the request and hands it to the server manager at once.
    static std::shared_ptr<BDXServerFileRequest> executeWithURL(
        const std::string& url, const std::string& filePath, const bdx::Value& fileInfo,
        std::weak_ptr<BDXServerRequestDelegate> delegate);

    // initWithURL:filePath:fileInfo:delegate:. The file name is the path's last component.
    BDXServerFileRequest(std::string url, std::string filePath, bdx::Value fileInfo,
                         std::weak_ptr<BDXServerRequestDelegate> delegate);

    // "text/plain" for log and txt, "image/jpeg" for jpg and jpeg, "application/octet-stream" otherwise.
    static std::string mimeTypeFromFile(const std::string& path);
    // The file's bytes, or, when they decode as an image, that image encoded again as JPEG at quality 1.
    // Empty when the file cannot be read.
    static bdx::Data dataFromContentOfFilePath(const std::string& path);
    // The multipart body around `content`, before compression.
    bdx::Data multipartBodyWithContent(const bdx::Data& content) const;
    // An upload task from `filePath`.
    std::shared_ptr<bdx::net::URLSessionTask> sessionDataTaskWithRawRequest(
        const bdx::net::URLRequest& request);

    void prepareRequestWithCompletionHandler(TaskHandler completionHandler) override;

    const std::string& url() const { return url_; }
    const std::string& fileName() const { return fileName_; }
    const std::string& mimeType() const { return mimeType_; }
    const bdx::Value& info() const { return *info_; }

  private:
    const std::string url_;
    const std::string fileName_;
    const std::string mimeType_;
    const std::shared_ptr<const bdx::Value> info_;
};
