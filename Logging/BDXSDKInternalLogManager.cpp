#include "Logging/BDXSDKInternalLogManager.h"

#include "Logging/BDXInspector.h"
#include "core/BDXDateOperations.h"
#include "foundation/DispatchQueue.h"
#include "foundation/Singleton.h"
#include "foundation/StringWithFormat.h"

BDXSDKInternalLogManager::BDXSDKInternalLogManager()
    : queue_(bdx::DispatchQueue::create("com.Brindlex.BDXSDKInternalLogManagerQueue",
                                        bdx::DispatchQueue::Attribute::Concurrent)),
      internalLog_(std::make_shared<BDXCountLimitedArray<BDXConsoleLog>>()) {
    addSDKInternalLog(bdx::stringWithFormat("SDK V%@ (%@)", BDXInspector::getSDKVersion(),
                                            BDXInspector::getSDKBuildNumber()));
}

std::shared_ptr<BDXSDKInternalLogManager> BDXSDKInternalLogManager::sharedManager() {
    return bdx::Singleton<BDXSDKInternalLogManager>::holder().get();
}

void BDXSDKInternalLogManager::destroy() {
    bdx::Singleton<BDXSDKInternalLogManager>::holder().destroy();
}

std::shared_ptr<BDXCountLimitedArray<BDXConsoleLog>> BDXSDKInternalLogManager::ring() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return internalLog_;
}

void BDXSDKInternalLogManager::addSDKInternalLog(const std::string& log) {
    // The ring orders the additions; the queue only keeps the stamp and the add together.
    queue_->sync([&] { ring()->addObject(BDXConsoleLog(log, bdx_logTimeEpoch(bdx::Date::now()))); });
}

void BDXSDKInternalLogManager::clearLogs() {
    auto fresh = std::make_shared<BDXCountLimitedArray<BDXConsoleLog>>();
    std::lock_guard<std::mutex> guard(mutex_);
    internalLog_ = std::move(fresh);
}

std::vector<BDXConsoleLog> BDXSDKInternalLogManager::internalLogs() const {
    return ring()->objects();
}
