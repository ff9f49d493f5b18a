#pragma once

#include <any>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/KeyValueObservable.h"
#include "foundation/Operation.h"

namespace bdx {

// Runs operations on the worker pool with the platform's rules: an operation starts once it is ready
// (its dependencies finished), the most urgent queue priority first and otherwise in the order added;
// at most maxConcurrentOperationCount run at once (1 makes the queue serial; an operation counts until
// it announces it finished, so an asynchronous one holds its place until it says so, from whatever
// thread); a suspended queue starts nothing. "operationCount", "isSuspended" and
// "maxConcurrentOperationCount" are observable. The queue must be owned by a std::shared_ptr (a
// subclass too); operations already running go on if it is dropped, those not started are dropped.
class OperationQueue : public KeyValueObservable, public std::enable_shared_from_this<OperationQueue> {
  public:
    // The default width: several operations at once, as many as the machine has cores (at least 2).
    static constexpr long DefaultMaxConcurrentOperationCount = -1;

    OperationQueue();
    ~OperationQueue() override;

    // Adds an operation. One that is already in a queue, executing or finished is refused with a
    // log line.
    virtual void addOperation(std::shared_ptr<Operation> operation);
    virtual void addOperations(const std::vector<std::shared_ptr<Operation>>& operations,
                               bool waitUntilFinished);
    // Wraps the block in a BlockOperation and adds it.
    virtual void addOperationWithBlock(std::function<void()> block);

    // The operations not yet finished, in the order added.
    std::vector<std::shared_ptr<Operation>> operations() const;
    std::size_t operationCount() const;

    long maxConcurrentOperationCount() const;
    void setMaxConcurrentOperationCount(long count);
    bool isSuspended() const;
    void setSuspended(bool suspended);
    std::string name() const;
    void setName(std::string name);

    void cancelAllOperations();
    // Blocks until every operation has finished (the main queue keeps being served when called on the
    // main thread outside its blocks). For tests and tools; never on a thread the host waits for.
    void waitUntilAllOperationsAreFinished();

    std::any valueForKey(const std::string& key) const override;

  private:
    struct Entry {
        std::shared_ptr<Operation> operation;
        std::uint64_t sequence;
        KeyValueObservable::ObservationToken readyToken = 0;
        KeyValueObservable::ObservationToken finishedToken = 0;
        bool started = false;
    };
    void pump();
    void operationFinished(Operation* operation);
    void startRefused(Operation* operation);
    long widthLocked() const;

    mutable std::mutex mutex_;
    std::condition_variable emptyCondition_;
    std::vector<Entry> entries_;
    std::uint64_t nextSequence_ = 0;
    long executing_ = 0;
    long maxConcurrentOperationCount_ = DefaultMaxConcurrentOperationCount;
    bool suspended_ = false;
    int mainThreadWaiters_ = 0;
    int finishing_ = 0;
    std::string name_;
};

}  // namespace bdx
