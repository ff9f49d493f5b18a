#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "foundation/Operation.h"

namespace bdx {

// An operation that runs blocks: its main() runs them in the order added, one after another.
class BlockOperation : public Operation {
  public:
    static std::shared_ptr<BlockOperation> blockOperationWithBlock(std::function<void()> block);

    BlockOperation() = default;
    explicit BlockOperation(std::function<void()> block);
    // Adds a block; refused with a log line once the operation started.
    void addExecutionBlock(std::function<void()> block);
    std::size_t executionBlockCount() const;
    void main() override;

  private:
    mutable std::mutex blocksMutex_;
    std::vector<std::function<void()>> blocks_;
};

}  // namespace bdx
