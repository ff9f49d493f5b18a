#pragma once

#include <any>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/KeyValueObservable.h"

namespace bdx {

class OperationQueue;

// A unit of work with the platform's life: ready, executing, finished, maybe cancelled, each change
// announced to observers under "isReady", "isExecuting", "isFinished" and "isCancelled" (bool values).
// An operation is ready once every operation it depends on has finished (or once it is cancelled).
// start() runs main() and finishes when it returns; an asynchronous subclass returns true from
// isAsynchronous() and stays executing after main() until it calls completeOperation(), from any
// thread. A subclass may also override start() and the state getters and announce its own changes
// with willChangeValueForKey / didChangeValueForKey: queues and dependent operations follow the
// announcements, not the fields. Operations are owned through std::shared_ptr.
class Operation : public KeyValueObservable, public std::enable_shared_from_this<Operation> {
  public:
    static constexpr long QueuePriorityVeryLow = -8;
    static constexpr long QueuePriorityLow = -4;
    static constexpr long QueuePriorityNormal = 0;
    static constexpr long QueuePriorityHigh = 4;
    static constexpr long QueuePriorityVeryHigh = 8;

    Operation();
    ~Operation() override;

    // Runs the operation on the calling thread: a cancelled operation finishes without running main();
    // starting twice, or before the operation is ready, is refused with a log line.
    virtual void start();
    // The work; does nothing by default.
    virtual void main();
    virtual bool isReady() const;
    virtual bool isExecuting() const;
    virtual bool isFinished() const;
    virtual bool isCancelled() const;
    virtual bool isAsynchronous() const { return false; }
    // Marks the operation cancelled. A pending operation becomes ready and finishes without running
    // once started; a running one is expected to look at isCancelled() and stop early.
    virtual void cancel();

    // This operation waits for `operation` to finish. Both must be owned through std::shared_ptr.
    void addDependency(const std::shared_ptr<Operation>& operation);
    void removeDependency(const std::shared_ptr<Operation>& operation);
    std::vector<std::shared_ptr<Operation>> dependencies() const;

    // Runs on a worker thread once the operation finished.
    std::function<void()> completionBlock() const;
    void setCompletionBlock(std::function<void()> block);
    std::string name() const;
    void setName(std::string name);
    long queuePriority() const;
    void setQueuePriority(long priority);

    // Blocks until the operation finished (the main queue keeps being served when called on the main
    // thread outside its blocks). For tests and tools.
    void waitUntilFinished();

    std::any valueForKey(const std::string& key) const override;

  protected:
    // Ends an executing operation: isExecuting goes false, then isFinished true, both announced.
    // From any thread; does nothing unless executing.
    void completeOperation();
    // True once start() began.
    bool hasStarted() const;

  private:
    friend class OperationQueue;
    void setExecuting(bool executing);
    void setFinished();
    void updateReadiness();
    void handleFinished();
    bool addDependent(const std::weak_ptr<Operation>& dependent);
    bool markEnqueued();
    // True once after start() refused to run the operation because it was not ready.
    bool takeStartRefusal();

    mutable std::mutex mutex_;
    std::condition_variable finishedCondition_;
    std::vector<std::shared_ptr<Operation>> dependencies_;
    std::vector<std::weak_ptr<Operation>> dependents_;
    std::atomic<bool> ready_{true};
    std::atomic<bool> executing_{false};
    std::atomic<bool> finished_{false};
    std::atomic<bool> cancelled_{false};
    bool started_ = false;
    bool finishHandled_ = false;
    bool enqueued_ = false;
    bool startRefused_ = false;
    // Readiness is decided by one thread at a time; a change meanwhile makes it decide again.
    bool decidingReadiness_ = false;
    bool readinessStale_ = false;
    int mainThreadWaiters_ = 0;
    std::function<void()> completionBlock_;
    std::string name_;
    long queuePriority_ = QueuePriorityNormal;
};

}  // namespace bdx
