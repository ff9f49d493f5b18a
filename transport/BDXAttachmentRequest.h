#pragma once

#include <memory>
#include <optional>
#include <string>

#include "foundation/Error.h"
#include "transport/BDXHighLevelRequest.h"

class BDXAttachmentRequest;

class BDXAttachmentRequestDelegate {
  public:
    virtual ~BDXAttachmentRequestDelegate() = default;
    // On the main queue. `isSuccess` needs both the download and the write of the file; `error` is the
    // write's.
    virtual void attachmentRequestDone(const std::shared_ptr<BDXAttachmentRequest>& request, bool isSuccess,
                                       const std::string& path, const std::optional<bdx::Error>& error) = 0;
};

// Downloads a remote asset (an image a user received, say) into the cache directory, under the last
// path component of its URL without the query. It stands apart from the upload pipeline: a plain request,
// no file body, no background task.
class BDXAttachmentRequest : public BDXHighLevelRequest,
                             public std::enable_shared_from_this<BDXAttachmentRequest> {
    BDX_DECLARE_CLASS(BDXAttachmentRequest, bdx::Object)

  public:
    BDXAttachmentRequest(std::string URL, std::weak_ptr<BDXAttachmentRequestDelegate> delegate);

    const std::string& URL() const { return URL_; }

    void executeNow() override;

    // The name the asset is stored under: the last path component of the absolute URL, cut before its
    // last "?".
    static std::string fileNameForURL(const std::string& absoluteURL);

  private:
    const std::string URL_;
    std::weak_ptr<BDXAttachmentRequestDelegate> delegate_;
};
