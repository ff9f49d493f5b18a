#include "core/BDXIntializationManager.h"

#include "core/BDXSingleton.h"
#include "core/BDXOperation.h"
#include "foundation/BlockOperation.h"
#include "persistence/BDXCacheManager.h"
#include "persistence/BDXCoreDataPersistenceManager.h"
#include "reports/BDXSnapshotManager.h"
#include "sessions/BDXSessionManager.h"
#include "transport/BDXReachabilityInstance.h"
#include "transport/BDXServerManager.h"

namespace {
BDXSingleton<BDXIntializationManager>& singleton() {
    return BDXSingleton<BDXIntializationManager>::holder();
}
}  // namespace

std::shared_ptr<BDXIntializationManager> BDXIntializationManager::getInstance() {
    return singleton().get([] {
        auto manager = std::make_shared<BDXIntializationManager>();
        manager->queue()->setMaxConcurrentOperationCount(1);
        return manager;
    });
}

BDXIntializationManager::BDXIntializationManager() : queue_(std::make_shared<bdx::OperationQueue>()) {}

void BDXIntializationManager::addOperation(std::shared_ptr<bdx::Operation> operation) {
    if (!operation) {
        return;
    }
    queue_->addOperation(std::move(operation));
}

void BDXIntializationManager::addOperationBlock(std::function<void()> block) {
    if (!block) {
        return;
    }
    queue_->addOperation(bdx::BlockOperation::blockOperationWithBlock(std::move(block)));
}

void BDXIntializationManager::addOperations(const std::vector<std::shared_ptr<bdx::Operation>>& operations) {
    for (const auto& operation : operations) {
        addOperation(operation);
    }
}

std::vector<std::shared_ptr<bdx::Operation>> BDXIntializationManager::startupOperations() {
    return {
        BDXCoreDataPersistenceManager::sharedManager()->initializationOperation(),
        BDXServerManager::getInstance()->initializationOperation(),
        BDXReachabilityInstance::getInstance()->initializationOperation(),
        BDXSnapshotManager::sharedInstance()->initializationOperation(),
        BDXCacheManager::getInstance()->initializationOperation(),
        BDXSessionManager::getInstance()->initializationOperation(),
    };
}
