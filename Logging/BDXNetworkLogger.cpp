#include "Logging/BDXNetworkLogger.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>

#include "Logging/BDXInspector.h"
#include "Logging/BDXNetworkLogCURLCommand.h"
#include "Logging/BDXNetworkLogCategories.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "Logging/BDXSessionLogReads.h"
#include "foundation/Singleton.h"
#include "persistence/BDXCoreDataPersistenceManager.h"
#include "persistence/BDXDALService.h"
#include "persistence/BDXNetworkLog.h"
#include "persistence/BDXNetworkLoggerContextProvider.h"
#include "platform/store/ManagedObjectContext.h"

using bdx::store::FetchRequest;
using bdx::store::ManagedObjectContext;

namespace {

// What every network logger of the process shares. The host's callbacks are called under `lock`.
struct NetworkLoggerState {
    std::recursive_mutex lock;
    std::int64_t logsCount = 0;
    BDXNetworkLogger::RequestFilterPredicate requestFilterPredicate;
    BDXNetworkLogger::ResponseFilterPredicate responseFilterPredicate;
    BDXNetworkLogger::LegacyURLObfuscationHandler legacyURLObfuscationHandler;
    BDXNetworkLogger::UserRequestObfuscationHandler userRequestObfuscationHandler;
    BDXNetworkLogger::UserResponseObfuscationHandler userResponseObfuscationHandler;
    std::map<std::string, BDXNetworkLogger::RequestProgressBlock> requestProgressBlockDictionary;
};

std::shared_ptr<NetworkLoggerState> sharedState() {
    return bdx::Singleton<NetworkLoggerState, BDXNetworkLogger>::holder().get(
        [] { return std::make_shared<NetworkLoggerState>(); });
}

// What the user response handler completed with. Shared with the completion, which may be kept and called
// after the handler returned, when it must change nothing.
struct ResponseObfuscation {
    std::mutex mutex;
    bool handlerReturned = false;
    std::optional<bdx::Data> data;
    std::shared_ptr<const bdx::net::URLResponse> response;
};

}  // namespace

std::shared_ptr<BDXNetworkLogger> BDXNetworkLogger::init() {
    auto logger = std::make_shared<BDXNetworkLogger>();
    std::weak_ptr<BDXNetworkLogger> weakLogger = logger;
    logger->storeObserver_ = bdx::NotificationCenter::defaultCenter()->addObserver(
        BDXCoreDataPersistenceManager::didAddPersistentStoreNotification(), nullptr,
        [weakLogger](const bdx::Notification&) {
            if (auto self = weakLogger.lock()) {
                self->clearOldLogs();
            }
        });
    return logger;
}

BDXNetworkLogger::BDXNetworkLogger() = default;

BDXNetworkLogger::~BDXNetworkLogger() {
    if (storeObserver_ != 0) {
        bdx::NotificationCenter::defaultCenter()->removeObserver(storeObserver_);
    }
}

void BDXNetworkLogger::setRequestFilterPredicate(RequestFilterPredicate predicate) {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    state->requestFilterPredicate = std::move(predicate);
}

BDXNetworkLogger::RequestFilterPredicate BDXNetworkLogger::requestFilterPredicate() {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    return state->requestFilterPredicate;
}

void BDXNetworkLogger::setResponseFilterPredicate(ResponseFilterPredicate predicate) {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    state->responseFilterPredicate = std::move(predicate);
}

BDXNetworkLogger::ResponseFilterPredicate BDXNetworkLogger::responseFilterPredicate() {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    return state->responseFilterPredicate;
}

void BDXNetworkLogger::setLegacyURLObfuscationHandler(LegacyURLObfuscationHandler handler) {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    state->legacyURLObfuscationHandler = std::move(handler);
}

BDXNetworkLogger::LegacyURLObfuscationHandler BDXNetworkLogger::legacyURLObfuscationHandler() {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    return state->legacyURLObfuscationHandler;
}

void BDXNetworkLogger::setUserRequestObfuscationHandler(UserRequestObfuscationHandler handler) {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    state->userRequestObfuscationHandler = std::move(handler);
}

void BDXNetworkLogger::setUserResponseObfuscationHandler(UserResponseObfuscationHandler handler) {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    state->userResponseObfuscationHandler = std::move(handler);
}

void BDXNetworkLogger::setRequestProgressBlock(RequestProgressBlock block, const std::string& forRequestURL) {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    state->requestProgressBlockDictionary[forRequestURL] = std::move(block);
}

void BDXNetworkLogger::requestURL(const std::string& requestURL,
                                  const std::shared_ptr<bdx::net::URLSessionTask>& task,
                                  std::int64_t didSendBodyData, std::int64_t totalBytesSent,
                                  std::int64_t totalBytesExpectedToSend) {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    auto found = state->requestProgressBlockDictionary.find(requestURL);
    if (found != state->requestProgressBlockDictionary.end() && found->second) {
        found->second(task, didSendBodyData, totalBytesSent, totalBytesExpectedToSend);
    }
}

FetchRequest BDXNetworkLogger::fetchRequest() {
    return BDXNetworkLog::fetchRequest();
}

std::shared_ptr<BDXDALService> BDXNetworkLogger::dataLayerService() {
    return bdx::Singleton<BDXDALService, BDXNetworkLogger>::holder().get([] {
        return BDXDALService::initWithContextProvider(std::make_shared<BDXNetworkLoggerContextProvider>());
    });
}

std::int64_t BDXNetworkLogger::logsCount() {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    return state->logsCount;
}

std::vector<std::uint64_t> BDXNetworkLogger::validContentTypes() const {
    return {BDXNetworkLogContentTypeJSON, BDXNetworkLogContentTypeXML, BDXNetworkLogContentTypeHTML,
            BDXNetworkLogContentTypeText};
}

void BDXNetworkLogger::saveLogWithRequest(const bdx::net::URLRequest& request,
                                          const std::optional<bdx::Data>& body,
                                          const std::shared_ptr<const bdx::net::URLResponse>& resposne,
                                          const std::optional<bdx::Data>& data,
                                          const std::optional<bdx::Error>& error, double duration,
                                          SaveCompletionHandler withCompletionHandler) {
    saveLogWithRequest(request, body, resposne, data, error, duration, std::move(withCompletionHandler),
                       bdx::Date::now());
}

void BDXNetworkLogger::saveLogWithRequest(const bdx::net::URLRequest& request,
                                          const std::optional<bdx::Data>& body,
                                          const std::shared_ptr<const bdx::net::URLResponse>& resposne,
                                          const std::optional<bdx::Data>& data,
                                          const std::optional<bdx::Error>& error, double duration,
                                          SaveCompletionHandler withCompletionHandler,
                                          const bdx::Date& date) {
    const std::uint64_t contentType = bdx_contentType(resposne);
    const auto valid = validContentTypes();
    // No content type at all is let through: it is how a failed exchange, which has no response, gets in.
    if (std::find(valid.begin(), valid.end(), contentType) == valid.end() &&
        contentType != BDXNetworkLogContentTypeNone) {
        if (withCompletionHandler) {
            withCompletionHandler();
        }
        return;
    }

    const bdx::net::URLRequest recordedRequest = loggedRequestFromOriginalRequest(request, body);
    const auto recordedResponse = loggedResponse(resposne, data);
    // The write runs later in the lane: it takes the exchange's values as they are now.
    const std::optional<bdx::Data> recordedBody = tobeSavedBody();
    std::optional<bdx::Data> recordedData = loggedResponseData();

    dataLayerService()->writeASync(
        [recordedRequest, recordedBody, recordedResponse, recordedData, originalBody = body, error, duration,
         date, withCompletionHandler](const std::shared_ptr<ManagedObjectContext>& context) {
            auto log = std::dynamic_pointer_cast<BDXNetworkLog>(
                context->insertNewObjectForEntityForName(BDXNetworkLog::entityName()));
            if (!log) {
                return;
            }
            log->saveRequest(recordedRequest, recordedBody, BDXInspector::sessionUUID(), duration, date);
            if (error) {
                log->saveErrorResponse(*error);
            } else if (recordedData && bdx_sizeInMegabytes(*recordedData) > 1.0f) {
                const std::string message = kResponseTooLargeMessage;
                log->saveResponse(recordedResponse, bdx::Data(message.begin(), message.end()));
            } else {
                log->saveResponse(recordedResponse, recordedData);
            }
            if (bdx_sdk_log_detail::levelAllows(1)) {
                BDXSDKLogDebug("Saved network log: %@", log->toDictionary().dump());
            }
            if (bdx_sdk_log_detail::levelAllows(0)) {
                BDXSDKLogVerbose("Saved network log for request: %@",
                                 bdx_cURLCommandWithBody(recordedRequest, originalBody));
            }
            if (withCompletionHandler) {
                withCompletionHandler();
            }
        },
        // The logger of the exchange lives on until its record is counted, as a host may let it go at once.
        [self = weak_from_this().lock()](const bdx::Error&) {
            {
                auto state = sharedState();
                std::lock_guard guard(state->lock);
                ++state->logsCount;
            }
            if (self) {
                self->purgeIfNeeded();
            } else {
                BDXNetworkLogger().purgeIfNeeded();
            }
        });
}

bdx::net::URLRequest BDXNetworkLogger::loggedRequestFromOriginalRequest(
    const bdx::net::URLRequest& request, const std::optional<bdx::Data>& body) {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    tobeSavedBody_ = body;
    if (state->userRequestObfuscationHandler) {
        bdx::net::URLRequest withBody = request;
        withBody.setHTTPBody(body);
        bdx::net::URLRequest obfuscated = state->userRequestObfuscationHandler(withBody);
        tobeSavedBody_ = obfuscated.HTTPBody();
        return obfuscated;
    }
    if (state->legacyURLObfuscationHandler) {
        bdx::net::URLRequest rewritten = request;
        rewritten.setURL(state->legacyURLObfuscationHandler(request.URL()));
        return rewritten;
    }
    return request;
}

std::shared_ptr<const bdx::net::URLResponse> BDXNetworkLogger::loggedResponse(
    const std::shared_ptr<const bdx::net::URLResponse>& response, const std::optional<bdx::Data>& data) {
    auto state = sharedState();
    std::lock_guard guard(state->lock);
    auto obfuscation = std::make_shared<ResponseObfuscation>();
    obfuscation->data = data;
    obfuscation->response = response;
    if (state->userResponseObfuscationHandler) {
        state->userResponseObfuscationHandler(
            data, response,
            [obfuscation](const std::optional<bdx::Data>& newData,
                          const std::shared_ptr<const bdx::net::URLResponse>& newResponse) {
                std::lock_guard late(obfuscation->mutex);
                if (!obfuscation->handlerReturned) {
                    obfuscation->data = newData;
                    obfuscation->response = newResponse;
                }
            });
    }
    std::lock_guard done(obfuscation->mutex);
    obfuscation->handlerReturned = true;
    loggedResponseData_ = obfuscation->data;
    return obfuscation->response;
}

std::optional<bdx::Data> BDXNetworkLogger::tobeSavedBody() const {
    std::lock_guard guard(sharedState()->lock);
    return tobeSavedBody_;
}

std::optional<bdx::Data> BDXNetworkLogger::loggedResponseData() const {
    std::lock_guard guard(sharedState()->lock);
    return loggedResponseData_;
}

bdx::Value BDXNetworkLogger::loadLogsSynchronously() {
    bdx::Value logs = bdx::Value::array();
    auto context = BDXCoreDataPersistenceManager::sharedManager()->privateContext();
    if (!context) {
        return logs;
    }
    context->performBlockAndWait([&logs, &context] {
        logs = bdx_newestRecordsOfThisSession<BDXNetworkLog>(context, kMaximumLogsCount)
                   .value_or(bdx::Value::array());
    });
    return logs;
}

void BDXNetworkLogger::loadLogsAsynchronouslyWithCompletionHandler(SnapshotHandler handler) {
    bdx_readRecordsOfThisSessionAsync<BDXNetworkLog>(*dataLayerService(), kMaximumLogsCount,
                                                     "BDXNetworkLogs loaded: %@", std::move(handler));
}

void BDXNetworkLogger::loadSnapshotSynchronously(bool synchronously, SnapshotHandler withCompletionHandler) {
    bdx_answerSnapshot(*this, synchronously, std::move(withCompletionHandler));
}

void BDXNetworkLogger::purgeIfNeeded() {
    if (static_cast<std::uint64_t>(logsCount()) >= kPurgeThreshold) {
        purgeOldLogs();
    }
}

void BDXNetworkLogger::purgeOldLogs() {
    dataLayerService()->writeASync(
        [](const std::shared_ptr<ManagedObjectContext>& context) {
            FetchRequest request = BDXNetworkLog::fetchRequest();
            request.sortDescriptors = {{"date", true}};
            // Only which rows, in date order: their bodies need not be read to delete them.
            request.includesPropertyValues = false;
            const auto rows = context->executeFetchRequest(request);
            const auto excess =
                static_cast<std::int64_t>(rows.size()) - static_cast<std::int64_t>(kMaximumLogsCount);
            for (std::int64_t index = 0; index < excess; ++index) {
                context->deleteObject(rows[static_cast<std::size_t>(index)]);
            }
            // Taken off even when negative: below 1000 rows the count rises again.
            auto state = sharedState();
            std::lock_guard guard(state->lock);
            state->logsCount -= excess;
        },
        nullptr);
}

void BDXNetworkLogger::deleteRows(const FetchRequest& request) {
    // The lane saves the context after the block; nothing to save here.
    dataLayerService()->writeASync(
        [request](const std::shared_ptr<ManagedObjectContext>& context) {
            FetchRequest faults = request;
            faults.includesPropertyValues = false;
            for (const auto& row : context->executeFetchRequest(faults)) {
                context->deleteObject(row);
            }
        },
        nullptr);
}

void BDXNetworkLogger::clearAllLogs() {
    deleteRows(BDXNetworkLog::fetchRequest());
}

void BDXNetworkLogger::clearOldLogs() {
    deleteRows(BDXNetworkLog::fetchRequestWithSessionIdNotEqual(BDXInspector::sessionUUID()));
}
