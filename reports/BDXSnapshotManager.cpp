#include "reports/BDXSnapshotManager.h"

#include "Logging/BDXInspector.h"
#include "Logging/BDXNetworkLogger.h"
#include "core/BDXOperation.h"
#include "core/BDXSingleton.h"
#include "reports/BDXSnapshot.h"
#include "sessions/BDXSessionLogger.h"

namespace {
BDXSingleton<BDXSnapshotManager>& singleton() {
    return BDXSingleton<BDXSnapshotManager>::holder();
}
}  // namespace

std::shared_ptr<BDXSnapshotManager> BDXSnapshotManager::sharedInstance() {
    return singleton().get([] { return std::make_shared<BDXSnapshotManager>(); });
}

BDXSnapshotManager::BDXSnapshotManager()
    : sessionLogger_(std::make_shared<BDXSessionLogger>()),
      networkLogger_(BDXNetworkLogger::init()),
      deviceState_(std::make_shared<BDXSnapshot>()) {}

BDXSnapshotManager::~BDXSnapshotManager() = default;

std::shared_ptr<BDXOperation> BDXSnapshotManager::initializationOperation() {
    std::lock_guard guard(mutex_);
    if (!initializationOperation_) {
        // The operation is kept by the manager, so the block holds it weakly.
        auto operation = std::make_shared<BDXOperation>();
        std::weak_ptr<BDXOperation> weakOperation = operation;
        operation->setBlock([weakOperation] {
            if (auto manager = singleton().existing()) {
                manager->captureDeviceState();
            }
            if (auto strong = weakOperation.lock()) {
                strong->finish();
            }
        });
        initializationOperation_ = operation;
    }
    return initializationOperation_;
}

void BDXSnapshotManager::captureDeviceState() {
    auto state = std::make_shared<BDXSnapshot>();
    state->sdkVersion = BDXInspector::getSDKVersion();
    state->iOS = BDXInspector::getiOSVersion();
    state->model = BDXInspector::getDeviceModel();
    state->appVersion = BDXInspector::getAppVersion();
    state->bundleIdentifier = BDXInspector::getBundleIdentifier();
    state->minOS = BDXInspector::getSupportedMinOS();
    state->maxOS = BDXInspector::getSupportedMaxOS();
    state->uiDeviceFamily = BDXInspector::getSupportedDeviceFamily();
    state->locale = BDXInspector::getSystemLocale();
    state->screenSize = BDXInspector::getScreenSize();
    state->screenScale = BDXInspector::getScreenScaleWithZoomMode();
    std::lock_guard guard(mutex_);
    deviceState_ = std::move(state);
}

std::shared_ptr<BDXSnapshot> BDXSnapshotManager::takePreSendingSnapshotWithScreenShot(bool, bool, bool,
                                                                                      bool) {
    std::shared_ptr<BDXSnapshot> snapshot;
    {
        std::lock_guard guard(mutex_);
        snapshot = std::make_shared<BDXSnapshot>(*deviceState_);
    }
    snapshot->uuid = BDXInspector::getUUID();
    return snapshot;
}

void BDXSnapshotManager::resetUserData() {}
