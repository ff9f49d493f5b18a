#include "core/BDXDataStore.h"

#include <nlohmann/json.hpp>

#include <exception>

#include "Logging/BDXInspector.h"
#include "Logging/BDXLogLogger.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXDefaults.h"
#include "core/BDXDefaultsKeys.h"
#include "core/BDXFeatures.h"
#include "core/BDXSingleton.h"
#include "foundation/Console.h"
#include "foundation/NumericCompare.h"
#include "foundation/UserDefaults.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "persistence/BDXNetworkLog.h"
#include "platform/store/FetchRequest.h"
#include "transport/BDXSDKVersionRequest.h"
#include "transport/BDXServerManager.h"

namespace {

BDXSingleton<BDXDataStore>& singleton() {
    return BDXSingleton<BDXDataStore>::holder();
}

constexpr std::int64_t kLargestAttachmentSize = 5242880;
constexpr std::size_t kMostFileAttachments = 3;

// The host's hook is host code: whatever it throws stays here.
void runHostBlock(const std::function<void()>& block) {
    if (!block) {
        return;
    }
    try {
        block();
    } catch (const std::exception& error) {
        bdx::Console::logFault(std::string("The pre-sending hook threw and was stopped: ") + error.what());
    } catch (...) {
        bdx::Console::logFault("The pre-sending hook threw and was stopped");
    }
}

}  // namespace

std::shared_ptr<BDXDataStore> BDXDataStore::getInstance() {
    return singleton().get([] {
        auto store = std::make_shared<BDXDataStore>();
        // The check needs the store as a shared delegate, which the constructor cannot hand out.
        if (BDXInspector::isDebuggerAttached()) {
            store->checkLatestSDKVersion();
        }
        return store;
    });
}

void BDXDataStore::destroy() {
    singleton().destroy();
}

BDXDataStore::BDXDataStore() : viewHierarchyLog_(std::make_shared<const bdx::Value>(bdx::Value::array())) {
    dataStoreQueue_ =
        bdx::DispatchQueue::create("com.BDX.DataStoreQueue", bdx::DispatchQueue::Attribute::Concurrent);
    preSendingHandlerQueue_ =
        bdx::DispatchQueue::create("com.BDX.PreSendingHandlerQueue", bdx::DispatchQueue::Attribute::Serial);
    backgroundQueue_ =
        bdx::DispatchQueue::create("com.BDX.BackgorundQueue", bdx::DispatchQueue::Attribute::Concurrent);
}

BDXDataStore::~BDXDataStore() = default;

void BDXDataStore::checkLatestSDKVersion() {
    BDXServerManager::getInstance()->pushRequest(std::make_shared<BDXSDKVersionRequest>(weak_from_this()));
}

void BDXDataStore::SDKVersionRequestDone(const std::shared_ptr<BDXSDKVersionRequest>& request, bool isSuccess,
                                         const bdx::Value& response, const std::optional<bdx::Error>&) {
    BDXServerManager::getInstance()->handleRequest(request);
    if (!isSuccess || !request || request->failures() != 0) {
        return;
    }
    const auto latest = response.is_object() ? response.find("latest_version") : response.end();
    if (latest == response.end() || !latest->is_string()) {
        return;
    }
    const std::string latestVersion = latest->get<std::string>();
    if (bdx::compareNumerically(latestVersion, BDXInspector::getSDKVersion()) > 0) {
        BDXSDKLogDebug(
            "Version %@ of Brindlex is available! Please update to the latest version of the SDK to get "
            "all the features. See what changed at %@",
            latestVersion, std::string(kChangelogURL));
    }
}

std::string BDXDataStore::appToken() {
    std::lock_guard<std::mutex> guard(mutex_);
    if (!appToken_) {
        appToken_ =
            bdx::UserDefaults::standardUserDefaults()->stringForKey(kBDXDefaultsKeyAppToken).value_or("");
    }
    return *appToken_;
}

void BDXDataStore::setAppToken(const std::string& appToken) {
    const std::string current = this->appToken();
    auto features = BDXDefaults::getInstance()->features();
    // Only the first token clears what was cached without one; one token replacing another keeps the
    // cached features on purpose.
    if (current.empty() && current != appToken) {
        features->clearPreviousData();
    }
    features->adjustSDKDisableState();
    features->checkFeatures();
    bdx::UserDefaults::standardUserDefaults()->setString(appToken, kBDXDefaultsKeyAppToken);
    BDXDefaults::synchronizeUserDefaults();
    std::lock_guard<std::mutex> guard(mutex_);
    appToken_ = appToken;
}

std::function<void()> BDXDataStore::preSendingBlock() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return preSendingBlock_;
}

void BDXDataStore::setPreSendingBlock(std::function<void()> block) {
    std::lock_guard<std::mutex> guard(mutex_);
    preSendingBlock_ = std::move(block);
}

void BDXDataStore::excutePreSendingBlockSynchronized(bool synchronized,
                                                     std::function<void()> completionHandler) {
    if (!completionHandler) {
        BDXSDKLogError("The pre-sending hook was asked to run without a completion handler.");
    }
    auto hook = preSendingBlock();
    if (!hook) {
        runHostBlock(completionHandler);
        return;
    }
    if (synchronized) {
        runHostBlock(hook);
        runHostBlock(completionHandler);
        return;
    }
    preSendingHandlerQueue_->async(
        [hook = std::move(hook), completionHandler = std::move(completionHandler)] {
            runHostBlock(hook);
            runHostBlock(completionHandler);
        });
}

bool BDXDataStore::isFileOfValidSize(const std::string& path) const {
    const std::int64_t size = BDXDiskPersistenceManager::getInstance()->fileSizeAtLocation(path);
    return size != -1 && size <= kLargestAttachmentSize;
}

void BDXDataStore::addFileAttachment(const std::string& path) {
    dataStoreQueue_->sync([&] {
        if (!isFileOfValidSize(path)) {
            BDXSDKLogError("File is larger than 5MB or it's path is invalid.");
            return;
        }
        std::lock_guard<std::mutex> guard(mutex_);
        if (fileAttachments_.size() >= kMostFileAttachments) {
            fileAttachments_.erase(fileAttachments_.begin());
        }
        fileAttachments_.push_back(path);
    });
}

void BDXDataStore::addFileAttachmentWithData(const std::optional<bdx::Data>& data) {
    if (!data || data->empty()) {
        BDXSDKLogError("File attachment data is empty or corrupted.");
        return;
    }
    addFileAttachment(BDXDiskPersistenceManager::getInstance()->persistDataAsTextInTempDirectory(*data));
}

void BDXDataStore::clearAllFileAttachments() {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        fileAttachments_.clear();
    }
    // Once more behind every add already on the queue.
    dataStoreQueue_->sync([this] {
        std::lock_guard<std::mutex> guard(mutex_);
        fileAttachments_.clear();
    });
}

std::vector<std::string> BDXDataStore::fileAttachments() const {
    std::vector<std::string> copy;
    dataStoreQueue_->sync([&] {
        std::lock_guard<std::mutex> guard(mutex_);
        copy = fileAttachments_;
    });
    return copy;
}

void BDXDataStore::setFileLocation(const std::string& path) {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        fileLocation_ = path;
    }
    if (path.empty()) {
        return;
    }
    clearAllFileAttachments();
    addFileAttachment(path);
}

std::string BDXDataStore::fileLocation() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return fileLocation_;
}

bdx::Value BDXDataStore::viewHierarchyLog() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return *viewHierarchyLog_;
}

void BDXDataStore::setViewHierarchyLog(const bdx::Value& log) {
    auto copy = std::make_shared<const bdx::Value>(log);
    std::lock_guard<std::mutex> guard(mutex_);
    viewHierarchyLog_ = std::move(copy);
}

void BDXDataStore::clear() {
    setViewHierarchyLog(bdx::Value::array());
}

std::vector<bdx::store::FetchRequest> BDXDataStore::logsFetchRequests() const {
    // The network logger's request is every network log row.
    return {BDXNetworkLog::fetchRequest(), BDXLogLogger::fetchRequest()};
}
