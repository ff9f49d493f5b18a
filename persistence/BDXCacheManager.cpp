#include "persistence/BDXCacheManager.h"

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXOperation.h"
#include "core/BDXSingleton.h"
#include "foundation/BlockOperation.h"
#include "foundation/OperationQueue.h"
#include "persistence/BDXCachable.h"
#include "persistence/BDXCache.h"
#include "persistence/BDXSessionCache.h"
#include "persistence/BDXUUIDMigrationCache.h"

namespace {

BDXSingleton<BDXCacheManager>& singleton() {
    static BDXSingleton<BDXCacheManager> instance;
    return instance;
}

}  // namespace

std::shared_ptr<BDXCacheManager> BDXCacheManager::getInstance() {
    return singleton().get([] { return std::make_shared<BDXCacheManager>(); });
}

void BDXCacheManager::destroy() {
    singleton().destroy();
}

BDXCacheManager::BDXCacheManager() : cacheManagerQueue_(std::make_shared<bdx::OperationQueue>()) {
    cacheManagers_["BDXSession"] = std::make_shared<BDXSessionCache>();
    cacheManagers_["BDXUUIDMigration"] = std::make_shared<BDXUUIDMigrationCache>();
}

BDXCacheManager::~BDXCacheManager() = default;

void BDXCacheManager::registerCaches(const std::vector<std::shared_ptr<BDXCache>>& caches,
                                     const std::vector<std::string>& forClasses,
                                     std::function<void()> withCompletionHandler) {
    std::weak_ptr<BDXCacheManager> weakSelf = weak_from_this();
    auto operation = bdx::BlockOperation::blockOperationWithBlock(
        [weakSelf, caches, forClasses, handler = std::move(withCompletionHandler)] {
            auto self = weakSelf.lock();
            if (!self) {
                return;
            }
            {
                std::lock_guard guard(self->lock_);
                const std::size_t count = std::min(caches.size(), forClasses.size());
                for (std::size_t i = 0; i < count; ++i) {
                    if (!caches[i]) {
                        continue;
                    }
                    self->cacheManagers_[forClasses[i]] = caches[i];
                    caches[i]->unpersistAll();
                    caches[i]->sendAll();
                }
            }
            if (handler) {
                handler();
            }
        });
    operation->addDependency(initializationOperation());
    cacheManagerQueue_->addOperation(operation);
}

void BDXCacheManager::registerCache(const std::shared_ptr<BDXCache>& cache, const std::string& forClass,
                                    std::function<void()> withCompletionHandler) {
    registerCaches({cache}, {forClass}, std::move(withCompletionHandler));
}

std::shared_ptr<BDXCache> BDXCacheManager::getCacheWithClass(const std::string& className) const {
    std::lock_guard guard(lock_);
    auto found = cacheManagers_.find(className);
    return found == cacheManagers_.end() ? nullptr : found->second;
}

void BDXCacheManager::saveCacheModel(const std::shared_ptr<BDXCachable>& model) {
    if (!model) {
        return;
    }
    auto cache = getCacheWithClass(model->className());
    if (!cache) {
        return;
    }
    if (!cache->contains(model)) {
        BDXSDKLogVerbose("Persisting object to disk: %@", model->description());
        cache->append({model});
    }
    cache->persistAll();
}

void BDXCacheManager::removeCacheModel(const std::shared_ptr<BDXCachable>& model) {
    if (!model) {
        return;
    }
    if (auto cache = getCacheWithClass(model->className())) {
        cache->remove({model});
        cache->persistAll();
    }
}

std::vector<std::shared_ptr<BDXCache>> BDXCacheManager::allCaches() const {
    std::vector<std::shared_ptr<BDXCache>> caches;
    for (const auto& [name, cache] : cacheManagers_) {
        caches.push_back(cache);
    }
    return caches;
}

void BDXCacheManager::forcePersistAll() {
    std::lock_guard guard(lock_);
    for (const auto& cache : allCaches()) {
        cache->forcePersistAll();
    }
}

void BDXCacheManager::unpersistAllCache() {
    {
        std::lock_guard guard(lock_);
        for (const auto& cache : allCaches()) {
            cache->unpersistAll();
        }
    }
    initializationOperation()->finish();
}

void BDXCacheManager::send() {
    std::lock_guard guard(lock_);
    for (const auto& cache : allCaches()) {
        cache->sendAll();
    }
}

void BDXCacheManager::unpersistAndSendPendingCache() {
    unpersistAllCache();
    send();
}

void BDXCacheManager::clearAll() {
    std::lock_guard guard(lock_);
    for (const auto& cache : allCaches()) {
        cache->clearAll();
    }
}

std::shared_ptr<BDXOperation> BDXCacheManager::initializationOperation() {
    std::lock_guard guard(operationMutex_);
    if (initializationOperation_) {
        return initializationOperation_;
    }
    std::weak_ptr<BDXCacheManager> weakSelf = weak_from_this();
    initializationOperation_ = BDXOperation::initWithBlock([weakSelf] {
        if (auto self = weakSelf.lock()) {
            self->unpersistAndSendPendingCache();
        }
    });
    return initializationOperation_;
}
