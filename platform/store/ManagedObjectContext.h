#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/PersistentStoreCoordinator.h"

namespace bdx {
class DispatchQueue;
class Error;
}  // namespace bdx

namespace bdx::store {

// A scratch pad of objects over a parent context or, at the root of a chain, over a coordinator. Its
// changes stay here until `save` moves them one level down: into the parent, or into the file in one
// transaction. A fetch sees this context's changes over its parents' over the file's rows.
//
// Work on a context belongs on its queue (`performBlock`); the context also locks its own state, child
// before parent, so a child may read through its parents from its own queue without hopping queues.
class ManagedObjectContext : public std::enable_shared_from_this<ManagedObjectContext> {
  public:
    enum class ConcurrencyType { PrivateQueue, MainQueue };

    static std::shared_ptr<ManagedObjectContext> initWithConcurrencyType(ConcurrencyType type);
    ~ManagedObjectContext();

    ConcurrencyType concurrencyType() const { return type_; }
    // Set once, before the context is used; a context has a parent or a coordinator, not both.
    void setParentContext(std::shared_ptr<ManagedObjectContext> parent);
    std::shared_ptr<ManagedObjectContext> parentContext() const { return parent_; }
    void setPersistentStoreCoordinator(std::shared_ptr<PersistentStoreCoordinator> coordinator);
    // The coordinator at the root of the chain.
    std::shared_ptr<PersistentStoreCoordinator> persistentStoreCoordinator() const;

    void performBlock(std::function<void()> block);
    // Runs `block` on the context's queue and returns when it has run (at once when already there).
    void performBlockAndWait(const std::function<void()>& block);

    // Null when the model has no such entity.
    std::shared_ptr<ManagedObject> insertNewObjectForEntityForName(const std::string& entityName);
    void deleteObject(const std::shared_ptr<ManagedObject>& object);
    bool hasChanges() const;
    bool save(Error* error = nullptr);
    std::vector<std::shared_ptr<ManagedObject>> executeFetchRequest(const FetchRequest& request,
                                                                    Error* error = nullptr);

  private:
    friend class ManagedObject;
    struct Token {};

  public:
    ManagedObjectContext(Token, ConcurrencyType type);

  private:
    enum class Change { Inserted, Updated, Deleted };
    struct Pending {
        Change change;
        std::shared_ptr<ManagedObject> object;
    };

    const ManagedObjectModel* model() const;
    std::shared_ptr<ManagedObject> objectForIDLocked(const ObjectID& id, const Row* values);
    bool fetchRowsLocked(const FetchRequest& request, std::size_t entity, bool applyLimit, bool withValues,
                         std::vector<StoredRow>& rows, Error* error);
    std::optional<Row> rowForIDLocked(const ObjectID& id);
    void fireFaultLocked(ManagedObject& object);
    void didChangeLocked(ManagedObject& object);
    void forgetReleasedLocked();
    // Takes one child's change into this context (this context's lock held).
    void absorbLocked(Change change, const ObjectID& id, const Row& values);

    ConcurrencyType type_;
    std::shared_ptr<DispatchQueue> queue_;
    std::shared_ptr<ManagedObjectContext> parent_;
    std::shared_ptr<PersistentStoreCoordinator> coordinator_;

    mutable std::recursive_mutex mutex_;
    std::map<ObjectID, std::weak_ptr<ManagedObject>> registered_;
    std::map<ObjectID, Pending> pending_;
};

}  // namespace bdx::store
