#include "core/BDXTimedDispatcher.h"

#include <limits>

#include "core/BDXSingleton.h"

namespace {
BDXSingleton<BDXTimedDispatcher>& singleton() {
    static BDXSingleton<BDXTimedDispatcher> instance;
    return instance;
}
}  // namespace

std::shared_ptr<BDXTimedDispatcher> BDXTimedDispatcher::sharedDispatcher() {
    return singleton().get([] { return std::make_shared<BDXTimedDispatcher>(); });
}

void BDXTimedDispatcher::dispatchAfter(bdx::DispatchTime when, const std::shared_ptr<bdx::DispatchQueue>& On,
                                       const std::string& ID, std::function<void()> block) {
    if (!On || !block) {
        return;
    }
    {
        std::lock_guard<std::mutex> guard(admission_);
        if (toBeDispatchedBlocks_->objectForKey(ID)) {
            return;
        }
        toBeDispatchedBlocks_->setObject(std::move(block), ID);
    }
    const double delay = bdx::secondsUntil(when);
    if (delay == std::numeric_limits<double>::infinity()) {
        return;  // never due: the identifier stays taken, as a block that never runs keeps it
    }
    // The identifier is removed only after the block ran, so that the same identifier asked for from
    // inside the block is dropped as well.
    On->after(delay, [pending = toBeDispatchedBlocks_, ID] {
        // Removed even when the block throws, or the identifier would be taken for good.
        struct RemoveWhenDone {
            const std::shared_ptr<BDXSafeMutableDictionary<std::string, std::function<void()>>>& pending;
            const std::string& ID;
            ~RemoveWhenDone() { pending->removeObjectForKey(ID); }
        } removeWhenDone{pending, ID};
        if (auto stored = pending->objectForKey(ID)) {
            (*stored)();
        }
    });
}
