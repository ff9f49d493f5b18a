#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Data.h"
#include "foundation/Date.h"
#include "foundation/Error.h"
#include "foundation/NotificationCenter.h"
#include "platform/net/URLRequest.h"
#include "platform/net/URLResponse.h"
#include "platform/store/FetchRequest.h"
#include "reports/BDXSnapshotProtcol.h"

class BDXDALService;
namespace bdx::net {
class URLSessionTask;
}  // namespace bdx::net

// The host's HTTP exchanges of this session, one stored record each, sent with a report.
//
// The host's callbacks (filters, obfuscation of requests and responses, upload progress) are process-wide
// and run under one recursive lock, so a callback that blocks holds up the logging of other exchanges and
// one that calls back into this class does not deadlock. An instance serves one exchange: it keeps the
// body and the response data of the exchange it is saving. Records of earlier sessions are removed as
// soon as the store is open.
class BDXNetworkLogger : public BDXSnapshotProtcol, public std::enable_shared_from_this<BDXNetworkLogger> {
  public:
    // True: the request is not taken for logging.
    using RequestFilterPredicate = std::function<bool(const bdx::net::URLRequest& request)>;
    // True: the HTTP response is not recorded.
    using ResponseFilterPredicate = std::function<bool(const bdx::net::HTTPURLResponse& response)>;
    // URL in, URL out.
    using LegacyURLObfuscationHandler = std::function<std::string(const std::string& URL)>;
    using UserRequestObfuscationHandler =
        std::function<bdx::net::URLRequest(const bdx::net::URLRequest& request)>;
    using ResponseObfuscationCompletion = std::function<void(
        const std::optional<bdx::Data>& data, const std::shared_ptr<const bdx::net::URLResponse>& response)>;
    // Given the data and the response; calls the completion with what is to be recorded before it returns.
    using UserResponseObfuscationHandler = std::function<void(
        const std::optional<bdx::Data>& data, const std::shared_ptr<const bdx::net::URLResponse>& response,
        const ResponseObfuscationCompletion& completion)>;
    using RequestProgressBlock =
        std::function<void(const std::shared_ptr<bdx::net::URLSessionTask>& task, std::int64_t bytesSent,
                           std::int64_t totalBytesSent, std::int64_t totalBytesExpectedToSend)>;
    using SaveCompletionHandler = std::function<void()>;

    // The newest records a snapshot takes, and the rows a purge leaves.
    static constexpr std::size_t kMaximumLogsCount = 1000;
    // Records added in this process that start a purge: one more than the log lines' threshold.
    static constexpr std::uint64_t kPurgeThreshold = 1001;
    // What an oversized response body is recorded as.
    static constexpr const char* kResponseTooLargeMessage =
        "Response body has not been logged because it exceeds the maximum size of 1 MB";

    // A logger that clears the records of earlier sessions whenever the store manager announces its store.
    static std::shared_ptr<BDXNetworkLogger> init();
    BDXNetworkLogger();
    ~BDXNetworkLogger() override;

    static void setRequestFilterPredicate(RequestFilterPredicate predicate);
    static RequestFilterPredicate requestFilterPredicate();
    static void setResponseFilterPredicate(ResponseFilterPredicate predicate);
    static ResponseFilterPredicate responseFilterPredicate();
    static void setLegacyURLObfuscationHandler(LegacyURLObfuscationHandler handler);
    static LegacyURLObfuscationHandler legacyURLObfuscationHandler();
    static void setUserRequestObfuscationHandler(UserRequestObfuscationHandler handler);
    static void setUserResponseObfuscationHandler(UserResponseObfuscationHandler handler);

    // Keeps `block` for uploads to `forRequestURL`, for the life of the process.
    static void setRequestProgressBlock(RequestProgressBlock block, const std::string& forRequestURL);
    // Tells the block kept for `requestURL`, if any, how far the upload of `task` has come.
    static void requestURL(const std::string& requestURL,
                           const std::shared_ptr<bdx::net::URLSessionTask>& task,
                           std::int64_t didSendBodyData, std::int64_t totalBytesSent,
                           std::int64_t totalBytesExpectedToSend);

    // Every record of every session.
    static bdx::store::FetchRequest fetchRequest();
    // The one data service of every network logger, made on first use.
    static std::shared_ptr<BDXDALService> dataLayerService();
    // Records written in this process, less those purged.
    static std::int64_t logsCount();

    // The content types whose exchanges are recorded: JSON, XML, HTML and text.
    std::vector<std::uint64_t> validContentTypes() const;

    // Records one finished exchange, dated now; returns at once. `duration` is in milliseconds. An
    // exchange whose response announces a content type other than those above (an image, say) leaves no
    // record; one without a response (a failure) or without "Content-Type" is recorded. The handler, if
    // any, runs once the record is written (or at once when nothing is recorded).
    void saveLogWithRequest(const bdx::net::URLRequest& request, const std::optional<bdx::Data>& body,
                            const std::shared_ptr<const bdx::net::URLResponse>& resposne,
                            const std::optional<bdx::Data>& data, const std::optional<bdx::Error>& error,
                            double duration, SaveCompletionHandler withCompletionHandler);
    void saveLogWithRequest(const bdx::net::URLRequest& request, const std::optional<bdx::Data>& body,
                            const std::shared_ptr<const bdx::net::URLResponse>& resposne,
                            const std::optional<bdx::Data>& data, const std::optional<bdx::Error>& error,
                            double duration, SaveCompletionHandler withCompletionHandler,
                            const bdx::Date& date);

    // The request as it is to be recorded: the user request handler's answer (given the request with
    // `body` as its body; its body becomes the body recorded), else the request with the legacy handler's
    // URL, else the request itself.
    bdx::net::URLRequest loggedRequestFromOriginalRequest(const bdx::net::URLRequest& request,
                                                          const std::optional<bdx::Data>& body);
    // The response as it is to be recorded, and the data with it (kept as loggedResponseData): what the
    // user response handler completes with before it returns; a later completion changes nothing.
    std::shared_ptr<const bdx::net::URLResponse> loggedResponse(
        const std::shared_ptr<const bdx::net::URLResponse>& response, const std::optional<bdx::Data>& data);
    std::optional<bdx::Data> tobeSavedBody() const;
    std::optional<bdx::Data> loggedResponseData() const;

    // The newest 1000 records of this session, oldest first, as dictionaries, read on the store manager's
    // private context (so what is still queued in the lane is not there yet); empty when the read fails.
    bdx::Value loadLogsSynchronously();
    // The same, read in the lane after the queued writes. A failed read calls the handler twice, both times
    // with an empty array.
    void loadLogsAsynchronouslyWithCompletionHandler(SnapshotHandler handler);
    void loadSnapshotSynchronously(bool synchronously, SnapshotHandler withCompletionHandler) override;

    // Starts a purge once the records written in this process reach 1001.
    void purgeIfNeeded();
    // Deletes the oldest rows beyond 1000, of every session, and takes their number off the count.
    void purgeOldLogs() override;
    void clearAllLogs() override;
    // Deletes the records of every other session.
    void clearOldLogs() override;

  private:
    void deleteRows(const bdx::store::FetchRequest& request);

    std::optional<bdx::Data> tobeSavedBody_;
    std::optional<bdx::Data> loggedResponseData_;
    bdx::NotificationCenter::Token storeObserver_ = 0;
};
