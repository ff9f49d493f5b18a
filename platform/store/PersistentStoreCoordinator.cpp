#include "platform/store/PersistentStoreCoordinator.h"

#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <set>
#include <system_error>

#include <nlohmann/json.hpp>

#include "foundation/Error.h"
#include "platform/PlatformLog.h"

namespace bdx::store {

namespace {

using Kind = PropertyDescription::Kind;

Error sqliteError(sqlite3* db, int code, const std::string& what) {
    std::string text = what + ": " + (db ? sqlite3_errmsg(db) : sqlite3_errstr(code));
    return Error::withDescription(PersistentStoreCoordinator::ErrorDomain, code, text);
}

bool fail(Error* error, Error made) {
    platformLog("store", made.localizedDescription());
    if (error)
        *error = std::move(made);
    return false;
}

std::string quoted(const std::string& identifier) {
    // Identifiers come from a validated model (plain identifiers), so quoting cannot be escaped.
    return "\"" + identifier + "\"";
}

const char* columnType(const PropertyDescription& p) {
    if (p.kind == Kind::ToOne)
        return "INTEGER";
    switch (p.attributeType) {
        case AttributeType::String:
        case AttributeType::Transformable:
            return "TEXT";
        case AttributeType::Double:
        case AttributeType::Date:
            return "REAL";
        case AttributeType::Binary:
            return "BLOB";
        default:
            return "INTEGER";
    }
}

// A prepared statement that finalizes itself.
class Statement {
  public:
    Statement(sqlite3* db, const std::string& sql) {
        rc_ = sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt_, nullptr);
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    bool ok() const { return rc_ == SQLITE_OK && stmt_; }
    int rc() const { return rc_; }
    sqlite3_stmt* get() const { return stmt_; }

    int bind(int index, const FieldValue& value) {
        struct Binder {
            sqlite3_stmt* s;
            int i;
            int operator()(std::monostate) const { return sqlite3_bind_null(s, i); }
            int operator()(const std::string& v) const {
                return sqlite3_bind_text(s, i, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
            }
            int operator()(std::int64_t v) const { return sqlite3_bind_int64(s, i, v); }
            int operator()(double v) const { return sqlite3_bind_double(s, i, v); }
            int operator()(bool v) const { return sqlite3_bind_int(s, i, v ? 1 : 0); }
            int operator()(const Data& v) const {
                // An empty vector has no buffer, and a null buffer would bind NULL rather than empty bytes.
                if (v.empty())
                    return sqlite3_bind_zeroblob(s, i, 0);
                return sqlite3_bind_blob64(s, i, v.data(), v.size(), SQLITE_TRANSIENT);
            }
        };
        return std::visit(Binder{stmt_, index}, value);
    }

  private:
    sqlite3_stmt* stmt_ = nullptr;
    int rc_ = SQLITE_ERROR;
};

FieldValue readColumn(sqlite3_stmt* s, int column, const PropertyDescription& p) {
    int type = sqlite3_column_type(s, column);
    if (type == SQLITE_NULL)
        return std::monostate{};
    if (p.kind == Kind::ToOne)
        return static_cast<std::int64_t>(sqlite3_column_int64(s, column));
    switch (p.attributeType) {
        case AttributeType::String:
        case AttributeType::Transformable: {
            auto text = reinterpret_cast<const char*>(sqlite3_column_text(s, column));
            return std::string(text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(s, column)));
        }
        case AttributeType::Double:
        case AttributeType::Date:
            return sqlite3_column_double(s, column);
        case AttributeType::Boolean:
            return sqlite3_column_int(s, column) != 0;
        case AttributeType::Binary: {
            auto bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(s, column));
            auto size = static_cast<std::size_t>(sqlite3_column_bytes(s, column));
            return bytes ? Data(bytes, bytes + size) : Data{};
        }
        default:
            return static_cast<std::int64_t>(sqlite3_column_int64(s, column));
    }
}

bool exec(sqlite3* db, const std::string& sql, Error* error) {
    char* message = nullptr;
    int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
    sqlite3_free(message);
    if (rc != SQLITE_OK)
        return fail(error, sqliteError(db, rc, "Store statement failed"));
    return true;
}

const char* sqlOperator(Predicate::Operator op) {
    switch (op) {
        case Predicate::Operator::Equal:
            return " IS ";
        case Predicate::Operator::NotEqual:
            return " IS NOT ";
        case Predicate::Operator::Less:
            return " < ";
        case Predicate::Operator::LessOrEqual:
            return " <= ";
        case Predicate::Operator::Greater:
            return " > ";
        case Predicate::Operator::GreaterOrEqual:
            return " >= ";
        case Predicate::Operator::And:
            return " AND ";
    }
    return " IS ";
}

// The WHERE text of `predicate` with one placeholder per constant; the constants go to `binds`.
bool predicateSQL(const Predicate& predicate, const EntityDescription& entity, std::string& sql,
                  std::vector<FieldValue>& binds) {
    if (predicate.op() == Predicate::Operator::And) {
        sql += "(";
        if (!predicate.left() || !predicateSQL(*predicate.left(), entity, sql, binds))
            return false;
        sql += " AND ";
        if (!predicate.right() || !predicateSQL(*predicate.right(), entity, sql, binds))
            return false;
        sql += ")";
        return true;
    }
    auto index = entity.indexOfProperty(predicate.key());
    if (!index || entity.properties()[*index].kind == Kind::ToMany)
        return false;
    sql += quoted(predicate.key()) + sqlOperator(predicate.op()) + "?";
    binds.push_back(predicate.value());
    return true;
}

std::int64_t preStoreKey() {
    // Before a store is there its largest key is unknown; keys are drawn from a range sequential keys
    // do not reach, so that objects made early cannot collide with rows already in the file.
    static std::mutex mutex;
    static std::mt19937_64 generator{std::random_device{}()};
    std::lock_guard lock(mutex);
    std::uniform_int_distribution<std::int64_t> range(std::int64_t{1} << 62,
                                                      (std::int64_t{1} << 62) + (std::int64_t{1} << 60));
    return range(generator);
}

}  // namespace

PersistentStoreCoordinator::PersistentStoreCoordinator(std::shared_ptr<const ManagedObjectModel> model)
    : model_(std::move(model)), nextKey_(model_->entities().size(), 1) {}

PersistentStoreCoordinator::~PersistentStoreCoordinator() {
    std::lock_guard lock(mutex_);
    closeLocked();
}

void PersistentStoreCoordinator::closeLocked() {
    if (db_)
        sqlite3_close_v2(db_);
    db_ = nullptr;
}

bool PersistentStoreCoordinator::hasPersistentStore() const {
    std::lock_guard lock(mutex_);
    return db_ != nullptr;
}

void PersistentStoreCoordinator::removePersistentStore() {
    std::lock_guard lock(mutex_);
    closeLocked();
}

bool PersistentStoreCoordinator::addSQLiteStoreAtURL(const std::string& path, const StoreOptions& options,
                                                     Error* error) {
    Error modelError;
    if (!model_->validate(&modelError))
        return fail(error, modelError);
    std::lock_guard lock(mutex_);
    if (db_)
        return fail(error, Error::withDescription(ErrorDomain, SQLITE_MISUSE, "A store is already added"));
    if (!openLocked(path, options, error)) {
        closeLocked();
        return false;
    }
    return true;
}

bool PersistentStoreCoordinator::openLocked(const std::string& path, const StoreOptions& options,
                                            Error* error) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec))
        return fail(error, Error::withDescription(ErrorDomain, SQLITE_CANTOPEN,
                                                  "Store path is a directory: " + path));
    int rc = sqlite3_open_v2(path.c_str(), &db_,
                             SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc != SQLITE_OK)
        return fail(error, sqliteError(db_, rc, "Cannot open store at " + path));
    sqlite3_extended_result_codes(db_, 0);
    sqlite3_busy_timeout(db_, 5000);
    for (const auto& [name, value] : options.sqlitePragmas) {
        if (!isPlainIdentifier(name) || !isPlainIdentifier(value))
            return fail(error,
                        Error::withDescription(ErrorDomain, SQLITE_MISUSE, "Unusable pragma: " + name));
        if (!exec(db_, "PRAGMA " + name + "=" + value, error))
            return false;
    }
    // A damaged file may open and even answer small queries; check it whole before trusting it.
    {
        Statement check(db_, "PRAGMA quick_check");
        if (!check.ok())
            return fail(error, sqliteError(db_, check.rc(), "Store is not a database"));
        rc = sqlite3_step(check.get());
        if (rc != SQLITE_ROW)
            return fail(error, sqliteError(db_, rc, "Store is not a database"));
        auto text = reinterpret_cast<const char*>(sqlite3_column_text(check.get(), 0));
        if (!text || std::string(text) != "ok")
            return fail(error,
                        Error::withDescription(ErrorDomain, SQLITE_CORRUPT,
                                               std::string("Store is damaged: ") + (text ? text : "")));
    }
    if (!migrateLocked(options, error))
        return false;
    for (std::size_t e = 0; e < model_->entities().size(); ++e) {
        Statement max(db_, "SELECT max(pk) FROM " + quoted(model_->entities()[e].name()));
        if (!max.ok() || sqlite3_step(max.get()) != SQLITE_ROW)
            return fail(error, sqliteError(db_, max.rc(), "Store read"));
        nextKey_[e] = std::max<std::int64_t>(nextKey_[e], sqlite3_column_int64(max.get(), 0) + 1);
    }
    return true;
}

bool PersistentStoreCoordinator::migrateLocked(const StoreOptions& options, Error* error) {
    bool mayMigrate = options.migratePersistentStoresAutomatically && options.inferMappingModelAutomatically;
    std::set<std::string> tables;
    {
        Statement list(db_, "SELECT name FROM sqlite_master WHERE type = 'table'");
        if (!list.ok())
            return fail(error, sqliteError(db_, list.rc(), "Store is not a database"));
        while (sqlite3_step(list.get()) == SQLITE_ROW)
            tables.insert(reinterpret_cast<const char*>(sqlite3_column_text(list.get(), 0)));
    }
    bool fresh = tables.empty();
    if (!exec(db_, "BEGIN IMMEDIATE", error))
        return false;
    for (const auto& entity : model_->entities()) {
        std::vector<const PropertyDescription*> stored;
        for (const auto& p : entity.properties())
            if (p.kind != Kind::ToMany)
                stored.push_back(&p);
        if (!tables.count(entity.name())) {
            if (!fresh && !mayMigrate)
                break;
            std::string sql = "CREATE TABLE " + quoted(entity.name()) + " (pk INTEGER PRIMARY KEY";
            for (auto* p : stored)
                sql += ", " + quoted(p->name) + " " + columnType(*p);
            if (!exec(db_, sql + ")", error))
                return exec(db_, "ROLLBACK", nullptr), false;
            continue;
        }
        std::set<std::string> columns;
        {
            Statement info(db_, "PRAGMA table_info(" + quoted(entity.name()) + ")");
            while (info.ok() && sqlite3_step(info.get()) == SQLITE_ROW)
                columns.insert(reinterpret_cast<const char*>(sqlite3_column_text(info.get(), 1)));
        }
        for (auto* p : stored) {
            if (columns.count(p->name))
                continue;
            if (!mayMigrate) {
                exec(db_, "ROLLBACK", nullptr);
                return fail(
                    error, Error::withDescription(ErrorDomain, 134100,
                                                  "The model does not match the store and migration is off"));
            }
            std::string sql = "ALTER TABLE " + quoted(entity.name()) + " ADD COLUMN " + quoted(p->name) +
                              " " + columnType(*p);
            if (!exec(db_, sql, error))
                return exec(db_, "ROLLBACK", nullptr), false;
        }
    }
    if (!fresh && !mayMigrate) {
        for (const auto& entity : model_->entities())
            if (!tables.count(entity.name())) {
                exec(db_, "ROLLBACK", nullptr);
                return fail(
                    error, Error::withDescription(ErrorDomain, 134100,
                                                  "The model does not match the store and migration is off"));
            }
    }
    for (const auto& entity : model_->entities()) {
        for (const auto& index : entity.fetchIndexes()) {
            std::string indexName = entity.name(), columns;
            for (const auto& [attribute, ascending] : index) {
                indexName += "_" + attribute;
                columns += (columns.empty() ? "" : ", ") + quoted(attribute) + (ascending ? " ASC" : " DESC");
            }
            const std::string& name = indexName;
            if (!exec(db_,
                      "CREATE INDEX IF NOT EXISTS " + quoted(name) + " ON " + quoted(entity.name()) + " (" +
                          columns + ")",
                      error))
                return exec(db_, "ROLLBACK", nullptr), false;
        }
    }
    return exec(db_, "COMMIT", error);
}

bool PersistentStoreCoordinator::destroyPersistentStoreAtURL(const std::string& path, Error* error) {
    bool ok = true;
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
        std::error_code ec;
        // Whatever stands at the store's own path is the store's, a directory left there included.
        if (std::filesystem::is_directory(path + suffix, ec))
            std::filesystem::remove_all(path + suffix, ec);
        else
            std::filesystem::remove(path + suffix, ec);
        if (ec)
            ok = fail(error, Error::posix(ec.value()));
    }
    return ok;
}

std::int64_t PersistentStoreCoordinator::newKey(std::size_t entity) {
    std::lock_guard lock(mutex_);
    if (!db_)
        return preStoreKey();
    return nextKey_[entity]++;
}

bool PersistentStoreCoordinator::fetchRows(const FetchRequest& request, bool applyLimit, bool withValues,
                                           std::vector<StoredRow>& rows, Error* error) {
    auto entityIndex = model_->indexOfEntity(request.entityName);
    if (!entityIndex)
        return fail(error, Error::withDescription(ErrorDomain, SQLITE_MISUSE,
                                                  "Unknown entity: " + request.entityName));
    const auto& entity = model_->entities()[*entityIndex];
    std::string sql = "SELECT pk";
    std::vector<std::size_t> columns;
    for (std::size_t i = 0; i < entity.properties().size(); ++i) {
        if (entity.properties()[i].kind == Kind::ToMany)
            continue;
        if (withValues)
            sql += ", " + quoted(entity.properties()[i].name);
        columns.push_back(i);
    }
    sql += " FROM " + quoted(entity.name());
    std::vector<FieldValue> binds;
    if (request.predicate) {
        sql += " WHERE ";
        if (!predicateSQL(*request.predicate, entity, sql, binds))
            return fail(error, Error::withDescription(ErrorDomain, SQLITE_MISUSE,
                                                      "Predicate names an unknown property"));
    }
    sql += " ORDER BY ";
    for (const auto& sort : request.sortDescriptors) {
        auto index = entity.indexOfProperty(sort.key);
        if (!index || entity.properties()[*index].kind == Kind::ToMany)
            return fail(error, Error::withDescription(ErrorDomain, SQLITE_MISUSE,
                                                      "Sort key is unknown: " + sort.key));
        sql += quoted(sort.key) + (sort.ascending ? " ASC, " : " DESC, ");
    }
    sql += "pk ASC";
    if (applyLimit && request.fetchLimit > 0) {
        sql += " LIMIT ?";
        binds.push_back(static_cast<std::int64_t>(request.fetchLimit));
    }

    std::lock_guard lock(mutex_);
    if (!db_)
        return true;  // no store yet: nothing is saved
    Statement statement(db_, sql);
    if (!statement.ok())
        return fail(error, sqliteError(db_, statement.rc(), "Fetch failed"));
    for (std::size_t i = 0; i < binds.size(); ++i)
        statement.bind(static_cast<int>(i + 1), binds[i]);
    int rc;
    while ((rc = sqlite3_step(statement.get())) == SQLITE_ROW) {
        StoredRow row{{*entityIndex, sqlite3_column_int64(statement.get(), 0)}, {}};
        if (withValues) {
            row.values.resize(entity.properties().size());
            for (std::size_t c = 0; c < columns.size(); ++c)
                row.values[columns[c]] =
                    readColumn(statement.get(), static_cast<int>(c + 1), entity.properties()[columns[c]]);
        }
        rows.push_back(std::move(row));
    }
    if (rc != SQLITE_DONE)
        return fail(error, sqliteError(db_, rc, "Fetch failed"));
    return true;
}

std::optional<Row> PersistentStoreCoordinator::rowForID(const ObjectID& id) {
    if (id.entity >= model_->entities().size())
        return std::nullopt;
    const auto& entity = model_->entities()[id.entity];
    // The key is not a property, so the lookup is written here rather than as a predicate.
    std::string sql = "SELECT pk";
    for (const auto& p : entity.properties())
        if (p.kind != Kind::ToMany)
            sql += ", " + quoted(p.name);
    sql += " FROM " + quoted(entity.name()) + " WHERE pk = ?";
    std::lock_guard lock(mutex_);
    if (!db_)
        return std::nullopt;
    Statement statement(db_, sql);
    if (!statement.ok())
        return std::nullopt;
    statement.bind(1, id.key);
    if (sqlite3_step(statement.get()) != SQLITE_ROW)
        return std::nullopt;
    Row row(entity.properties().size());
    int column = 1;
    for (std::size_t i = 0; i < entity.properties().size(); ++i)
        if (entity.properties()[i].kind != Kind::ToMany)
            row[i] = readColumn(statement.get(), column++, entity.properties()[i]);
    return row;
}

bool PersistentStoreCoordinator::save(const Changes& changes, Error* error) {
    std::lock_guard lock(mutex_);
    if (!db_)
        return fail(error, Error::withDescription(ErrorDomain, 404, "No persistent store is added"));
    if (!exec(db_, "BEGIN IMMEDIATE", error))
        return false;
    auto rollback = [&](int rc, const char* what) {
        Error made = sqliteError(db_, rc, what);
        exec(db_, "ROLLBACK", nullptr);
        return fail(error, made);
    };
    auto write = [&](const StoredRow& row, bool insert) -> int {
        const auto& entity = model_->entities()[row.id.entity];
        std::string sql;
        std::vector<FieldValue> binds;
        if (insert) {
            std::string names = "pk", marks = "?";
            binds.push_back(row.id.key);
            for (std::size_t i = 0; i < entity.properties().size(); ++i) {
                if (entity.properties()[i].kind == Kind::ToMany)
                    continue;
                names += ", " + quoted(entity.properties()[i].name);
                marks += ", ?";
                binds.push_back(i < row.values.size() ? row.values[i] : FieldValue{});
            }
            sql = "INSERT INTO " + quoted(entity.name()) + " (" + names + ") VALUES (" + marks + ")";
        } else {
            std::string sets;
            for (std::size_t i = 0; i < entity.properties().size(); ++i) {
                if (entity.properties()[i].kind == Kind::ToMany)
                    continue;
                sets += (sets.empty() ? "" : ", ") + quoted(entity.properties()[i].name) + " = ?";
                binds.push_back(i < row.values.size() ? row.values[i] : FieldValue{});
            }
            if (sets.empty())
                return SQLITE_DONE;
            binds.push_back(row.id.key);
            sql = "UPDATE " + quoted(entity.name()) + " SET " + sets + " WHERE pk = ?";
        }
        Statement statement(db_, sql);
        if (!statement.ok())
            return statement.rc();
        for (std::size_t i = 0; i < binds.size(); ++i)
            statement.bind(static_cast<int>(i + 1), binds[i]);
        return sqlite3_step(statement.get());
    };
    for (const auto& row : changes.inserted)
        if (int rc = write(row, true); rc != SQLITE_DONE)
            return rollback(rc, "Insert failed");
    for (const auto& row : changes.updated)
        if (int rc = write(row, false); rc != SQLITE_DONE)
            return rollback(rc, "Update failed");
    for (const auto& id : changes.deleted) {
        Statement statement(db_,
                            "DELETE FROM " + quoted(model_->entities()[id.entity].name()) + " WHERE pk = ?");
        if (!statement.ok())
            return rollback(statement.rc(), "Delete failed");
        statement.bind(1, id.key);
        if (int rc = sqlite3_step(statement.get()); rc != SQLITE_DONE)
            return rollback(rc, "Delete failed");
    }
    int rc = sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        return rollback(rc, "Commit failed");
    return true;
}

}  // namespace bdx::store
