// Public header: installed with the library for hosts to include.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Data.h"
#include "foundation/DispatchQueue.h"
#include "foundation/Value.h"
#include "transport/BDXSDKVersionRequestDelegate.h"

namespace bdx::store {
struct FetchRequest;
}  // namespace bdx::store

// State the whole library shares: the application token, the host's pre-sending hook, the files that go
// with every report, and a few flags.
class BDXDataStore : public BDXSDKVersionRequestDelegate, public std::enable_shared_from_this<BDXDataStore> {
  public:
    static std::shared_ptr<BDXDataStore> getInstance();
    static void destroy();

    BDXDataStore();
    ~BDXDataStore();
    BDXDataStore(const BDXDataStore&) = delete;
    BDXDataStore& operator=(const BDXDataStore&) = delete;

    // The token, read once from the user defaults; "" when none was ever set.
    std::string appToken();
    // Stores the token for this and later launches. The first token of an installation also clears the
    // feature state cached without one; a change from one token to another clears nothing.
    void setAppToken(const std::string& appToken);

    std::function<void()> preSendingBlock() const;
    void setPreSendingBlock(std::function<void()> block);
    // Runs the hook, if any, and then `completionHandler`: on the caller's thread when `synchronized`,
    // otherwise both on the pre-sending queue. Without a hook the completion runs at once.
    void excutePreSendingBlockSynchronized(bool synchronized, std::function<void()> completionHandler);

    // A file is valid when its size can be read and is at most 5 MiB.
    bool isFileOfValidSize(const std::string& path) const;
    // Adds a file to go with every report; the three newest are kept, oldest first. An invalid file is
    // logged and leaves the list alone.
    void addFileAttachment(const std::string& path);
    // Stores the bytes as a text file and adds it.
    void addFileAttachmentWithData(const std::optional<bdx::Data>& data);
    void clearAllFileAttachments();
    std::vector<std::string> fileAttachments() const;
    // The single-file form: a path replaces every attachment with itself; "" keeps the list.
    void setFileLocation(const std::string& path);
    std::string fileLocation() const;

    bdx::Value viewHierarchyLog() const;
    void setViewHierarchyLog(const bdx::Value& log);
    // Forgets the view hierarchy log.
    void clear();

    // Every row of the network log and of the log lines, in that order: what a dying process deletes in
    // one synchronous step.
    std::vector<bdx::store::FetchRequest> logsFetchRequests() const;

    void brindlexInitialized() { wasBrindlexInitialized_ = true; }
    bool wasBrindlexInitialized() const { return wasBrindlexInitialized_; }
    bool isShowLowDiskStorageAlert() const { return isShowLowDiskStorageAlert_; }
    void setIsShowLowDiskStorageAlert(bool value) { isShowLowDiskStorageAlert_ = value; }
    bool isAppCrashing() const { return isAppCrashing_; }
    void setIsAppCrashing(bool value) { isAppCrashing_ = value; }

    std::shared_ptr<bdx::DispatchQueue> kBDXBackgroundQueue() const { return backgroundQueue_; }

    // The end of the version check made at start while a debugger is attached: hands the request back to
    // the server manager, and when the service knows a newer version than this one says so in the debug
    // log. A failed check stays silent and is not retried.
    void SDKVersionRequestDone(const std::shared_ptr<BDXSDKVersionRequest>& request, bool isSuccess,
                               const bdx::Value& response, const std::optional<bdx::Error>& error) override;

    // Where the service lists what changed in each version of the SDK.
    static constexpr const char* kChangelogURL = "https://docs.brindlex.com/sdk/changelog";

  private:
    // Pushes a version check with this store as its delegate.
    void checkLatestSDKVersion();

    mutable std::mutex mutex_;
    std::optional<std::string> appToken_;
    std::function<void()> preSendingBlock_;
    std::string fileLocation_;
    std::shared_ptr<const bdx::Value> viewHierarchyLog_;
    std::vector<std::string> fileAttachments_;
    std::atomic<bool> isShowLowDiskStorageAlert_{false};
    std::atomic<bool> isAppCrashing_{false};
    std::atomic<bool> wasBrindlexInitialized_{false};

    std::shared_ptr<bdx::DispatchQueue> dataStoreQueue_;
    std::shared_ptr<bdx::DispatchQueue> preSendingHandlerQueue_;
    std::shared_ptr<bdx::DispatchQueue> backgroundQueue_;
};
