#include "core/BDXOperation.h"

#include <exception>
#include <string>

#include "foundation/Console.h"

namespace {

void callSafely(const std::function<void()>& block, const char* what) {
    if (!block) {
        return;
    }
    try {
        block();
    } catch (const std::exception& error) {
        bdx::Console::logFault(std::string("An exception escaped the ") + what +
                               " of a start-up operation and was dropped: " + error.what());
    } catch (...) {
        bdx::Console::logFault(std::string("An exception escaped the ") + what +
                               " of a start-up operation and was dropped");
    }
}

}  // namespace

BDXOperation::BDXOperation() {
    setQueuePriority(QueuePriorityHigh);
}

BDXOperation::BDXOperation(std::function<void()> block) : block_(std::move(block)) {}

std::shared_ptr<BDXOperation> BDXOperation::initWithBlock(std::function<void()> block) {
    return std::make_shared<BDXOperation>(std::move(block));
}

bool BDXOperation::isReady() const {
    return ready_;
}

bool BDXOperation::isExecuting() const {
    return executing_;
}

bool BDXOperation::isFinished() const {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return finished_;
}

void BDXOperation::setReady(bool ready) {
    if (ready_ == ready) {
        return;
    }
    willChangeValueForKey("isReady");
    ready_ = ready;
    didChangeValueForKey("isReady");
}

void BDXOperation::setExecuting(bool executing) {
    if (executing_ == executing) {
        return;
    }
    willChangeValueForKey("isExecuting");
    executing_ = executing;
    didChangeValueForKey("isExecuting");
}

void BDXOperation::setFinished(bool finished) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    if (finished_ == finished) {
        return;
    }
    willChangeValueForKey("isFinished");
    finished_ = finished;
    didChangeValueForKey("isFinished");
}

void BDXOperation::start() {
    {
        std::lock_guard<std::recursive_mutex> guard(lock_);
        if (executing_) {
            return;
        }
        setReady(false);
        setExecuting(true);
        setFinished(false);
    }
    callSafely(block(), "block");
}

void BDXOperation::finish() {
    {
        std::lock_guard<std::recursive_mutex> guard(lock_);
        if (!executing_) {
            return;
        }
        setExecuting(false);
        setFinished(true);
    }
    callSafely(compeltionBlock(), "completion block");
}

std::function<void()> BDXOperation::block() const {
    std::lock_guard<std::mutex> guard(blocksMutex_);
    return block_;
}

void BDXOperation::setBlock(std::function<void()> block) {
    std::lock_guard<std::mutex> guard(blocksMutex_);
    block_ = std::move(block);
}

std::function<void()> BDXOperation::compeltionBlock() const {
    std::lock_guard<std::mutex> guard(blocksMutex_);
    return compeltionBlock_;
}

void BDXOperation::setCompeltionBlock(std::function<void()> block) {
    std::lock_guard<std::mutex> guard(blocksMutex_);
    compeltionBlock_ = std::move(block);
}
