#pragma once

#include <map>
#include <memory>

#include "foundation/DispatchQueue.h"
#include "persistence/BDXContextProviderProtocol.h"
#include "persistence/BDXDALProtocol.h"

class BDXCoreDataPersistenceManager;

// The data-access layer of one logger: its own serial write lane (the provider's write context) ending,
// like every lane, in the one store. Writes still waiting in the lane are kept by date, so that a
// synchronous read can replay them on a fresh context instead of waiting for them.
class BDXDALService : public BDXDALProtocol, public std::enable_shared_from_this<BDXDALService> {
  public:
    static std::shared_ptr<BDXDALService> initWithContextProvider(
        std::shared_ptr<BDXContextProviderProtocol> contextProvider);

    explicit BDXDALService(std::shared_ptr<BDXContextProviderProtocol> contextProvider);

    void writeSync(ContextBlock block) override;
    void writeASync(ContextBlock block, WriteCompletion completionBlock) override;
    void readSync(ContextBlock block) override;
    void readASync(ContextBlock block, std::function<void()> completionBlock) override;
    void performBlockSyncWithoutSave(ContextBlock block) override;

    std::shared_ptr<BDXCoreDataPersistenceManager> coreDataPersistenceManager() const {
        return coreDataPersistenceManager_;
    }
    std::shared_ptr<BDXContextProviderProtocol> contextProvider() const { return contextProvider_; }
    // How many writes wait in the lane (entries of the map; writes of the same date share one).
    std::size_t pendingWriteCount() const;

  private:
    std::shared_ptr<BDXCoreDataPersistenceManager> coreDataPersistenceManager_;
    std::shared_ptr<BDXContextProviderProtocol> contextProvider_;
    // Guarded by dataLayerServiceQueue_, entered only for a map operation.
    std::map<double, ContextBlock> operationTempStorage_;
    std::shared_ptr<bdx::DispatchQueue> dataLayerServiceQueue_;
};
