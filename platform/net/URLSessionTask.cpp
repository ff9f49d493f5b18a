#include "platform/net/URLSessionTask.h"

#include "platform/PlatformLog.h"
#include "platform/net/URLError.h"
#include "platform/net/URLSession.h"
#include "platform/net/linux/TransferEngine.h"

namespace bdx::net {

URLSessionTask::URLSessionTask(std::shared_ptr<URLSession> session, unsigned long identifier,
                               URLRequest request, std::unique_ptr<detail::TaskBody> body,
                               CompletionHandler completion)
    : identifier_(identifier),
      request_(std::move(request)),
      session_(session),
      body_(std::move(body)),
      completion_(std::move(completion)) {
    if (body_ && body_->kind == detail::TaskBody::Kind::Memory) {
        bytesExpectedToSend_ = static_cast<std::int64_t>(body_->bytes.size());
    } else if (body_ && body_->kind == detail::TaskBody::Kind::File) {
        bytesExpectedToSend_ = -1;  // known once the file is opened
    }
}

URLSessionTask::~URLSessionTask() = default;

URLRequest URLSessionTask::currentRequest() const {
    std::lock_guard lock(mutex_);
    return currentRequest_ ? *currentRequest_ : request_;
}

std::shared_ptr<const URLResponse> URLSessionTask::response() const {
    std::lock_guard lock(mutex_);
    return response_;
}

std::optional<Error> URLSessionTask::error() const {
    std::lock_guard lock(mutex_);
    return error_;
}

URLSessionTaskState URLSessionTask::state() const {
    std::lock_guard lock(mutex_);
    return state_;
}

std::string URLSessionTask::taskDescription() const {
    std::lock_guard lock(mutex_);
    return description_;
}

void URLSessionTask::setTaskDescription(std::string description) {
    std::lock_guard lock(mutex_);
    description_ = std::move(description);
}

void URLSessionTask::resume() {
    std::shared_ptr<URLSession> session;
    {
        std::lock_guard lock(mutex_);
        if (state_ != URLSessionTaskState::Suspended || started_) {
            return;
        }
        session = session_.lock();
        if (!session) {
            platformLog("net", "resume: the session of task " + std::to_string(identifier_) + " is gone");
            return;
        }
        state_ = URLSessionTaskState::Running;
        started_ = true;
    }
    detail::TransferEngine::shared().start(shared_from_this(), std::move(session));
}

void URLSessionTask::cancel() {
    bool started = false;
    {
        std::lock_guard lock(mutex_);
        if (state_ == URLSessionTaskState::Completed || state_ == URLSessionTaskState::Canceling) {
            return;
        }
        state_ = URLSessionTaskState::Canceling;
        started = started_;
    }
    auto self = shared_from_this();
    if (started) {
        detail::TransferEngine::shared().cancel(self);
    } else if (markCompleted(makeURLError(URLErrorCode::cancelled, request_.URL()))) {
        detail::TransferEngine::deliverCompletion(self, std::nullopt);
    }
}

bool URLSessionTask::markCompleted(std::optional<Error> error) {
    std::lock_guard lock(mutex_);
    if (state_ == URLSessionTaskState::Completed) {
        return false;
    }
    state_ = URLSessionTaskState::Completed;
    error_ = std::move(error);
    return true;
}

}  // namespace bdx::net
