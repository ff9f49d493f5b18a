#include "transport/BDXServerManager.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXDefaults.h"
#include "core/BDXOperation.h"
#include "core/BDXSingleton.h"
#include "foundation/DispatchQueue.h"
#include "foundation/StringWithFormat.h"
#include "transport/BDXBaseRequest.h"
#include "transport/BDXReachability.h"
#include "transport/BDXReachabilityInstance.h"
#include "transport/BDXResponseParser.h"
#include "transport/BDXServerProtocol.h"
#include "transport/BDXServerRequestDelegate.h"
#include "transport/BDXServersQueue.h"

namespace {

BDXSingleton<BDXServerManager>& singleton() {
    static BDXSingleton<BDXServerManager> instance;
    return instance;
}

std::string backgroundTaskName(unsigned long taskIdentifier) {
    return bdx::stringWithFormat("BDX-%d", static_cast<long long>(taskIdentifier));
}

// Two URLs name the same asset when their paths are equal, whatever their queries say.
std::string pathOfURL(const std::string& url) {
    std::string_view rest = url;
    if (auto scheme = rest.find("://"); scheme != std::string_view::npos) {
        rest.remove_prefix(scheme + 3);
        auto slash = rest.find_first_of("/?#");
        rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);
    }
    auto end = rest.find_first_of("?#");
    return std::string(rest.substr(0, end));
}

}  // namespace

std::shared_ptr<BDXServerManager> BDXServerManager::getInstance() {
    return singleton().get([] {
        auto manager = std::make_shared<BDXServerManager>();
        // The session holds the manager as its delegate, which the constructor cannot hand out.
        manager->setupBackgroundSession();
        return manager;
    });
}

void BDXServerManager::destroy() {
    singleton().destroy();
}

namespace {
std::atomic<double> requestTimeoutInterval{
    bdx::net::URLSessionConfiguration::DefaultTimeoutIntervalForRequest};
}

void BDXServerManager::setTimeoutIntervalForRequest(double seconds) {
    if (seconds > 0) {
        requestTimeoutInterval = seconds;
    }
}

double BDXServerManager::timeoutIntervalForRequest() {
    return requestTimeoutInterval;
}

BDXServerManager::BDXServerManager()
    : servers_(std::make_shared<BDXServersQueue>()),
      serverManagerQueue_(
          bdx::DispatchQueue::create("com.BDX.ServerManagerQueue", bdx::DispatchQueue::Attribute::Serial)) {}

BDXServerManager::~BDXServerManager() {
    if (reachabilityObserver_) {
        bdx::NotificationCenter::defaultCenter()->removeObserver(*reachabilityObserver_);
    }
    if (backgroundSession_) {
        backgroundSession_->finishTasksAndInvalidate();
    }
}

void BDXServerManager::setupBackgroundSession() {
    std::lock_guard guard(lock_);
    if (backgroundSession_) {
        return;
    }
    auto configuration =
        BDXDefaults::getInstance()->isUITestModeEnabled()
            ? bdx::net::URLSessionConfiguration::defaultSessionConfiguration()
            : bdx::net::URLSessionConfiguration::backgroundSessionConfigurationWithIdentifier(
                  kBackgroundSessionIdentifier);
    configuration.setTimeoutIntervalForRequest(timeoutIntervalForRequest());
    backgroundSession_ =
        bdx::net::URLSession::sessionWithConfiguration(configuration, weak_from_this(), nullptr);
}

std::shared_ptr<bdx::net::URLSession> BDXServerManager::backgroundSession() const {
    std::lock_guard guard(lock_);
    return backgroundSession_;
}

std::shared_ptr<BDXOperation> BDXServerManager::initializationOperation() {
    std::lock_guard guard(lock_);
    if (initializationOperation_) {
        return initializationOperation_;
    }
    auto operation = BDXOperation::initWithBlock(nullptr);
    std::weak_ptr<BDXServerManager> weakSelf = weak_from_this();
    std::weak_ptr<BDXOperation> weakOperation = operation;
    operation->setBlock([weakSelf, weakOperation] {
        bdx::DispatchQueue::main()->async([weakSelf] {
            auto self = weakSelf.lock();
            if (!self) {
                return;
            }
            std::lock_guard guard(self->lock_);
            if (self->reachabilityObserver_) {
                return;
            }
            self->reachabilityObserver_ = bdx::NotificationCenter::defaultCenter()->addObserver(
                kBDXReachabilityChangedNotification, nullptr,
                [weakSelf](const bdx::Notification& notification) {
                    if (auto observer = weakSelf.lock()) {
                        observer->handleNetworkChange(notification);
                    }
                });
        });
        if (auto running = weakOperation.lock()) {
            running->finish();
        }
    });
    initializationOperation_ = operation;
    return operation;
}

void BDXServerManager::pushRequest(const std::shared_ptr<BDXBaseRequest>& request) {
    if (!request) {
        BDXSDKLogError("Failed to Send Request. Error pushing a nil request");
        return;
    }
    serverManagerQueue_->async([self = shared_from_this(), request] {
        self->servers_->pushServer(request);
        self->executeRequest(request);
    });
}

void BDXServerManager::executeRequest(const std::shared_ptr<BDXBaseRequest>& request) {
    if (!request) {
        return;
    }
    if (!BDXReachabilityInstance::isReachable()) {
        return;
    }
    if (shouldDisableServerManager() && !request->runsWhileServerManagerIsDisabled()) {
        return;
    }
    if (request->isExecuting()) {
        return;
    }
    request->executeNow();
}

void BDXServerManager::refresh() {
    serverManagerQueue_->async([self = shared_from_this()] {
        for (const auto& request : self->servers_->serverRequests()) {
            self->executeRequest(request);
        }
    });
}

void BDXServerManager::handleNetworkChange(const bdx::Notification&) {
    if (BDXReachabilityInstance::isReachable()) {
        refresh();
    }
}

void BDXServerManager::popRequest(const std::shared_ptr<BDXBaseRequest>& request) {
    serverManagerQueue_->async([self = shared_from_this(), request] {
        if (request) {
            request->setIsExecuting(false);
        }
        self->servers_->popServer(request);
    });
}

void BDXServerManager::handleRequest(const std::shared_ptr<BDXBaseRequest>& request) {
    popRequest(request);
    updateNetworkActivityIndicator();
    if (!request || request->isSuccess()) {
        return;
    }
    const double delay = std::trunc(std::exp(static_cast<double>(request->failures())));
    bdx::DispatchQueue::main()->after(delay,
                                      [self = shared_from_this(), request] { self->pushRequest(request); });
}

bool BDXServerManager::isExecutingRequest() {
    bool executing = false;
    serverManagerQueue_->sync([&] {
        const auto requests = servers_->serverRequests();
        executing = std::any_of(requests.begin(), requests.end(),
                                [](const auto& request) { return request && request->isExecuting(); });
    });
    return executing;
}

void BDXServerManager::updateNetworkActivityIndicator() {
    // The scan waits for the manager's queue, which may be reading a file body: it runs behind the work
    // queued so far, and only the answer goes to the main queue, so the host's main thread never waits.
    serverManagerQueue_->async([self = shared_from_this()] {
        const auto requests = self->servers_->serverRequests();
        const bool executing = std::any_of(requests.begin(), requests.end(), [](const auto& request) {
            return request && request->isExecuting();
        });
        bdx::DispatchQueue::main()->async([executing] {
            bdx::ui::Application::sharedApplication()->setNetworkActivityIndicatorVisible(executing);
        });
    });
}

void BDXServerManager::executeServerRequest(const std::shared_ptr<BDXServerProtocol>& request) {
    if (!request) {
        return;
    }
    std::weak_ptr<BDXServerManager> weakSelf = weak_from_this();
    request->prepareRequestWithCompletionHandler(
        [weakSelf, request](std::shared_ptr<bdx::net::URLSessionTask> task) {
            auto self = weakSelf.lock();
            if (!task || !self) {
                return;
            }
            const unsigned long identifier = task->taskIdentifier();
            self->beginBackgroundTaskWithName(backgroundTaskName(identifier));
            self->pushRequest(request, identifier);
            task->resume();
            self->updateNetworkActivityIndicator();
        });
}

std::string BDXServerManager::taskKey(unsigned long taskIdentifier) {
    return bdx::stringWithFormat("%lu", taskIdentifier);
}

void BDXServerManager::pushRequest(const std::shared_ptr<BDXServerProtocol>& request,
                                   unsigned long withTaskIdentifeier) {
    std::lock_guard guard(lock_);
    serverRequests_[taskKey(withTaskIdentifeier)] = request;
}

std::shared_ptr<BDXServerProtocol> BDXServerManager::requestWithTaskIdentifeier(
    unsigned long taskIdentifier) {
    std::lock_guard guard(lock_);
    auto found = serverRequests_.find(taskKey(taskIdentifier));
    return found == serverRequests_.end() ? nullptr : found->second;
}

void BDXServerManager::removefileRequestWithTaskIdentifeier(unsigned long taskIdentifier) {
    std::lock_guard guard(lock_);
    serverRequests_.erase(taskKey(taskIdentifier));
}

void BDXServerManager::beginBackgroundTaskWithName(const std::string& name) {
    if (BDXDefaults::getInstance()->isUITestModeEnabled()) {
        return;
    }
    auto application = bdx::ui::Application::sharedApplication();
    auto identifier =
        std::make_shared<std::atomic<bdx::ui::BackgroundTaskIdentifier>>(bdx::ui::UIBackgroundTaskInvalid);
    // The system's allowance ran out: end the task and forget its number, but leave the map entry.
    *identifier = application->beginBackgroundTaskWithName(name, [application, identifier] {
        application->endBackgroundTask(identifier->load());
        identifier->store(bdx::ui::UIBackgroundTaskInvalid);
    });
    std::lock_guard guard(lock_);
    backgroundTaskIdentifiers_[name] = identifier->load();
}

void BDXServerManager::endBackgroundTaskWithName(const std::string& name) {
    if (BDXDefaults::getInstance()->isUITestModeEnabled()) {
        return;
    }
    bdx::ui::BackgroundTaskIdentifier identifier = bdx::ui::UIBackgroundTaskInvalid;
    {
        std::lock_guard guard(lock_);
        auto found = backgroundTaskIdentifiers_.find(name);
        if (found == backgroundTaskIdentifiers_.end()) {
            return;
        }
        identifier = found->second;
        backgroundTaskIdentifiers_.erase(found);
    }
    endBackgroundTask(identifier);
}

void BDXServerManager::endBackgroundTask(bdx::ui::BackgroundTaskIdentifier identifier) {
    if (identifier == bdx::ui::UIBackgroundTaskInvalid) {
        return;
    }
    bdx::ui::Application::sharedApplication()->endBackgroundTask(identifier);
}

std::vector<std::string> BDXServerManager::backgroundTaskNames() const {
    std::lock_guard guard(lock_);
    std::vector<std::string> names;
    for (const auto& [name, identifier] : backgroundTaskIdentifiers_) {
        names.push_back(name);
    }
    return names;
}

void BDXServerManager::shouldDisableServerManager(bool disable) {
    shouldDisableServerManager_ = disable;
}

bool BDXServerManager::shouldDisableServerManager() const {
    return shouldDisableServerManager_;
}

void BDXServerManager::loadAssetOfURL(const std::string& url,
                                      const std::shared_ptr<BDXServerManagerAssetDelegate>& delegate) {
    if (attachmentRequestExistsOfURL(url, delegate)) {
        return;
    }
    addAndExcuteRequest(std::make_shared<BDXAttachmentRequest>(url, weak_from_this()), delegate);
}

bool BDXServerManager::attachmentRequestExistsOfURL(
    const std::string& url, const std::shared_ptr<BDXServerManagerAssetDelegate>& delegate) {
    std::lock_guard guard(lock_);
    const std::string path = pathOfURL(url);
    for (const auto& request : attachmentRequests_) {
        if (pathOfURL(request->URL()) == path && delegateForRequest(request) == delegate) {
            return true;
        }
    }
    return false;
}

void BDXServerManager::addAndExcuteRequest(
    const std::shared_ptr<BDXAttachmentRequest>& request,
    const std::shared_ptr<BDXServerManagerAssetDelegate>& withDelegate) {
    if (!request) {
        return;
    }
    {
        std::lock_guard guard(lock_);
        attachmentRequests_.push_back(request);
        attachmentRequestDelegates_.push_back(withDelegate);
    }
    if (!shouldDisableServerManager()) {
        request->executeNow();
    }
}

std::shared_ptr<BDXServerManagerAssetDelegate> BDXServerManager::delegateForRequest(
    const std::shared_ptr<BDXAttachmentRequest>& request) {
    std::lock_guard guard(lock_);
    auto found = std::find(attachmentRequests_.begin(), attachmentRequests_.end(), request);
    if (found == attachmentRequests_.end()) {
        return nullptr;
    }
    return attachmentRequestDelegates_[static_cast<std::size_t>(found - attachmentRequests_.begin())];
}

void BDXServerManager::removeAttachmentDelegateAndRequest(
    const std::shared_ptr<BDXAttachmentRequest>& request) {
    std::lock_guard guard(lock_);
    auto found = std::find(attachmentRequests_.begin(), attachmentRequests_.end(), request);
    if (found == attachmentRequests_.end()) {
        return;
    }
    const auto index = found - attachmentRequests_.begin();
    attachmentRequests_.erase(found);
    attachmentRequestDelegates_.erase(attachmentRequestDelegates_.begin() + index);
}

std::vector<std::shared_ptr<BDXAttachmentRequest>> BDXServerManager::attachmentRequests() const {
    std::lock_guard guard(lock_);
    return attachmentRequests_;
}

void BDXServerManager::attachmentRequestDone(const std::shared_ptr<BDXAttachmentRequest>& request,
                                             bool isSuccess, const std::string& path,
                                             const std::optional<bdx::Error>&) {
    if (auto delegate = delegateForRequest(request)) {
        delegate->loadedAssetOfURL(request->URL(), path, isSuccess);
    }
    handleRequest(request);
    if (isSuccess) {
        removeAttachmentDelegateAndRequest(request);
    }
}

void BDXServerManager::didReceiveData(const std::shared_ptr<bdx::net::URLSession>&,
                                      const std::shared_ptr<bdx::net::URLSessionDataTask>& dataTask,
                                      const bdx::Data& data) {
    if (!dataTask) {
        return;
    }
    if (auto request = requestWithTaskIdentifeier(dataTask->taskIdentifier())) {
        request->setRequestData(data);
    }
}

void BDXServerManager::didCompleteWithError(const std::shared_ptr<bdx::net::URLSession>&,
                                            const std::shared_ptr<bdx::net::URLSessionTask>& task,
                                            const std::optional<bdx::Error>& error) {
    if (!task) {
        return;
    }
    const unsigned long identifier = task->taskIdentifier();
    auto request = requestWithTaskIdentifeier(identifier);
    BDXResponseParser parser;
    parser.prepareResponseWithData(
        request ? request->requestData() : std::nullopt, error, task->response(),
        [request](std::int64_t statusCode, const std::optional<bdx::Error>& parsedError,
                  const bdx::Value& response) {
            // After a relaunch a task can end with no request behind it: nobody to tell.
            if (!request) {
                return;
            }
            bdx::DispatchQueue::main()->async([request, statusCode, parsedError, response] {
                if (auto delegate = request->delegate()) {
                    delegate->serverExecutionDone(request, statusCode, parsedError, response);
                }
            });
        });
    removefileRequestWithTaskIdentifeier(identifier);
    endBackgroundTaskWithName(backgroundTaskName(identifier));
}
