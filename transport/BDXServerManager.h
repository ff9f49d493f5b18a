#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Data.h"
#include "foundation/Error.h"
#include "foundation/NotificationCenter.h"
#include "foundation/Object.h"
#include "platform/net/URLSession.h"
#include "platform/net/URLSessionConfiguration.h"
#include "platform/net/URLSessionDelegate.h"
#include "platform/ui/Application.h"
#include "transport/BDXAttachmentRequest.h"

class BDXBaseRequest;
class BDXOperation;
class BDXServerProtocol;
class BDXServersQueue;

namespace bdx {
class DispatchQueue;
}

// Who asked for a remote asset through loadAssetOfURL.
class BDXServerManagerAssetDelegate {
  public:
    virtual ~BDXServerManagerAssetDelegate() = default;
    // On the main queue, at each attempt: a failed download is retried and tells its delegate again.
    virtual void loadedAssetOfURL(const std::string& url, const std::string& atPath, bool isSuccess) = 0;
};

// Everything that leaves the device goes through here. The manager keeps the high-level requests in
// flight or waiting, starts each one as soon as the service is reachable (any number at once), maps
// every URL task back to its low-level request, keeps a background task open while a transfer runs,
// and pushes a failed request again after e^failures seconds, for as long as the process lives.
//
// Push, pop and the sweep over the list run in order on "com.BDX.ServerManagerQueue"; the delegates of
// requests and handleRequest run on the main queue, and so does the retry timer. The task and asset
// maps are behind one recursive lock.
class BDXServerManager : public bdx::Object,
                         public BDXAttachmentRequestDelegate,
                         public bdx::net::URLSessionDelegate,
                         public std::enable_shared_from_this<BDXServerManager> {
    BDX_DECLARE_CLASS(BDXServerManager, bdx::Object)

  public:
    // Identifier of the session every transfer runs in, outside UI test mode.
    static constexpr const char* kBackgroundSessionIdentifier = "com.Brindlex.BackgroundSession";

    static std::shared_ptr<BDXServerManager> getInstance();
    static void destroy();

    // How long a JSON transfer may stay idle before it fails, for sessions made from now on (file
    // uploads keep their own 240 seconds). The platform's 60 seconds until set; hosts on slow links and
    // tests change it before the first request.
    static void setTimeoutIntervalForRequest(double seconds);
    static double timeoutIntervalForRequest();

    BDXServerManager();
    ~BDXServerManager() override;
    BDXServerManager(const BDXServerManager&) = delete;
    BDXServerManager& operator=(const BDXServerManager&) = delete;

    // The start-up operation, made once: it queues on the main queue the observing of reachability
    // changes with handleNetworkChange, and finishes at once.
    std::shared_ptr<BDXOperation> initializationOperation();

    // The one entry point for callers: queues the request and starts it when it may start.
    void pushRequest(const std::shared_ptr<BDXBaseRequest>& request);
    // Called by each high-level request's delegate once the result is in (on the main queue): takes the
    // request off the list and, unless it succeeded, pushes it again after e^failures seconds.
    void handleRequest(const std::shared_ptr<BDXBaseRequest>& request);

    void popRequest(const std::shared_ptr<BDXBaseRequest>& request);
    // Starts the request when the service is reachable, the manager is not disabled (or the request is
    // the one that may run while it is) and the request is not running, asked in that order; otherwise
    // it waits in the list.
    void executeRequest(const std::shared_ptr<BDXBaseRequest>& request);
    // One pass over a copy of the list, in order, on the manager's queue.
    void refresh();
    // Refreshes when the service became reachable.
    void handleNetworkChange(const bdx::Notification& notification);
    // Whether a request of the list runs. Waits for the manager's queue: never call it from there.
    bool isExecutingRequest();
    // Shows the network activity indicator while a request of the list runs.
    void updateNetworkActivityIndicator();

    // Prepares a low-level request and runs its task under a background task named "BDX-<task id>".
    void executeServerRequest(const std::shared_ptr<BDXServerProtocol>& request);

    // The task map, from the task identifier to the low-level request.
    void pushRequest(const std::shared_ptr<BDXServerProtocol>& request, unsigned long withTaskIdentifeier);
    std::shared_ptr<BDXServerProtocol> requestWithTaskIdentifeier(unsigned long taskIdentifier);
    void removefileRequestWithTaskIdentifeier(unsigned long taskIdentifier);

    // Background tasks of the application, by name; nothing in UI test mode.
    void beginBackgroundTaskWithName(const std::string& name);
    void endBackgroundTaskWithName(const std::string& name);
    void endBackgroundTask(bdx::ui::BackgroundTaskIdentifier identifier);
    // The names of the background tasks begun and not yet ended.
    std::vector<std::string> backgroundTaskNames() const;

    // While true nothing new starts but the feature check, whose reply is what can switch the manager
    // on again (set by the account-state check of the features).
    void shouldDisableServerManager(bool disable);
    bool shouldDisableServerManager() const;

    // Downloads a remote asset for `delegate`, unless a download of the same URL path for the very same
    // delegate is under way. Reachability is not asked and the request does not enter the list.
    void loadAssetOfURL(const std::string& url,
                        const std::shared_ptr<BDXServerManagerAssetDelegate>& delegate);
    bool attachmentRequestExistsOfURL(const std::string& url,
                                      const std::shared_ptr<BDXServerManagerAssetDelegate>& delegate);
    void addAndExcuteRequest(const std::shared_ptr<BDXAttachmentRequest>& request,
                             const std::shared_ptr<BDXServerManagerAssetDelegate>& withDelegate);
    std::shared_ptr<BDXServerManagerAssetDelegate> delegateForRequest(
        const std::shared_ptr<BDXAttachmentRequest>& request);
    void removeAttachmentDelegateAndRequest(const std::shared_ptr<BDXAttachmentRequest>& request);
    void attachmentRequestDone(const std::shared_ptr<BDXAttachmentRequest>& request, bool isSuccess,
                               const std::string& path, const std::optional<bdx::Error>& error) override;
    // The downloads under way, in the order they started.
    std::vector<std::shared_ptr<BDXAttachmentRequest>> attachmentRequests() const;

    // The session's delegate callbacks, on its delegate queue. A chunk replaces what the request held.
    void didReceiveData(const std::shared_ptr<bdx::net::URLSession>& session,
                        const std::shared_ptr<bdx::net::URLSessionDataTask>& dataTask,
                        const bdx::Data& data) override;
    void didCompleteWithError(const std::shared_ptr<bdx::net::URLSession>& session,
                              const std::shared_ptr<bdx::net::URLSessionTask>& task,
                              const std::optional<bdx::Error>& error) override;

    const std::shared_ptr<BDXServersQueue>& servers() const { return servers_; }
    std::shared_ptr<bdx::net::URLSession> backgroundSession() const;
    const std::shared_ptr<bdx::DispatchQueue>& serverManagerQueue() const { return serverManagerQueue_; }

  private:
    void setupBackgroundSession();
    static std::string taskKey(unsigned long taskIdentifier);

    std::shared_ptr<BDXServersQueue> servers_;
    std::shared_ptr<bdx::DispatchQueue> serverManagerQueue_;
    std::atomic<bool> shouldDisableServerManager_{false};

    mutable std::recursive_mutex lock_;
    std::shared_ptr<BDXOperation> initializationOperation_;
    std::shared_ptr<bdx::net::URLSession> backgroundSession_;
    std::map<std::string, std::shared_ptr<BDXServerProtocol>> serverRequests_;
    std::map<std::string, bdx::ui::BackgroundTaskIdentifier> backgroundTaskIdentifiers_;
    std::vector<std::shared_ptr<BDXServerManagerAssetDelegate>> attachmentRequestDelegates_;
    std::vector<std::shared_ptr<BDXAttachmentRequest>> attachmentRequests_;
    std::optional<bdx::NotificationCenter::Token> reachabilityObserver_;
};
