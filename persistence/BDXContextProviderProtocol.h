#pragma once

#include <memory>

#include "foundation/Singleton.h"
#include "platform/store/ManagedObjectContext.h"

// Where a data service gets its contexts: one long-lived write context (its lane) and fresh ones.
class BDXContextProviderProtocol {
  public:
    virtual ~BDXContextProviderProtocol() = default;
    // The lane: the same context on every call, for the life of the process.
    virtual std::shared_ptr<bdx::store::ManagedObjectContext> writeContext() = 0;
    // A new private-queue context whose parent is the store manager's private context.
    virtual std::shared_ptr<bdx::store::ManagedObjectContext> newContext() = 0;
};

// Makes a new private-queue child of the shared store manager's private context.
std::shared_ptr<bdx::store::ManagedObjectContext> BDXNewPrivateChildContext();

// The providers of the loggers are all alike but for whose lane it is: `Provider` names the class whose
// one background context, made on first use, every instance shares.
template <class Provider>
class BDXLoggerContextProvider : public BDXContextProviderProtocol {
  public:
    std::shared_ptr<bdx::store::ManagedObjectContext> writeContext() override { return backgroundContext(); }
    std::shared_ptr<bdx::store::ManagedObjectContext> newContext() override {
        return BDXNewPrivateChildContext();
    }

    static std::shared_ptr<bdx::store::ManagedObjectContext> backgroundContext() {
        return bdx::Singleton<bdx::store::ManagedObjectContext, Provider>::holder().get(
            [] { return BDXNewPrivateChildContext(); });
    }
};
