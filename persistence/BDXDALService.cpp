#include "persistence/BDXDALService.h"

#include <vector>

#include "foundation/Date.h"
#include "persistence/BDXCoreDataPersistenceManager.h"

using bdx::store::ManagedObjectContext;

std::shared_ptr<BDXDALService> BDXDALService::initWithContextProvider(
    std::shared_ptr<BDXContextProviderProtocol> contextProvider) {
    if (!contextProvider) {
        return nullptr;
    }
    return std::make_shared<BDXDALService>(std::move(contextProvider));
}

BDXDALService::BDXDALService(std::shared_ptr<BDXContextProviderProtocol> contextProvider)
    : coreDataPersistenceManager_(BDXCoreDataPersistenceManager::sharedManager()),
      contextProvider_(std::move(contextProvider)),
      dataLayerServiceQueue_(bdx::DispatchQueue::create("com.BDX.DataLayerService")) {}

void BDXDALService::writeSync(ContextBlock block) {
    if (!block) {
        return;
    }
    // Once a store is there, a synchronous write goes straight into the private context.
    auto context = BDXCoreDataPersistenceManager::isCoreDataInitialized()
                       ? coreDataPersistenceManager_->privateContext()
                       : contextProvider_->writeContext();
    context->performBlockAndWait([&] {
        block(context);
        context->save();
    });
    coreDataPersistenceManager_->saveWithCompletionHandler(nullptr);
}

void BDXDALService::writeASync(ContextBlock block, WriteCompletion completionBlock) {
    if (!block) {
        return;
    }
    const double date = bdx::Date::now().timeIntervalSince1970();
    // A later write of the same date takes the entry over; both still run.
    dataLayerServiceQueue_->sync([&] { operationTempStorage_[date] = block; });
    auto context = contextProvider_->writeContext();
    std::weak_ptr<BDXDALService> weakSelf = weak_from_this();
    auto manager = coreDataPersistenceManager_;
    context->performBlock([weakSelf, manager, context, date, block = std::move(block),
                           completionBlock = std::move(completionBlock)] {
        block(context);
        context->save();
        if (auto self = weakSelf.lock()) {
            self->dataLayerServiceQueue_->sync([&] { self->operationTempStorage_.erase(date); });
        }
        manager->saveWithCompletionHandler(completionBlock);
    });
}

void BDXDALService::readSync(ContextBlock block) {
    if (!block) {
        return;
    }
    std::vector<ContextBlock> pending;
    dataLayerServiceQueue_->sync([&] {
        for (const auto& [date, write] : operationTempStorage_) {
            pending.push_back(write);
        }
    });
    // The writes still in the lane are replayed on a context that is never saved, so the reader sees
    // them and the file gets each of them once, from the lane.
    auto context = contextProvider_->newContext();
    context->performBlockAndWait([&] {
        for (const auto& write : pending) {
            write(context);
        }
        block(context);
    });
}

void BDXDALService::readASync(ContextBlock block, std::function<void()> completionBlock) {
    if (!block) {
        return;
    }
    auto context = contextProvider_->writeContext();
    context->performBlock([context, block = std::move(block), completionBlock = std::move(completionBlock)] {
        block(context);
        if (completionBlock) {
            completionBlock();
        }
    });
}

void BDXDALService::performBlockSyncWithoutSave(ContextBlock block) {
    if (!block) {
        return;
    }
    auto context = contextProvider_->newContext();
    context->performBlockAndWait([&] { block(context); });
}

std::size_t BDXDALService::pendingWriteCount() const {
    std::size_t count = 0;
    dataLayerServiceQueue_->sync([&] { count = operationTempStorage_.size(); });
    return count;
}
