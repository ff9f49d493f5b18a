#include "platform/net/URLSession.h"

#include <vector>

#include "foundation/DispatchQueue.h"
#include "platform/PlatformLog.h"
#include "platform/net/linux/TransferEngine.h"

namespace bdx::net {

namespace {

std::shared_ptr<DispatchQueue> ownDelegateQueue(const URLSessionConfiguration& configuration) {
    std::string label = "com.brindlex.net.URLSession";
    if (!configuration.identifier().empty()) {
        label += "." + configuration.identifier();
    }
    return DispatchQueue::create(label, DispatchQueue::Attribute::Serial);
}

}  // namespace

URLSession::URLSession(const URLSessionConfiguration& configuration,
                       std::weak_ptr<URLSessionDelegate> delegate,
                       std::shared_ptr<DispatchQueue> delegateQueue, bool shared)
    : configuration_(configuration),
      delegate_(std::move(delegate)),
      delegateQueue_(delegateQueue ? std::move(delegateQueue) : ownDelegateQueue(configuration)),
      shared_(shared) {}

URLSession::~URLSession() = default;

std::shared_ptr<URLSession> URLSession::sessionWithConfiguration(
    const URLSessionConfiguration& configuration, std::weak_ptr<URLSessionDelegate> delegate,
    std::shared_ptr<DispatchQueue> delegateQueue) {
    return std::shared_ptr<URLSession>(
        new URLSession(configuration, std::move(delegate), std::move(delegateQueue), false));
}

std::shared_ptr<URLSession> URLSession::sharedSession() {
    // Never destroyed: the transfer thread may still report to it while the process exits.
    static const auto* const session = new std::shared_ptr<URLSession>(
        new URLSession(URLSessionConfiguration::defaultSessionConfiguration(), {}, nullptr, true));
    return *session;
}

template <class Task>
std::shared_ptr<Task> URLSession::makeTask(const URLRequest& request, std::unique_ptr<detail::TaskBody> body,
                                           CompletionHandler completion) {
    std::lock_guard lock(mutex_);
    if (invalidated_) {
        platformLog("net", "no new task on an invalidated session: " + request.URL());
        return nullptr;
    }
    std::shared_ptr<Task> task(
        new Task(shared_from_this(), nextIdentifier_++, request, std::move(body), std::move(completion)));
    outstanding_.insert(task);
    return task;
}

std::shared_ptr<URLSessionDataTask> URLSession::dataTaskWithRequest(const URLRequest& request) {
    return dataTaskWithRequest(request, nullptr);
}

std::shared_ptr<URLSessionDataTask> URLSession::dataTaskWithRequest(const URLRequest& request,
                                                                    CompletionHandler completionHandler) {
    auto body = std::make_unique<detail::TaskBody>();
    if (request.HTTPBody()) {
        body->kind = detail::TaskBody::Kind::Memory;
        body->bytes = *request.HTTPBody();
    }
    return makeTask<URLSessionDataTask>(request, std::move(body), std::move(completionHandler));
}

std::shared_ptr<URLSessionUploadTask> URLSession::uploadTaskWithRequestFromFile(const URLRequest& request,
                                                                                const std::string& filePath) {
    auto body = std::make_unique<detail::TaskBody>();
    body->kind = detail::TaskBody::Kind::File;
    body->filePath = filePath;
    return makeTask<URLSessionUploadTask>(request, std::move(body), nullptr);
}

std::shared_ptr<URLSessionUploadTask> URLSession::uploadTaskWithRequestFromData(const URLRequest& request,
                                                                                Data bodyBytes) {
    auto body = std::make_unique<detail::TaskBody>();
    body->kind = detail::TaskBody::Kind::Memory;
    body->bytes = std::move(bodyBytes);
    return makeTask<URLSessionUploadTask>(request, std::move(body), nullptr);
}

void URLSession::finishTasksAndInvalidate() {
    if (shared_) {
        return;
    }
    std::unique_lock lock(mutex_);
    invalidated_ = true;
    becomeInvalidIfIdle(lock);
}

void URLSession::invalidateAndCancel() {
    if (shared_) {
        return;
    }
    std::vector<std::shared_ptr<URLSessionTask>> tasks;
    {
        std::unique_lock lock(mutex_);
        invalidated_ = true;
        tasks.assign(outstanding_.begin(), outstanding_.end());
        becomeInvalidIfIdle(lock);
    }
    for (const auto& task : tasks) {
        task->cancel();
    }
}

std::size_t URLSession::outstandingTaskCount() const {
    std::lock_guard lock(mutex_);
    return outstanding_.size();
}

void URLSession::taskDidFinish(const std::shared_ptr<URLSessionTask>& task) {
    std::unique_lock lock(mutex_);
    outstanding_.erase(task);
    if (invalidated_) {
        becomeInvalidIfIdle(lock);
    }
}

void URLSession::becomeInvalidIfIdle(std::unique_lock<std::mutex>& lock) {
    if (!outstanding_.empty() || invalidationReported_) {
        return;
    }
    invalidationReported_ = true;
    lock.unlock();
    delegateQueue_->async([session = shared_from_this()] {
        if (auto delegate = session->delegate()) {
            delegate->didBecomeInvalidWithError(session, std::nullopt);
        }
    });
}

}  // namespace bdx::net
