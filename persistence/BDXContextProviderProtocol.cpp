#include "persistence/BDXContextProviderProtocol.h"

#include "persistence/BDXCoreDataPersistenceManager.h"

std::shared_ptr<bdx::store::ManagedObjectContext> BDXNewPrivateChildContext() {
    auto context = bdx::store::ManagedObjectContext::initWithConcurrencyType(
        bdx::store::ManagedObjectContext::ConcurrencyType::PrivateQueue);
    context->setParentContext(BDXCoreDataPersistenceManager::sharedManager()->privateContext());
    return context;
}
