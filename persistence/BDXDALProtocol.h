#pragma once

#include <functional>
#include <memory>

#include "foundation/Error.h"
#include "platform/store/ManagedObjectContext.h"

// The one door of a logger to the object store. Every call hands the block the context to work in; a
// write's block must touch nothing but that context, since it may run more than once (see readSync).
class BDXDALProtocol {
  public:
    using ContextBlock =
        std::function<void(const std::shared_ptr<bdx::store::ManagedObjectContext>& context)>;
    // With the main context's save error, or none; on the main queue.
    using WriteCompletion = std::function<void(const bdx::Error& error)>;

    virtual ~BDXDALProtocol() = default;

    // Writes now and returns once the write is in the private context.
    virtual void writeSync(ContextBlock block) = 0;
    // Writes in the logger's lane and returns at once; the completion runs after the full save.
    virtual void writeASync(ContextBlock block, WriteCompletion completionBlock) = 0;
    // Reads now, seeing the writes still waiting in the lane.
    virtual void readSync(ContextBlock block) = 0;
    // Reads in the lane, after the writes queued before it; the completion runs on the lane's queue.
    virtual void readASync(ContextBlock block, std::function<void()> completionBlock) = 0;
    // Runs the block now on a throwaway context and saves nothing.
    virtual void performBlockSyncWithoutSave(ContextBlock block) = 0;
};
