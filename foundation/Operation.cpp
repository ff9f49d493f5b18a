#include "foundation/Operation.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "foundation/ConcurrencyLog.h"
#include "foundation/DispatchQueue.h"
#include "foundation/RunLoop.h"

namespace bdx {

Operation::Operation() {
    // The operation follows its own announcements, so that a subclass that keeps its own state and
    // announces it is finished releases its dependents and waiters like the base does.
    addObserver("isFinished", [this](const KeyValueChange&) {
        if (isFinished()) {
            handleFinished();
        }
    });
}

Operation::~Operation() = default;

void Operation::start() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (started_ || finished_) {
            ConcurrencyLog::error("Operation \"%s\" was started a second time; ignored", name_.c_str());
            return;
        }
        started_ = true;
    }
    if (isCancelled()) {
        setFinished();
        return;
    }
    if (!isReady()) {
        std::lock_guard<std::mutex> lock(mutex_);
        started_ = false;
        startRefused_ = true;
        ConcurrencyLog::error("Operation \"%s\" was started before it was ready; ignored", name_.c_str());
        return;
    }
    setExecuting(true);
    try {
        main();
    } catch (const std::exception& e) {
        ConcurrencyLog::error("An exception escaped operation \"%s\" and was dropped: %s", name().c_str(),
                              e.what());
    } catch (...) {
        ConcurrencyLog::error("An exception escaped operation \"%s\" and was dropped", name().c_str());
    }
    if (!isAsynchronous()) {
        completeOperation();
    }
}

void Operation::main() {}

bool Operation::isReady() const {
    return ready_.load(std::memory_order_acquire);
}
bool Operation::isExecuting() const {
    return executing_.load(std::memory_order_acquire);
}
bool Operation::isFinished() const {
    return finished_.load(std::memory_order_acquire);
}
bool Operation::isCancelled() const {
    return cancelled_.load(std::memory_order_acquire);
}

bool Operation::hasStarted() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return started_;
}

void Operation::cancel() {
    if (cancelled_.exchange(true)) {
        return;
    }
    notifyObservers("isCancelled", false, true);
    updateReadiness();
}

void Operation::completeOperation() {
    if (!executing_.load(std::memory_order_acquire)) {
        return;
    }
    setExecuting(false);
    setFinished();
}

void Operation::setExecuting(bool executing) {
    if (executing_.exchange(executing) == executing) {
        return;
    }
    notifyObservers("isExecuting", !executing, executing);
}

void Operation::setFinished() {
    if (finished_.exchange(true)) {
        return;
    }
    notifyObservers("isFinished", false, true);
}

void Operation::handleFinished() {
    std::vector<std::weak_ptr<Operation>> dependents;
    std::function<void()> completion;
    bool wakeMain;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (finishHandled_) {
            return;
        }
        finishHandled_ = true;
        dependents.swap(dependents_);
        completion = completionBlock_;
        wakeMain = mainThreadWaiters_ > 0;
        finishedCondition_.notify_all();
    }
    if (wakeMain) {
        RunLoop::main().wakeUp();
    }
    for (auto& weak : dependents) {
        if (auto dependent = weak.lock()) {
            dependent->updateReadiness();
        }
    }
    if (completion) {
        DispatchQueue::global()->async(std::move(completion));
    }
}

bool Operation::addDependent(const std::weak_ptr<Operation>& dependent) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (finishHandled_) {
        return false;
    }
    dependents_.push_back(dependent);
    return true;
}

bool Operation::takeStartRefusal() {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(startRefused_, false);
}

bool Operation::markEnqueued() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (enqueued_ || started_ || finished_) {
        return false;
    }
    enqueued_ = true;
    return true;
}

void Operation::addDependency(const std::shared_ptr<Operation>& operation) {
    if (!operation || operation.get() == this) {
        ConcurrencyLog::error(
            "Operation \"%s\": a missing operation or the operation itself cannot be a dependency",
            name().c_str());
        return;
    }
    std::weak_ptr<Operation> self = weak_from_this();
    if (self.expired()) {
        ConcurrencyLog::error("Operation \"%s\" is not owned by a std::shared_ptr; dependency ignored",
                              name().c_str());
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (std::find(dependencies_.begin(), dependencies_.end(), operation) != dependencies_.end()) {
            return;
        }
        dependencies_.push_back(operation);
    }
    operation->addDependent(self);
    updateReadiness();
}

void Operation::removeDependency(const std::shared_ptr<Operation>& operation) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = std::find(dependencies_.begin(), dependencies_.end(), operation);
        if (found == dependencies_.end()) {
            return;
        }
        dependencies_.erase(found);
    }
    updateReadiness();
}

std::vector<std::shared_ptr<Operation>> Operation::dependencies() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dependencies_;
}

void Operation::updateReadiness() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        readinessStale_ = true;
        if (decidingReadiness_) {
            // The thread deciding now sees the change and decides again before it stores.
            return;
        }
        decidingReadiness_ = true;
    }
    // Only the deciding thread stores, so the value before is the one it found.
    const bool before = ready_.load(std::memory_order_acquire);
    bool ready;
    for (;;) {
        std::vector<std::shared_ptr<Operation>> dependencies;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            readinessStale_ = false;
            dependencies = dependencies_;
        }
        // Dependencies are asked outside this operation's lock: their getters may take locks of their own.
        ready =
            isCancelled() || std::all_of(dependencies.begin(), dependencies.end(),
                                         [](const std::shared_ptr<Operation>& d) { return d->isFinished(); });
        std::lock_guard<std::mutex> lock(mutex_);
        if (readinessStale_) {
            continue;  // a dependency, a cancel or the list changed while deciding
        }
        ready_.store(ready, std::memory_order_release);
        decidingReadiness_ = false;
        break;
    }
    if (ready != before) {
        notifyObservers("isReady", before, ready);
    }
}

std::function<void()> Operation::completionBlock() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return completionBlock_;
}

void Operation::setCompletionBlock(std::function<void()> block) {
    std::lock_guard<std::mutex> lock(mutex_);
    completionBlock_ = std::move(block);
}

std::string Operation::name() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return name_;
}

void Operation::setName(std::string name) {
    std::lock_guard<std::mutex> lock(mutex_);
    name_ = std::move(name);
}

long Operation::queuePriority() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return queuePriority_;
}

void Operation::setQueuePriority(long priority) {
    std::lock_guard<std::mutex> lock(mutex_);
    queuePriority_ = priority;
}

void Operation::waitUntilFinished() {
    std::unique_lock<std::mutex> lock(mutex_);
    RunLoop::waitUntil(lock, finishedCondition_, mainThreadWaiters_, [this] { return finishHandled_; });
}

std::any Operation::valueForKey(const std::string& key) const {
    if (key == "isReady") {
        return isReady();
    }
    if (key == "isExecuting") {
        return isExecuting();
    }
    if (key == "isFinished") {
        return isFinished();
    }
    if (key == "isCancelled") {
        return isCancelled();
    }
    if (key == "isAsynchronous") {
        return isAsynchronous();
    }
    if (key == "name") {
        return name();
    }
    if (key == "queuePriority") {
        return queuePriority();
    }
    return KeyValueObservable::valueForKey(key);
}

}  // namespace bdx
