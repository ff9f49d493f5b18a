#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <type_traits>

namespace bdx {

// One-time initialisation, as the library's singletons need it: the first call runs the function,
// concurrent callers wait until it has run, later callers return at once. reset() arms the guard again,
// which is what `destroy` of a singleton does so that the next access builds a fresh object. A call
// made from inside the function on the same guard would wait for itself; it aborts with a message.
class Once {
  public:
    Once() = default;
    Once(const Once&) = delete;
    Once& operator=(const Once&) = delete;

    template <class F>
    void call(F&& function) {
        if (done_.load(std::memory_order_acquire)) {
            return;
        }
        callSlow(&invoke<std::remove_reference_t<F>>, const_cast<void*>(static_cast<const void*>(&function)));
    }
    bool hasRun() const { return done_.load(std::memory_order_acquire); }
    // Arms the guard again. Waits for a call in progress on another thread.
    void reset();

  private:
    template <class F>
    static void invoke(void* function) {
        (*static_cast<F*>(function))();
    }
    void callSlow(void (*invoke)(void*), void* function);

    std::atomic<bool> done_{false};
    std::atomic<std::uint64_t> owner_{0};
    std::mutex mutex_;
};

}  // namespace bdx
