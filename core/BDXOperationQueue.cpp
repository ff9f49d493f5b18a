#include "core/BDXOperationQueue.h"

void BDXOperationQueue::addOperationWithBlock(std::function<void()> block) {
    if (!block) {
        return;
    }
    if (isSuspended()) {
        bdx::OperationQueue::addOperationWithBlock(std::move(block));
        return;
    }
    block();
}
