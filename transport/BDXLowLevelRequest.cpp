#include "transport/BDXLowLevelRequest.h"

#include <nlohmann/json.hpp>

#include "foundation/DispatchQueue.h"
#include "foundation/Error.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "transport/BDXServerRequestDelegate.h"

bdx::Value BDXUnsentBodyResponse() {
    return bdx::Value{{"Error", "Error"}};
}

BDXLowLevelRequest::BDXLowLevelRequest(std::weak_ptr<BDXServerRequestDelegate> delegate, std::string filePath)
    : delegate_(std::move(delegate)), filePath_(std::move(filePath)) {}

void BDXLowLevelRequest::storeBody(const bdx::Data& body, std::function<void(bool success)> stored) {
    std::lock_guard guard(mutex_);
    filePath_ = BDXDiskPersistenceManager::getInstance()->persistDataInTempDirectory(body, std::move(stored));
}

void BDXLowLevelRequest::reportUnsentBody(const std::shared_ptr<BDXLowLevelRequest>& request,
                                          const std::string& errorDomain) {
    bdx::DispatchQueue::main()->async([request, errorDomain] {
        if (auto delegate = request->delegate()) {
            delegate->serverExecutionDone(request, 0, bdx::Error(errorDomain, 0), BDXUnsentBodyResponse());
        }
    });
}

void BDXLowLevelRequest::setRequestData(std::optional<bdx::Data> data) {
    std::lock_guard guard(mutex_);
    data_ = std::move(data);
}

std::optional<bdx::Data> BDXLowLevelRequest::requestData() const {
    std::lock_guard guard(mutex_);
    return data_;
}

std::shared_ptr<BDXServerRequestDelegate> BDXLowLevelRequest::delegate() const {
    std::lock_guard guard(mutex_);
    return delegate_.lock();
}

void BDXLowLevelRequest::setDelegate(std::weak_ptr<BDXServerRequestDelegate> delegate) {
    std::lock_guard guard(mutex_);
    delegate_ = std::move(delegate);
}

std::string BDXLowLevelRequest::filePath() const {
    std::lock_guard guard(mutex_);
    return filePath_;
}
