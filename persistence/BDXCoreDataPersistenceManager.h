#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/Error.h"
#include "foundation/NotificationCenter.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/ui/Application.h"
#include "sessions/BDXAppStateReactor.h"

class BDXOperation;

// Owns the object store of the library's high-volume records and its two long-lived contexts:
// `privateContext`, the only one joined to the file, and `managedObjectContext` on the main queue, its
// child. Loggers never come here directly; they go through a BDXDALService.
//
// The store is disposable: one that cannot be opened or has grown past 150 MiB is destroyed and built
// again, and nothing here ever makes the host's main thread wait for the disk.
class BDXCoreDataPersistenceManager : public BDXAppStateReactorDelegate,
                                      public std::enable_shared_from_this<BDXCoreDataPersistenceManager> {
  public:
    using CompletionHandler = std::function<void(const bdx::Error& error)>;

    static std::shared_ptr<BDXCoreDataPersistenceManager> sharedManager();
    // Drops the shared manager; the next sharedManager makes a new one. isCoreDataInitialized stays.
    static void destroy();
    // True once a store has been added in this process.
    static bool isCoreDataInitialized();
    // A new coordinator over the library's model.
    static std::shared_ptr<bdx::store::PersistentStoreCoordinator> coordinator();
    static std::string getDataModelName();
    // Posted (on the thread that added the store) each time a store is added.
    static std::string didAddPersistentStoreNotification();
    // A store file of this many bytes or more is destroyed before it is opened.
    static constexpr std::uintmax_t kMaximumStoreFileSize = 157286400;

    BDXCoreDataPersistenceManager();
    ~BDXCoreDataPersistenceManager();

    // Null until initializeCoreData made it (and again for a moment while a failed store is rebuilt).
    std::shared_ptr<bdx::store::ManagedObjectContext> managedObjectContext() const;
    std::shared_ptr<bdx::store::ManagedObjectContext> privateContext() const { return privateContext_; }
    bool hasAddedPersistentStore() const { return addedPersistentStore_.load(); }
    bool isApplicationProtectedDataAvailable() const { return protectedDataAvailable_.load(); }

    // Start-up work: queues initializeCoreData on the main queue and finishes at once, before the store
    // is there. Made on the first call.
    std::shared_ptr<BDXOperation> initializationOperation();
    // Makes the main-queue context and adds the store on the background queue; nothing when the main
    // context exists already.
    void initializeCoreData();
    // The store file: "<model name>.sqlite" in the library directory.
    std::string storeURL() const;
    // The store file of earlier versions, in the Documents directory; destroyed when found.
    std::string oldStoreURL() const;
    // True when the file at `path` is kMaximumStoreFileSize bytes or more (a missing file is 0 bytes).
    bool shouldDeleteBrindlexSqlLiteFile(const std::string& path) const;

    // Saves the main context into the private one and, once a store is added, the private one into the
    // file. The handler (optional) runs on the main queue with the main context's save error, or none.
    // While protected data is flagged available nothing is saved and the handler gets a 404 error.
    void saveWithCompletionHandler(CompletionHandler handler);

    // On `context`, now: deletes every object the requests return, saves the context, then saves the
    // chain. For the crash path, where nothing may be left for later.
    void removeManagedObjectWithFetchRequests(
        const std::vector<bdx::store::FetchRequest>& fetchRequests,
        const std::shared_ptr<bdx::store::ManagedObjectContext>& context);

    // A copy of `object` inserted into `context`, with every object it reaches through relationships
    // copied as well, each one once. Call on the queues of both contexts' objects.
    std::shared_ptr<bdx::store::ManagedObject> copyObject(
        const std::shared_ptr<bdx::store::ManagedObject>& object,
        const std::shared_ptr<bdx::store::ManagedObjectContext>& toContext);

    // Application state changes: saving is registered as the expiration handler of a background task.
    // Nothing in the library installs a reactor; a host that wants these saves sets one.
    void didReceiveStateChange() override;
    void registerBackgroundTaskWithBlock(std::function<void()> block);
    void endBackgroundTask();
    bdx::ui::BackgroundTaskIdentifier backgroundTask() const { return backgroundTask_.load(); }
    std::shared_ptr<BDXAppStateReactor> appStateReactor() const;
    void setAppStateReactor(std::shared_ptr<BDXAppStateReactor> reactor);

  private:
    void initializePrivateContext();
    void addPersistentStore();
    void didFailToAddPersistentStore(const bdx::Error& error);
    void observeProtectedData();
    std::shared_ptr<bdx::store::ManagedObject> copyObjectLocked(
        const std::shared_ptr<bdx::store::ManagedObject>& object,
        const std::shared_ptr<bdx::store::ManagedObjectContext>& toContext,
        std::map<const bdx::store::ManagedObject*, std::shared_ptr<bdx::store::ManagedObject>>& copies);

    std::shared_ptr<bdx::store::ManagedObjectContext> privateContext_;
    mutable std::mutex mutex_;
    std::shared_ptr<bdx::store::ManagedObjectContext> managedObjectContext_;
    std::shared_ptr<BDXOperation> initializationOperation_;
    std::shared_ptr<BDXAppStateReactor> appStateReactor_;
    std::atomic<bool> addedPersistentStore_{false};
    std::atomic<bool> protectedDataAvailable_{false};
    std::atomic<bdx::ui::BackgroundTaskIdentifier> backgroundTask_{bdx::ui::UIBackgroundTaskInvalid};
    std::vector<bdx::NotificationCenter::Token> observers_;
    std::shared_ptr<bdx::NotificationCenter> center_;
};
