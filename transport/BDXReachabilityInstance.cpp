#include "transport/BDXReachabilityInstance.h"

#include "core/BDXDefaults.h"
#include "core/BDXOperation.h"
#include "core/BDXSingleton.h"
#include "foundation/Console.h"
#include "foundation/DispatchQueue.h"
#include "transport/BDXReachability.h"

namespace {

BDXSingleton<BDXReachabilityInstance>& singleton() {
    return BDXSingleton<BDXReachabilityInstance>::holder();
}

}  // namespace

std::shared_ptr<BDXReachabilityInstance> BDXReachabilityInstance::getInstance() {
    return singleton().get([] { return std::make_shared<BDXReachabilityInstance>(); });
}

void BDXReachabilityInstance::destroy() {
    singleton().destroy();
}

std::shared_ptr<BDXOperation> BDXReachabilityInstance::initializationOperation() {
    std::lock_guard lock(mutex_);
    if (initializationOperation_) {
        return initializationOperation_;
    }
    auto operation = BDXOperation::initWithBlock(nullptr);
    // Both held weakly: the operation keeps its block, and the instance keeps the operation.
    std::weak_ptr<BDXReachabilityInstance> weakSelf = weak_from_this();
    std::weak_ptr<BDXOperation> weakOperation = operation;
    operation->setBlock([weakSelf, weakOperation] {
        if (auto self = weakSelf.lock()) {
            std::string host = BDXDefaults::getInstance()->baseURLHost();
            auto reachability = BDXReachability::reachabilityWithHostName(host);
            if (!reachability) {
                bdx::Console::logFault("[Brindlex] cannot watch the reachability of \"" + host + "\"");
            }
            self->setReachability(reachability);
            if (reachability) {
                std::weak_ptr<BDXReachability> weakReachability = reachability;
                bdx::DispatchQueue::main()->async([weakReachability] {
                    if (auto started = weakReachability.lock()) {
                        started->startNotifier();
                    }
                });
            }
        }
        if (auto running = weakOperation.lock()) {
            running->finish();
        }
    });
    initializationOperation_ = operation;
    return operation;
}

bool BDXReachabilityInstance::isReachable() {
    auto reachability = getInstance()->reachability();
    return reachability && reachability->currentReachabilityStatus() != BDXNotReachable;
}

std::shared_ptr<BDXReachability> BDXReachabilityInstance::reachability() const {
    std::lock_guard lock(mutex_);
    return reachability_;
}

void BDXReachabilityInstance::setReachability(std::shared_ptr<BDXReachability> reachability) {
    std::lock_guard lock(mutex_);
    reachability_ = std::move(reachability);
}
