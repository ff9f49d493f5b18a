#include "platform/store/ManagedObjectContext.h"

#include <algorithm>

#include "foundation/DispatchQueue.h"
#include "foundation/Error.h"
#include "platform/PlatformLog.h"

namespace bdx::store {

std::shared_ptr<ManagedObjectContext> ManagedObjectContext::initWithConcurrencyType(ConcurrencyType type) {
    return std::make_shared<ManagedObjectContext>(Token{}, type);
}

ManagedObjectContext::ManagedObjectContext(Token, ConcurrencyType type)
    : type_(type),
      queue_(type == ConcurrencyType::MainQueue ? DispatchQueue::main()
                                                : DispatchQueue::create("bdx.store.ManagedObjectContext")) {}

ManagedObjectContext::~ManagedObjectContext() = default;

void ManagedObjectContext::setParentContext(std::shared_ptr<ManagedObjectContext> parent) {
    std::lock_guard lock(mutex_);
    parent_ = std::move(parent);
    if (parent_)
        coordinator_.reset();
}

void ManagedObjectContext::setPersistentStoreCoordinator(
    std::shared_ptr<PersistentStoreCoordinator> coordinator) {
    std::lock_guard lock(mutex_);
    coordinator_ = std::move(coordinator);
    if (coordinator_)
        parent_.reset();
}

std::shared_ptr<PersistentStoreCoordinator> ManagedObjectContext::persistentStoreCoordinator() const {
    for (const ManagedObjectContext* context = this; context; context = context->parent_.get())
        if (context->coordinator_)
            return context->coordinator_;
    return nullptr;
}

const ManagedObjectModel* ManagedObjectContext::model() const {
    auto coordinator = persistentStoreCoordinator();
    return coordinator ? &coordinator->managedObjectModel() : nullptr;
}

void ManagedObjectContext::performBlock(std::function<void()> block) {
    if (!block)
        return;
    queue_->async([self = shared_from_this(), block = std::move(block)] { block(); });
}

void ManagedObjectContext::performBlockAndWait(const std::function<void()>& block) {
    if (!block)
        return;
    if (queue_->isCurrent()) {
        block();
        return;
    }
    queue_->sync([&block] { block(); });
}

std::shared_ptr<ManagedObject> ManagedObjectContext::insertNewObjectForEntityForName(
    const std::string& entityName) {
    auto coordinator = persistentStoreCoordinator();
    auto entity = coordinator ? coordinator->managedObjectModel().indexOfEntity(entityName) : std::nullopt;
    if (!entity) {
        platformLog("store", "Cannot insert an object of unknown entity " + entityName);
        return nullptr;
    }
    ObjectID id{*entity, coordinator->newKey(*entity)};
    auto object =
        ManagedObject::make(weak_from_this(), id, coordinator->managedObjectModel().entities()[*entity]);
    std::lock_guard lock(mutex_);
    registered_[id] = object;
    pending_[id] = Pending{Change::Inserted, object};
    return object;
}

void ManagedObjectContext::deleteObject(const std::shared_ptr<ManagedObject>& object) {
    if (!object)
        return;
    if (object->context_.lock().get() != this) {
        platformLog("store", "Cannot delete an object of another context");
        return;
    }
    std::lock_guard lock(mutex_);
    // Objects that pointed here through a to-one lose the pointer rather than keep a key to nothing.
    for (const auto& p : object->entity_->properties()) {
        if (p.kind != PropertyDescription::Kind::ToMany)
            continue;
        for (const auto& member : object->objectsForKey(p.name))
            member->setObject(p.inverseName, nullptr);
    }
    auto it = pending_.find(object->id_);
    if (it != pending_.end() && it->second.change == Change::Inserted) {
        pending_.erase(it);
        registered_.erase(object->id_);
        return;
    }
    pending_[object->id_] = Pending{Change::Deleted, object};
}

bool ManagedObjectContext::hasChanges() const {
    std::lock_guard lock(mutex_);
    return !pending_.empty();
}

bool ManagedObjectContext::save(Error* error) {
    std::lock_guard lock(mutex_);
    if (pending_.empty())
        return true;
    if (parent_) {
        std::lock_guard parentLock(parent_->mutex_);
        for (const auto& [id, pending] : pending_)
            parent_->absorbLocked(pending.change, id, pending.object->values_);
        pending_.clear();
        forgetReleasedLocked();
        return true;
    }
    if (!coordinator_) {
        Error made = Error::withDescription(PersistentStoreCoordinator::ErrorDomain, 404,
                                            "The context has neither a parent nor a coordinator");
        platformLog("store", made.localizedDescription());
        if (error)
            *error = made;
        return false;
    }
    PersistentStoreCoordinator::Changes changes;
    for (const auto& [id, pending] : pending_) {
        switch (pending.change) {
            case Change::Inserted:
                changes.inserted.push_back({id, pending.object->values_});
                break;
            case Change::Updated:
                changes.updated.push_back({id, pending.object->values_});
                break;
            case Change::Deleted:
                changes.deleted.push_back(id);
                break;
        }
    }
    if (!coordinator_->save(changes, error))
        return false;
    for (const auto& [id, pending] : pending_)
        if (pending.change == Change::Deleted)
            registered_.erase(id);
    pending_.clear();
    forgetReleasedLocked();
    return true;
}

void ManagedObjectContext::forgetReleasedLocked() {
    // A long-lived context inserts and saves without end; objects nobody holds any more leave its table.
    std::erase_if(registered_, [](const auto& entry) { return entry.second.expired(); });
}

void ManagedObjectContext::absorbLocked(Change change, const ObjectID& id, const Row& values) {
    auto it = pending_.find(id);
    if (change == Change::Deleted) {
        if (it != pending_.end() && it->second.change == Change::Inserted) {
            pending_.erase(it);
            registered_.erase(id);
            return;
        }
        pending_[id] = Pending{Change::Deleted, objectForIDLocked(id, nullptr)};
        return;
    }
    auto object = it != pending_.end() ? it->second.object : objectForIDLocked(id, nullptr);
    object->values_ = values;
    object->fault_ = false;
    bool wasInserted = it != pending_.end() && it->second.change == Change::Inserted;
    pending_[id] =
        Pending{change == Change::Inserted || wasInserted ? Change::Inserted : Change::Updated, object};
}

std::shared_ptr<ManagedObject> ManagedObjectContext::objectForIDLocked(const ObjectID& id,
                                                                       const Row* values) {
    if (auto it = registered_.find(id); it != registered_.end()) {
        if (auto object = it->second.lock()) {
            if (values && !pending_.count(id)) {
                object->values_ = *values;
                object->fault_ = false;
            }
            return object;
        }
    }
    auto object = ManagedObject::make(weak_from_this(), id, model()->entities()[id.entity]);
    if (values) {
        object->values_ = *values;
    } else {
        object->fault_ = true;
    }
    registered_[id] = object;
    return object;
}

std::optional<Row> ManagedObjectContext::rowForIDLocked(const ObjectID& id) {
    if (auto it = pending_.find(id); it != pending_.end()) {
        if (it->second.change == Change::Deleted)
            return std::nullopt;
        return it->second.object->values_;
    }
    if (parent_) {
        std::lock_guard parentLock(parent_->mutex_);
        return parent_->rowForIDLocked(id);
    }
    return coordinator_ ? coordinator_->rowForID(id) : std::nullopt;
}

void ManagedObjectContext::fireFaultLocked(ManagedObject& object) {
    if (!object.fault_)
        return;
    object.fault_ = false;
    std::optional<Row> row;
    if (parent_) {
        std::lock_guard parentLock(parent_->mutex_);
        row = parent_->rowForIDLocked(object.id_);
    } else if (coordinator_) {
        row = coordinator_->rowForID(object.id_);
    }
    if (row) {
        object.values_ = std::move(*row);
    } else {
        platformLog("store", "The object behind a fault is gone (" + object.entityName() + ")");
    }
}

void ManagedObjectContext::didChangeLocked(ManagedObject& object) {
    auto it = pending_.find(object.id_);
    if (it != pending_.end())
        return;  // inserted or updated stays so; a deleted object stays deleted
    pending_[object.id_] = Pending{Change::Updated, object.shared_from_this()};
    registered_[object.id_] = object.weak_from_this();
}

bool ManagedObjectContext::fetchRowsLocked(const FetchRequest& request, std::size_t entity, bool applyLimit,
                                           bool withValues, std::vector<StoredRow>& rows, Error* error) {
    const auto ownCount = static_cast<std::size_t>(std::count_if(
        pending_.begin(), pending_.end(), [&](const auto& p) { return p.first.entity == entity; }));
    const bool own = ownCount > 0;
    // Each change here can push at most one row below out of the first `limit` (an update that no longer
    // matches, a delete), so the first limit + ownCount rows below are enough, and a limited fetch stays
    // limited in SQL however busy the chain is.
    FetchRequest belowRequest = request;
    if (belowRequest.fetchLimit > 0)
        belowRequest.fetchLimit += ownCount;
    std::vector<StoredRow> below;
    bool ok = true;
    if (parent_) {
        std::lock_guard parentLock(parent_->mutex_);
        ok = parent_->fetchRowsLocked(belowRequest, entity, applyLimit, withValues || own, below, error);
    } else if (coordinator_) {
        ok = coordinator_->fetchRows(belowRequest, applyLimit, withValues || own, below, error);
    }
    if (!ok)
        return false;
    if (!own) {
        rows = std::move(below);
        return true;
    }
    const auto& description = model()->entities()[entity];
    std::erase_if(below, [&](const StoredRow& row) { return pending_.count(row.id) > 0; });
    for (const auto& [id, pending] : pending_) {
        if (id.entity != entity || pending.change == Change::Deleted)
            continue;
        if (request.predicate && !evaluatePredicate(*request.predicate, description, pending.object->values_))
            continue;
        below.push_back({id, pending.object->values_});
    }
    std::stable_sort(below.begin(), below.end(), [&](const StoredRow& a, const StoredRow& b) {
        for (const auto& sort : request.sortDescriptors) {
            auto index = description.indexOfProperty(sort.key);
            if (!index)
                continue;
            int c = compareFields(a.values[*index], b.values[*index]);
            if (c != 0)
                return sort.ascending ? c < 0 : c > 0;
        }
        return a.id.key < b.id.key;
    });
    if (applyLimit && request.fetchLimit > 0 && below.size() > request.fetchLimit)
        below.resize(request.fetchLimit);
    rows = std::move(below);
    return true;
}

std::vector<std::shared_ptr<ManagedObject>> ManagedObjectContext::executeFetchRequest(
    const FetchRequest& request, Error* error) {
    const ManagedObjectModel* schema = model();
    auto entity = schema ? schema->indexOfEntity(request.entityName) : std::nullopt;
    if (!entity) {
        Error made = Error::withDescription(PersistentStoreCoordinator::ErrorDomain, 1,
                                            "Fetch of unknown entity " + request.entityName);
        platformLog("store", made.localizedDescription());
        if (error)
            *error = made;
        return {};
    }
    std::lock_guard lock(mutex_);
    std::vector<StoredRow> rows;
    if (!fetchRowsLocked(request, *entity, true, request.includesPropertyValues, rows, error))
        return {};
    std::vector<std::shared_ptr<ManagedObject>> objects;
    objects.reserve(rows.size());
    for (const auto& row : rows)
        objects.push_back(objectForIDLocked(row.id, request.includesPropertyValues ? &row.values : nullptr));
    return objects;
}

}  // namespace bdx::store
