#include "transport/BDXAttachmentRequest.h"

#include "foundation/DispatchQueue.h"
#include "foundation/OperationQueue.h"
#include "persistence/BDXDiskIOManager.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "platform/net/URLConnection.h"
#include "platform/net/URLRequest.h"
#include "platform/net/URLResponse.h"

BDXAttachmentRequest::BDXAttachmentRequest(std::string URL,
                                           std::weak_ptr<BDXAttachmentRequestDelegate> delegate)
    : URL_(std::move(URL)), delegate_(std::move(delegate)) {}

std::string BDXAttachmentRequest::fileNameForURL(const std::string& absoluteURL) {
    std::string_view url = absoluteURL;
    while (url.size() > 1 && url.back() == '/') {
        url.remove_suffix(1);
    }
    if (auto slash = url.rfind('/'); slash != std::string_view::npos) {
        url.remove_prefix(slash + 1);
    }
    if (auto question = url.rfind('?'); question != std::string_view::npos) {
        url = url.substr(0, question);
    }
    return std::string(url);
}

void BDXAttachmentRequest::executeNow() {
    setIsExecuting(true);
    auto self = shared_from_this();
    bdx::net::URLConnection::sendAsynchronousRequest(
        bdx::net::URLRequest(URL_), std::make_shared<bdx::OperationQueue>(),
        [self](std::shared_ptr<const bdx::net::URLResponse> response, std::optional<bdx::Data> data,
               std::optional<bdx::Error> error) {
            self->setIsExecuting(false);
            auto http = std::dynamic_pointer_cast<const bdx::net::HTTPURLResponse>(response);
            const bool downloaded = http && http->statusCode() == 200 && !error;
            self->setIsSuccess(downloaded);
            if (!downloaded) {
                self->setFailures(self->failures() + 1);
            }
            const std::string path =
                BDXDiskPersistenceManager::getInstance()->cacheDirectory() + fileNameForURL(self->URL());
            // Written even after a failure: what the service answered is kept under the asset's name.
            BDXDiskIOManager::getInstance()->writeData(
                data.value_or(bdx::Data()), path,
                [self, downloaded, path](bool written, const bdx::Error* writeError) {
                    std::optional<bdx::Error> error;
                    if (writeError) {
                        error = *writeError;
                    }
                    bdx::DispatchQueue::main()->async([self, success = downloaded && written, path, error] {
                        if (auto delegate = self->delegate_.lock()) {
                            delegate->attachmentRequestDone(self, success, path, error);
                        }
                    });
                });
        });
}
