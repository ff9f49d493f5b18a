#include "persistence/BDXCoreDataPersistenceManager.h"

#include <filesystem>
#include <map>
#include <system_error>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXOperation.h"
#include "core/BDXSingleton.h"
#include "foundation/DispatchQueue.h"
#include "foundation/Once.h"
#include "foundation/Sandbox.h"
#include "foundation/SingletonReset.h"
#include "foundation/StringWithFormat.h"
#include "persistence/BDXAnalytics.h"
#include "persistence/BDXAnalyticsParam.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "persistence/BDXEventLog.h"
#include "persistence/BDXLog.h"
#include "persistence/BDXNetworkLog.h"
#include "persistence/BDXUserStep.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/ui/Notifications.h"

using bdx::store::ManagedObject;
using bdx::store::ManagedObjectContext;
using bdx::store::PersistentStoreCoordinator;

namespace {

BDXSingleton<BDXCoreDataPersistenceManager>& singleton() {
    return BDXSingleton<BDXCoreDataPersistenceManager>::holder();
}

// Process-wide: a store added once stays "initialised" for the process, whatever becomes of the manager.
std::atomic<bool>& coreDataInitialized() {
    static std::atomic<bool> initialized{false};
    return initialized;
}

void markCoreDataInitialized() {
    if (!coreDataInitialized().exchange(true)) {
        // A relaunch (dropping every singleton in a test) starts a new process as far as the flag goes.
        bdx::registerSingletonReset([] { coreDataInitialized() = false; });
    }
}

template <class T>
void registerEntityClass(const std::string& className) {
    ManagedObject::registerManagedObjectClass(className, [] { return std::make_shared<T>(); });
}

void registerEntityClasses() {
    static bdx::Once once;
    once.call([] {
        registerEntityClass<BDXLog>("BDXLog");
        registerEntityClass<BDXNetworkLog>("BDXNetworkLog");
        registerEntityClass<BDXUserStep>("BDXUserStep");
        registerEntityClass<BDXEventLog>("BDXEventLog");
        registerEntityClass<BDXAnalytics>("BDXAnalytics");
        registerEntityClass<BDXAnalyticsParam>("BDXAnalyticsParam");
    });
}

}  // namespace

std::shared_ptr<BDXCoreDataPersistenceManager> BDXCoreDataPersistenceManager::sharedManager() {
    return singleton().get([] {
        auto manager = std::make_shared<BDXCoreDataPersistenceManager>();
        manager->initializePrivateContext();
        manager->observeProtectedData();
        return manager;
    });
}

void BDXCoreDataPersistenceManager::destroy() {
    singleton().destroy();
}

bool BDXCoreDataPersistenceManager::isCoreDataInitialized() {
    return coreDataInitialized().load();
}

std::shared_ptr<PersistentStoreCoordinator> BDXCoreDataPersistenceManager::coordinator() {
    registerEntityClasses();
    return std::make_shared<PersistentStoreCoordinator>(bdx::store::ManagedObjectModel::brindlexDataModel());
}

std::string BDXCoreDataPersistenceManager::getDataModelName() {
    return "BrindlexDataModel";
}

std::string BDXCoreDataPersistenceManager::didAddPersistentStoreNotification() {
    return "BDXCoreDataPersistenceManagerdidAddPersistentStoreNotification";
}

BDXCoreDataPersistenceManager::BDXCoreDataPersistenceManager() = default;

BDXCoreDataPersistenceManager::~BDXCoreDataPersistenceManager() {
    if (center_) {
        for (auto token : observers_) {
            center_->removeObserver(token);
        }
    }
}

void BDXCoreDataPersistenceManager::initializePrivateContext() {
    privateContext_ =
        ManagedObjectContext::initWithConcurrencyType(ManagedObjectContext::ConcurrencyType::PrivateQueue);
    privateContext_->setPersistentStoreCoordinator(coordinator());
}

void BDXCoreDataPersistenceManager::observeProtectedData() {
    center_ = bdx::NotificationCenter::defaultCenter();
    std::weak_ptr<BDXCoreDataPersistenceManager> weakSelf = weak_from_this();
    observers_.push_back(center_->addObserver(bdx::ui::UIApplicationProtectedDataDidBecomeAvailable, nullptr,
                                              [weakSelf](const bdx::Notification&) {
                                                  if (auto self = weakSelf.lock()) {
                                                      self->protectedDataAvailable_ = true;
                                                  }
                                              }));
    observers_.push_back(center_->addObserver(bdx::ui::UIApplicationProtectedDataWillBecomeUnavailable,
                                              nullptr, [weakSelf](const bdx::Notification&) {
                                                  if (auto self = weakSelf.lock()) {
                                                      // The last save before the device locks goes through.
                                                      self->protectedDataAvailable_ = false;
                                                      self->saveWithCompletionHandler(nullptr);
                                                  }
                                              }));
}

std::shared_ptr<ManagedObjectContext> BDXCoreDataPersistenceManager::managedObjectContext() const {
    std::lock_guard guard(mutex_);
    return managedObjectContext_;
}

std::shared_ptr<BDXOperation> BDXCoreDataPersistenceManager::initializationOperation() {
    std::lock_guard guard(mutex_);
    if (initializationOperation_) {
        return initializationOperation_;
    }
    auto operation = std::make_shared<BDXOperation>(nullptr);
    std::weak_ptr<BDXCoreDataPersistenceManager> weakSelf = weak_from_this();
    std::weak_ptr<BDXOperation> weakOperation = operation;
    operation->setBlock([weakSelf, weakOperation] {
        bdx::DispatchQueue::main()->async([weakSelf] {
            if (auto self = weakSelf.lock()) {
                self->initializeCoreData();
            }
        });
        // The start-up sequence goes on at once; the store opens in its own time.
        if (auto self = weakOperation.lock()) {
            self->finish();
        }
    });
    initializationOperation_ = operation;
    return initializationOperation_;
}

void BDXCoreDataPersistenceManager::initializeCoreData() {
    {
        std::lock_guard guard(mutex_);
        if (managedObjectContext_) {
            return;
        }
        managedObjectContext_ =
            ManagedObjectContext::initWithConcurrencyType(ManagedObjectContext::ConcurrencyType::MainQueue);
        managedObjectContext_->setParentContext(privateContext_);
    }
    std::weak_ptr<BDXCoreDataPersistenceManager> weakSelf = weak_from_this();
    bdx::DispatchQueue::global(bdx::DispatchQueue::PriorityBackground)->async([weakSelf] {
        if (auto self = weakSelf.lock()) {
            self->addPersistentStore();
        }
    });
}

std::string BDXCoreDataPersistenceManager::storeURL() const {
    return BDXDiskPersistenceManager::getInstance()->libraryDirectory() + "/" + getDataModelName() +
           ".sqlite";
}

std::string BDXCoreDataPersistenceManager::oldStoreURL() const {
    return (bdx::Sandbox::current().documents() / (getDataModelName() + ".sqlite")).string();
}

bool BDXCoreDataPersistenceManager::shouldDeleteBrindlexSqlLiteFile(const std::string& path) const {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return !error && size >= kMaximumStoreFileSize;
}

void BDXCoreDataPersistenceManager::addPersistentStore() {
    auto coordinator = privateContext_->persistentStoreCoordinator();
    bdx::store::StoreOptions options;
    options.migratePersistentStoresAutomatically = true;
    options.inferMappingModelAutomatically = true;
    options.sqlitePragmas = {{"journal_mode", "WAL"}};

    // What earlier versions kept in Documents is not carried over.
    const std::string oldURL = oldStoreURL();
    std::error_code ignored;
    if (std::filesystem::exists(oldURL, ignored)) {
        PersistentStoreCoordinator::destroyPersistentStoreAtURL(oldURL);
    }
    const std::string url = storeURL();
    if (shouldDeleteBrindlexSqlLiteFile(url)) {
        PersistentStoreCoordinator::destroyPersistentStoreAtURL(url);
    }

    bdx::Error error;
    if (!coordinator->addSQLiteStoreAtURL(url, options, &error)) {
        didFailToAddPersistentStore(error);
        return;
    }
    addedPersistentStore_ = true;
    markCoreDataInitialized();
    bdx::NotificationCenter::defaultCenter()->post({didAddPersistentStoreNotification(), nullptr, {}});
    // What gathered in the private context while the store was pending goes to the file now.
    saveWithCompletionHandler(nullptr);
}

void BDXCoreDataPersistenceManager::didFailToAddPersistentStore(const bdx::Error& error) {
    const std::string message =
        bdx::stringWithFormat("Failed to initialize Brindlex's Core Data stack. Error %@ - %@",
                              error.localizedDescription(), error.userInfo());
    BDXSDKLogError("%@", message);
    BDXSDKLogInternalError("%@", message);
    PersistentStoreCoordinator::destroyPersistentStoreAtURL(storeURL());
    std::weak_ptr<BDXCoreDataPersistenceManager> weakSelf = weak_from_this();
    bdx::DispatchQueue::main()->async([weakSelf] {
        auto self = weakSelf.lock();
        if (!self) {
            return;
        }
        // Call site for the internal error report, which comes with the library's own error reporting:
        // BDXSDKInternalLogManager::sharedManager()->reportSDKError();
        {
            std::lock_guard guard(self->mutex_);
            self->managedObjectContext_.reset();
        }
        // The records in the private context survive: it is kept, and the retry saves them.
        self->initializeCoreData();
    });
}

void BDXCoreDataPersistenceManager::saveWithCompletionHandler(CompletionHandler handler) {
    auto onMain = [handler](bdx::Error error) {
        if (handler) {
            bdx::DispatchQueue::main()->async([handler, error] { handler(error); });
        }
    };
    // Saves run only while the flag is false; see observeProtectedData for when it is set.
    if (protectedDataAvailable_.load()) {
        onMain(bdx::Error("PersistentStore not found", 404));
        return;
    }
    auto self = shared_from_this();
    auto saveChain = [self, onMain](bdx::Error carried) {
        if (!self->hasAddedPersistentStore()) {
            // The changes wait in the private context for the store.
            onMain(carried);
            return;
        }
        auto privateContext = self->privateContext_;
        privateContext->performBlock([privateContext, onMain, carried] {
            if (privateContext->hasChanges()) {
                privateContext->save();
                // The failure reported is always the main context's: the private save's own error is dropped.
                if (!carried.isEmpty()) {
                    BDXSDKLogError("Failed to save Brindlex's private Core Data context. Error %@ - %@",
                                   carried.localizedDescription(), carried.userInfo());
                }
            }
            onMain(carried);
        });
    };
    auto mainContext = managedObjectContext();
    if (!mainContext) {
        // Before initializeCoreData there is no main context to save; the chain goes on from the private one.
        saveChain(bdx::Error());
        return;
    }
    mainContext->performBlock([mainContext, saveChain] {
        bdx::Error error;
        if (mainContext->hasChanges() && !mainContext->save(&error)) {
            BDXSDKLogError("Failed to save Brindlex's main Core Data context. Error %@ - %@",
                           error.localizedDescription(), error.userInfo());
        }
        saveChain(error);
    });
}

void BDXCoreDataPersistenceManager::removeManagedObjectWithFetchRequests(
    const std::vector<bdx::store::FetchRequest>& fetchRequests,
    const std::shared_ptr<ManagedObjectContext>& context) {
    if (!context) {
        return;
    }
    context->performBlockAndWait([&] {
        std::vector<std::shared_ptr<ManagedObject>> objects;
        for (const auto& request : fetchRequests) {
            auto results = context->executeFetchRequest(request);
            objects.insert(objects.end(), results.begin(), results.end());
        }
        for (const auto& object : objects) {
            context->deleteObject(object);
        }
        context->save();
    });
    saveWithCompletionHandler(nullptr);
}

std::shared_ptr<ManagedObject> BDXCoreDataPersistenceManager::copyObject(
    const std::shared_ptr<ManagedObject>& object, const std::shared_ptr<ManagedObjectContext>& toContext) {
    if (!object || !toContext) {
        return nullptr;
    }
    std::map<const ManagedObject*, std::shared_ptr<ManagedObject>> copies;
    return copyObjectLocked(object, toContext, copies);
}

std::shared_ptr<ManagedObject> BDXCoreDataPersistenceManager::copyObjectLocked(
    const std::shared_ptr<ManagedObject>& object, const std::shared_ptr<ManagedObjectContext>& toContext,
    std::map<const ManagedObject*, std::shared_ptr<ManagedObject>>& copies) {
    if (auto known = copies.find(object.get()); known != copies.end()) {
        return known->second;
    }
    auto copy = toContext->insertNewObjectForEntityForName(object->entityName());
    if (!copy) {
        return nullptr;
    }
    // Recorded before the relationships are followed, so that a cycle back to this object ends here.
    copies[object.get()] = copy;
    using Kind = bdx::store::PropertyDescription::Kind;
    for (const auto& property : object->entity().properties()) {
        switch (property.kind) {
            case Kind::Attribute:
                copy->setPrimitiveValue(property.name, object->primitiveValueForKey(property.name));
                break;
            case Kind::ToOne:
                if (auto target = object->objectForKey(property.name)) {
                    copy->setObject(property.name, copyObjectLocked(target, toContext, copies));
                }
                break;
            case Kind::ToMany:
                for (const auto& member : object->objectsForKey(property.name)) {
                    copy->addObject(property.name, copyObjectLocked(member, toContext, copies));
                }
                break;
        }
    }
    return copy;
}

void BDXCoreDataPersistenceManager::didReceiveStateChange() {
    std::weak_ptr<BDXCoreDataPersistenceManager> weakSelf = weak_from_this();
    // The block is the task's expiration handler, not its body.
    registerBackgroundTaskWithBlock([weakSelf] {
        if (auto self = weakSelf.lock()) {
            self->saveWithCompletionHandler([weakSelf](const bdx::Error&) {
                if (auto self = weakSelf.lock()) {
                    self->endBackgroundTask();
                }
            });
        }
    });
}

void BDXCoreDataPersistenceManager::registerBackgroundTaskWithBlock(std::function<void()> block) {
    backgroundTask_ = bdx::ui::Application::sharedApplication()->beginBackgroundTaskWithName(
        "BDXCoreDataPersistenceManager", std::move(block));
}

void BDXCoreDataPersistenceManager::endBackgroundTask() {
    const auto task = backgroundTask_.exchange(bdx::ui::UIBackgroundTaskInvalid);
    if (task != bdx::ui::UIBackgroundTaskInvalid) {
        bdx::ui::Application::sharedApplication()->endBackgroundTask(task);
    }
}

std::shared_ptr<BDXAppStateReactor> BDXCoreDataPersistenceManager::appStateReactor() const {
    std::lock_guard guard(mutex_);
    return appStateReactor_;
}

void BDXCoreDataPersistenceManager::setAppStateReactor(std::shared_ptr<BDXAppStateReactor> reactor) {
    std::lock_guard guard(mutex_);
    appStateReactor_ = std::move(reactor);
}
