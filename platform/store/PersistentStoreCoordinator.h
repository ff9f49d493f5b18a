#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObjectModel.h"

struct sqlite3;

namespace bdx {
class Error;
}

namespace bdx::store {

// Names an object across contexts and launches: its entity (index in the model) and its row key.
struct ObjectID {
    std::size_t entity = 0;
    std::int64_t key = 0;
    auto operator<=>(const ObjectID&) const = default;
};

// The values of one object, one per property of its entity (a to-many property's slot stays empty).
using Row = std::vector<FieldValue>;

struct StoredRow {
    ObjectID id;
    Row values;
};

struct StoreOptions {
    // Pragmas run on the connection when it opens, as name = value ("journal_mode" = "WAL").
    std::map<std::string, std::string> sqlitePragmas{{"journal_mode", "WAL"}};
    // With both set, a column or table that the model adds to an older file is created on open.
    bool migratePersistentStoresAutomatically = true;
    bool inferMappingModelAutomatically = true;
};

// Joins a model to one SQLite file. Every read and write of the file goes through here, serialised by
// one lock; contexts call in from their own queues.
class PersistentStoreCoordinator {
  public:
    static constexpr const char* ErrorDomain = "BDXPersistentStoreErrorDomain";

    explicit PersistentStoreCoordinator(std::shared_ptr<const ManagedObjectModel> model);
    ~PersistentStoreCoordinator();
    PersistentStoreCoordinator(const PersistentStoreCoordinator&) = delete;
    PersistentStoreCoordinator& operator=(const PersistentStoreCoordinator&) = delete;

    const ManagedObjectModel& managedObjectModel() const { return *model_; }

    // Opens (or creates) the store at `path`. False with `error` filled when the file cannot be opened,
    // is not a database, is damaged, or needs a migration that the options do not allow.
    bool addSQLiteStoreAtURL(const std::string& path, const StoreOptions& options = {},
                             Error* error = nullptr);
    bool hasPersistentStore() const;
    // Closes the store; contexts keep their unsaved changes.
    void removePersistentStore();

    // Removes the store file and its -wal, -shm and -journal companions (a directory standing in the place
    // of one goes with all it holds). True when none is left.
    static bool destroyPersistentStoreAtURL(const std::string& path, Error* error = nullptr);

    // --- Used by the contexts.
    // A fresh key for a new object of `entity`, never handed out before for this store.
    std::int64_t newKey(std::size_t entity);
    // The rows of the request's entity that match its predicate, sorted, and limited when `applyLimit`.
    // Without `withValues` only the IDs are read.
    bool fetchRows(const FetchRequest& request, bool applyLimit, bool withValues,
                   std::vector<StoredRow>& rows, Error* error);
    std::optional<Row> rowForID(const ObjectID& id);

    struct Changes {
        std::vector<StoredRow> inserted;
        std::vector<StoredRow> updated;
        std::vector<ObjectID> deleted;
    };
    // Writes the changes in one transaction: all of them or none.
    bool save(const Changes& changes, Error* error);

  private:
    bool openLocked(const std::string& path, const StoreOptions& options, Error* error);
    bool migrateLocked(const StoreOptions& options, Error* error);
    void closeLocked();

    std::shared_ptr<const ManagedObjectModel> model_;
    mutable std::mutex mutex_;
    sqlite3* db_ = nullptr;
    std::vector<std::int64_t> nextKey_;
};

}  // namespace bdx::store
