#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "foundation/OperationQueue.h"

// Runs the start-up operations strictly one at a time, in the order they are added. An operation holds
// the queue until it says it finished, so the order the caller chooses is the order the work ends in.
class BDXIntializationManager {
  public:
    static std::shared_ptr<BDXIntializationManager> getInstance();

    BDXIntializationManager();

    std::shared_ptr<bdx::OperationQueue> queue() const { return queue_; }

    void addOperation(std::shared_ptr<bdx::Operation> operation);
    void addOperationBlock(std::function<void()> block);
    // In list order, one after the other.
    void addOperations(const std::vector<std::shared_ptr<bdx::Operation>>& operations);

  private:
    std::shared_ptr<bdx::OperationQueue> queue_;
};
