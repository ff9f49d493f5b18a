#include "reports/BDXSnapshotManager.h"

#include "core/BDXSingleton.h"

namespace {
BDXSingleton<BDXSnapshotManager>& singleton() {
    static BDXSingleton<BDXSnapshotManager> instance;
    return instance;
}
}  // namespace

std::shared_ptr<BDXSnapshotManager> BDXSnapshotManager::sharedInstance() {
    return singleton().get([] { return std::make_shared<BDXSnapshotManager>(); });
}

void BDXSnapshotManager::resetUserData() {}
