#include "reports/BDXSnapshotManager.h"

#include "core/BDXSingleton.h"

namespace {
BDXSingleton<BDXSnapshotManager>& singleton() {
    return BDXSingleton<BDXSnapshotManager>::holder();
}
}  // namespace

std::shared_ptr<BDXSnapshotManager> BDXSnapshotManager::sharedInstance() {
    return singleton().get([] { return std::make_shared<BDXSnapshotManager>(); });
}

void BDXSnapshotManager::resetUserData() {}
