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

    // The start-up operations of the library's singletons, for the public layer to hand to addOperations
    // (the library never enqueues them itself), in an order that keeps what start-up relies on:
    // - the server manager observes reachability before the reachability notifier starts, so that the first
    //   change is not lost;
    // - the device strings are captured before anything is sent, since payloads copy them;
    // - the caches are read (holding the queue until done) before the first session begins: a session saved
    //   before the read would write its cache's file over the records of earlier runs;
    // - the first session begins last, after everything that observes it is in place.
    static std::vector<std::shared_ptr<bdx::Operation>> startupOperations();

  private:
    std::shared_ptr<bdx::OperationQueue> queue_;
};
