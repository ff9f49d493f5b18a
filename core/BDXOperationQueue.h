#pragma once

#include <functional>

#include "foundation/OperationQueue.h"

// An operation queue that only defers work while it is suspended: otherwise a block runs at once, on
// the caller's thread, before the call returns, whatever else is queued.
class BDXOperationQueue : public bdx::OperationQueue {
  public:
    void addOperationWithBlock(std::function<void()> block) override;
};
