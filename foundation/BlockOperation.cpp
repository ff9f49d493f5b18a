#include "foundation/BlockOperation.h"

#include "foundation/ConcurrencyLog.h"
#include "foundation/DispatchQueue.h"

namespace bdx {

std::shared_ptr<BlockOperation> BlockOperation::blockOperationWithBlock(std::function<void()> block) {
    return std::make_shared<BlockOperation>(std::move(block));
}

BlockOperation::BlockOperation(std::function<void()> block) {
    if (block) {
        blocks_.push_back(std::move(block));
    }
}

void BlockOperation::addExecutionBlock(std::function<void()> block) {
    if (!block) {
        return;
    }
    if (hasStarted()) {
        ConcurrencyLog::error("Block operation \"%s\" already started; the added block is ignored",
                              name().c_str());
        return;
    }
    std::lock_guard<std::mutex> lock(blocksMutex_);
    blocks_.push_back(std::move(block));
}

std::size_t BlockOperation::executionBlockCount() const {
    std::lock_guard<std::mutex> lock(blocksMutex_);
    return blocks_.size();
}

void BlockOperation::main() {
    std::vector<std::function<void()>> blocks;
    {
        std::lock_guard<std::mutex> lock(blocksMutex_);
        blocks = blocks_;
    }
    for (const auto& block : blocks) {
        // One block's exception does not keep the others from running.
        detail::invokeSafely(nullptr, block);
    }
}

}  // namespace bdx
