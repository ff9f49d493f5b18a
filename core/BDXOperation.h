#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include "foundation/Operation.h"

// A unit of start-up work that stays open until somebody calls finish(), from whatever thread and
// however late: on a serial queue it holds every later operation until then, and for good if finish()
// never comes. Readiness is the stored flag alone, so dependencies do not gate it; a block operation
// can depend on it instead.
class BDXOperation : public bdx::Operation {
  public:
    // For subclasses: ready, at high queue priority, with no block.
    BDXOperation();
    // Ready, at the default queue priority, running `block` when started.
    explicit BDXOperation(std::function<void()> block);
    static std::shared_ptr<BDXOperation> initWithBlock(std::function<void()> block);

    bool isReady() const override;
    bool isExecuting() const override;
    bool isFinished() const override;
    bool isAsynchronous() const override { return true; }

    // Marks the operation executing and calls the block; returning from the block does not end it.
    // Does nothing while already executing.
    void start() override;
    // Ends an executing operation and then calls the completion block; does nothing otherwise.
    void finish();

    void setReady(bool ready);
    void setExecuting(bool executing);
    void setFinished(bool finished);

    std::function<void()> block() const;
    void setBlock(std::function<void()> block);
    // Called once the operation finished.
    std::function<void()> compeltionBlock() const;
    void setCompeltionBlock(std::function<void()> block);

  private:
    std::atomic<bool> ready_{true};
    std::atomic<bool> executing_{false};
    bool finished_ = false;
    // Guards `finished_`, and makes start and finish one step each when they come from two threads.
    mutable std::recursive_mutex lock_;
    mutable std::mutex blocksMutex_;
    std::function<void()> block_;
    std::function<void()> compeltionBlock_;
};
