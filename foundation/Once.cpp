#include "foundation/Once.h"

#include "foundation/ConcurrencyLog.h"
#include "foundation/ThreadIdentity.h"

namespace bdx {

void Once::callSlow(void (*invoke)(void*), void* function) {
    std::uint64_t self = ThreadIdentity::token();
    if (owner_.load(std::memory_order_relaxed) == self) {
        ConcurrencyLog::fatal("Deadlock: a one-time initialisation called itself again before it finished");
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (done_.load(std::memory_order_relaxed)) {
        return;
    }
    owner_.store(self, std::memory_order_relaxed);
    struct ClearOwner {
        std::atomic<std::uint64_t>& owner;
        ~ClearOwner() { owner.store(0, std::memory_order_relaxed); }
    } clearOwner{owner_};
    // A function that throws leaves the guard armed, so the next call tries again.
    invoke(function);
    done_.store(true, std::memory_order_release);
}

void Once::reset() {
    std::lock_guard<std::mutex> lock(mutex_);
    done_.store(false, std::memory_order_release);
}

}  // namespace bdx
