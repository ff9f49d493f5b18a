// Public header: installed with the library for hosts to include.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace bdx {

class DispatchQueue;
class RunLoop;
class WorkerPool;

using DispatchBlock = std::function<void()>;

// An absolute time, as timed dispatch takes it: nanoseconds on the monotonic scale of the installed
// clock.
using DispatchTime = std::uint64_t;
inline constexpr DispatchTime kDispatchTimeNow = 0;
inline constexpr DispatchTime kDispatchTimeForever = ~DispatchTime{0};
// `when` (kDispatchTimeNow for the present moment) moved by a signed number of nanoseconds.
DispatchTime dispatchTime(DispatchTime when, std::int64_t deltaNanoseconds);
// The seconds from now until `when` on the installed clock (0 or less once it passed);
// kDispatchTimeForever gives infinity.
double secondsUntil(DispatchTime when);

namespace detail {

// A queue on the stack of queues the calling thread is running blocks of. A sync that runs its block
// on another thread (the main queue) links to the waiting caller's frames, so that the whole chain
// of queues held by one line of work can be checked for a sync that would wait for itself.
struct DispatchFrame {
    const DispatchQueue* queue;
    const DispatchFrame* previous;
};

// A caller blocked in sync. It lives on the caller's stack until the caller returns.
struct SyncWaiter {
    void (*invoke)(void*) = nullptr;
    void* context = nullptr;
    const DispatchFrame* callerFrame = nullptr;
    // 0 while waiting; 1 once the caller may run its block itself, or once the block has run for it.
    std::atomic<int> state{0};
    std::mutex mutex;
    std::condition_variable condition;

    void signal();
    void wait();
};

// One submission: a block, or a sync caller's turn.
struct DispatchItem {
    DispatchBlock block;
    SyncWaiter* waiter = nullptr;
    bool barrier = false;
};

// Marks the calling thread as running blocks of `queue` for its lifetime.
class FrameScope {
  public:
    FrameScope(const DispatchQueue* queue, const DispatchFrame* previous);
    explicit FrameScope(const DispatchQueue* queue);
    ~FrameScope();
    FrameScope(const FrameScope&) = delete;
    FrameScope& operator=(const FrameScope&) = delete;

  private:
    DispatchFrame frame_;
    const DispatchFrame* saved_;
};
const DispatchFrame* currentFrame();

// Runs a block with an exception barrier: nothing thrown by a block may reach the host.
void invokeSafely(const DispatchQueue* queue, const DispatchBlock& block) noexcept;
void invokeSafely(const DispatchQueue* queue, void (*invoke)(void*), void* context) noexcept;

}  // namespace detail

// A queue of blocks, run on a pool of worker threads shared by every queue (the main queue is served by
// the main run loop instead). A serial queue runs one block at a time in submission order and holds no
// thread while it is idle; a concurrent queue runs blocks side by side, except barrier blocks, which
// run alone. Queues are always owned through std::shared_ptr; pending work keeps its queue alive.
class DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
  public:
    enum class Attribute { Serial, Concurrent };

    // Priorities of the global queues, with the platform's values.
    static constexpr long PriorityHigh = 2;
    static constexpr long PriorityDefault = 0;
    static constexpr long PriorityLow = -2;
    static constexpr long PriorityBackground = -32768;

    // A new queue. Its blocks run at the priority of the global queue it targets.
    static std::shared_ptr<DispatchQueue> create(std::string label, Attribute attribute = Attribute::Serial,
                                                 long targetPriority = PriorityDefault);

    // The serial queue served by the main run loop, on the main thread.
    static const std::shared_ptr<DispatchQueue>& main();
    // The shared concurrent queue of a priority (any value is taken to the nearest of the four).
    static const std::shared_ptr<DispatchQueue>& global(long priority = PriorityDefault);

    // Queues `block` and returns at once.
    void async(DispatchBlock block);
    // Runs `block` once every block submitted before it has run, and returns after it ran. The block
    // runs on the calling thread, except on the main queue, where it runs on the main thread. A sync
    // onto a serial queue that the caller is already running on is a programming error that aborts
    // the process with a message naming the queue.
    template <class F>
    void sync(F&& block) {
        syncInvoke(&invokeCallable<std::remove_reference_t<F>>,
                   const_cast<void*>(static_cast<const void*>(&block)), false);
    }
    // On a concurrent queue, the block runs alone: after every block submitted before it and before
    // every block submitted after it. On a serial or global queue these are async and sync.
    void barrierAsync(DispatchBlock block);
    template <class F>
    void barrierSync(F&& block) {
        syncInvoke(&invokeCallable<std::remove_reference_t<F>>,
                   const_cast<void*>(static_cast<const void*>(&block)), true);
    }
    // Queues `block` once `seconds` have passed on the installed clock (at once for none or less).
    void after(double seconds, DispatchBlock block);

    const std::string& label() const { return label_; }
    bool isSerial() const { return role_ == Role::Serial || role_ == Role::Main; }
    bool isMainQueue() const { return role_ == Role::Main; }
    // True when the calling code runs on this queue, directly or inside a sync made from one of its
    // blocks. On the main thread the main queue is always current.
    bool isCurrent() const;
    // The label of the queue the calling code runs on; "" on a thread that runs no queue.
    static std::string currentLabel();

    DispatchQueue(const DispatchQueue&) = delete;
    DispatchQueue& operator=(const DispatchQueue&) = delete;
    ~DispatchQueue();

  private:
    enum class Role { Serial, Concurrent, Global, Main };
    struct Token {};

  public:
    // Use create(), main() or global().
    DispatchQueue(Token, std::string label, Role role, int priorityIndex);

  private:
    friend class WorkerPool;
    friend class RunLoop;

    template <class F>
    static void invokeCallable(void* callable) {
        (*static_cast<F*>(callable))();
    }

    void syncInvoke(void (*invoke)(void*), void* context, bool barrier);
    void submitToPool(DispatchBlock block, bool barrier);
    void enqueueSerial(detail::DispatchItem item);
    void enqueueConcurrent(detail::DispatchItem item);
    void releaseSerial();
    void releaseReadyLocked(std::vector<detail::DispatchItem>& released);
    void startReleased(std::vector<detail::DispatchItem>& released);
    void concurrentBlockDone(bool barrier);
    bool isOnCallerChain() const;

    // Called by the pool: a serial queue's turn to run its pending blocks, or one block of a
    // concurrent or global queue.
    void drainSerial();
    void runPoolBlock(const DispatchBlock& block, bool barrier);

    const std::string label_;
    const Role role_;
    const int priorityIndex_;

    std::mutex mutex_;
    // Serial: blocks waiting, in order; `scheduled_` while a worker drains the queue or a sync caller
    // holds it (pending work implies scheduled).
    std::vector<detail::DispatchItem> pending_;
    std::vector<detail::DispatchItem> draining_;
    bool scheduled_ = false;
    // Concurrent: blocks not yet released to the pool, how many plain blocks run, whether a barrier runs.
    std::deque<detail::DispatchItem> waiting_;
    int running_ = 0;
    bool barrierRunning_ = false;
};

}  // namespace bdx
