#include "foundation/OperationQueue.h"

#include <algorithm>
#include <thread>

#include "foundation/BlockOperation.h"
#include "foundation/ConcurrencyLog.h"
#include "foundation/DispatchQueue.h"
#include "foundation/RunLoop.h"

namespace bdx {

OperationQueue::OperationQueue() = default;

OperationQueue::~OperationQueue() {
    for (auto& entry : entries_) {
        entry.operation->removeObserver(entry.readyToken);
        entry.operation->removeObserver(entry.finishedToken);
    }
}

long OperationQueue::widthLocked() const {
    if (maxConcurrentOperationCount_ >= 0) {
        return maxConcurrentOperationCount_;
    }
    return std::max(2L, static_cast<long>(std::thread::hardware_concurrency()));
}

void OperationQueue::addOperation(std::shared_ptr<Operation> operation) {
    if (!operation) {
        return;
    }
    std::weak_ptr<OperationQueue> self = weak_from_this();
    if (self.expired()) {
        ConcurrencyLog::error(
            "Operation queue \"%s\" is not owned by a std::shared_ptr; operation \"%s\" not added",
            name().c_str(), operation->name().c_str());
        return;
    }
    if (operation->isExecuting() || operation->isFinished() || !operation->markEnqueued()) {
        ConcurrencyLog::error("Operation \"%s\" is already in a queue, executing or finished; not added",
                              operation->name().c_str());
        return;
    }
    Entry entry;
    entry.operation = operation;
    entry.readyToken = operation->addObserver("isReady", [self](const KeyValueChange&) {
        if (auto queue = self.lock()) {
            queue->pump();
        }
    });
    Operation* raw = operation.get();
    entry.finishedToken = operation->addObserver("isFinished", [self, raw](const KeyValueChange&) {
        if (auto queue = self.lock()) {
            queue->operationFinished(raw);
        }
    });
    std::size_t count;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        entry.sequence = nextSequence_++;
        entries_.push_back(std::move(entry));
        count = entries_.size();
    }
    notifyObservers("operationCount", count - 1, count);
    // It may have finished between the check above and the observation.
    if (operation->isFinished()) {
        operationFinished(raw);
    }
    pump();
}

void OperationQueue::addOperations(const std::vector<std::shared_ptr<Operation>>& operations,
                                   bool waitUntilFinished) {
    for (const auto& operation : operations) {
        addOperation(operation);
    }
    if (waitUntilFinished) {
        for (const auto& operation : operations) {
            if (operation) {
                operation->waitUntilFinished();
            }
        }
    }
}

void OperationQueue::addOperationWithBlock(std::function<void()> block) {
    if (!block) {
        return;
    }
    addOperation(BlockOperation::blockOperationWithBlock(std::move(block)));
}

void OperationQueue::pump() {
    for (;;) {
        std::vector<Entry> candidates;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (suspended_ || executing_ >= widthLocked()) {
                return;
            }
            for (const auto& entry : entries_) {
                if (!entry.started) {
                    candidates.push_back(Entry{entry.operation, entry.sequence});
                }
            }
        }
        // The operations' getters are asked outside the queue's lock: subclasses take locks of their own.
        std::vector<std::pair<long, const Entry*>> ready;
        for (const auto& candidate : candidates) {
            if (candidate.operation->isReady()) {
                ready.emplace_back(candidate.operation->queuePriority(), &candidate);
            }
        }
        if (ready.empty()) {
            return;
        }
        auto chosen = std::min_element(ready.begin(), ready.end(), [](const auto& a, const auto& b) {
            return a.first != b.first ? a.first > b.first : a.second->sequence < b.second->sequence;
        });
        std::shared_ptr<Operation> operation = chosen->second->operation;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (suspended_ || executing_ >= widthLocked()) {
                return;
            }
            auto found = std::find_if(entries_.begin(), entries_.end(),
                                      [&](const Entry& e) { return e.operation == operation; });
            if (found == entries_.end() || found->started) {
                continue;  // finished or taken meanwhile; look again
            }
            found->started = true;
            ++executing_;
        }
        DispatchQueue::global()->async([queue = shared_from_this(), operation] {
            operation->start();
            if (operation->takeStartRefusal()) {
                queue->startRefused(operation.get());
            }
        });
    }
}

void OperationQueue::startRefused(Operation* operation) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [operation](const Entry& e) { return e.operation.get() == operation; });
        if (found == entries_.end() || !found->started) {
            return;
        }
        // Its place goes back; it is started again once it is ready.
        found->started = false;
        --executing_;
    }
    pump();
}

void OperationQueue::operationFinished(Operation* operation) {
    if (!operation->isFinished()) {
        return;
    }
    Entry removed;
    std::size_t count;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [operation](const Entry& e) { return e.operation.get() == operation; });
        if (found == entries_.end()) {
            return;
        }
        removed = std::move(*found);
        entries_.erase(found);
        if (removed.started) {
            --executing_;
        }
        count = entries_.size();
        // Waiters see the queue empty only once observers have heard of it.
        ++finishing_;
    }
    removed.operation->removeObserver(removed.readyToken);
    removed.operation->removeObserver(removed.finishedToken);
    notifyObservers("operationCount", count + 1, count);
    pump();
    bool wakeMain;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        --finishing_;
        if (entries_.empty() && finishing_ == 0) {
            emptyCondition_.notify_all();
        }
        wakeMain = mainThreadWaiters_ > 0;
    }
    if (wakeMain) {
        RunLoop::main().wakeUp();
    }
}

std::vector<std::shared_ptr<Operation>> OperationQueue::operations() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::shared_ptr<Operation>> operations;
    operations.reserve(entries_.size());
    for (const auto& entry : entries_) {
        operations.push_back(entry.operation);
    }
    return operations;
}

std::size_t OperationQueue::operationCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_.size();
}

long OperationQueue::maxConcurrentOperationCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return maxConcurrentOperationCount_;
}

void OperationQueue::setMaxConcurrentOperationCount(long count) {
    long previous;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        previous = maxConcurrentOperationCount_;
        maxConcurrentOperationCount_ = count < 0 ? DefaultMaxConcurrentOperationCount : count;
        count = maxConcurrentOperationCount_;
    }
    if (previous != count) {
        notifyObservers("maxConcurrentOperationCount", previous, count);
        pump();
    }
}

bool OperationQueue::isSuspended() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return suspended_;
}

void OperationQueue::setSuspended(bool suspended) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (suspended_ == suspended) {
            return;
        }
        suspended_ = suspended;
    }
    notifyObservers("isSuspended", !suspended, suspended);
    if (!suspended) {
        pump();
    }
}

std::string OperationQueue::name() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return name_;
}

void OperationQueue::setName(std::string name) {
    std::lock_guard<std::mutex> lock(mutex_);
    name_ = std::move(name);
}

void OperationQueue::cancelAllOperations() {
    for (const auto& operation : operations()) {
        operation->cancel();
    }
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
    std::unique_lock<std::mutex> lock(mutex_);
    RunLoop::waitUntil(lock, emptyCondition_, mainThreadWaiters_,
                       [this] { return entries_.empty() && finishing_ == 0; });
}

std::any OperationQueue::valueForKey(const std::string& key) const {
    if (key == "operationCount") {
        return operationCount();
    }
    if (key == "isSuspended") {
        return isSuspended();
    }
    if (key == "maxConcurrentOperationCount") {
        return maxConcurrentOperationCount();
    }
    if (key == "name") {
        return name();
    }
    return KeyValueObservable::valueForKey(key);
}

}  // namespace bdx
