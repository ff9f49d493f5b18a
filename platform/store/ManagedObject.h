#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Data.h"
#include "foundation/Date.h"
#include "foundation/Value.h"
#include "platform/store/PersistentStoreCoordinator.h"

namespace bdx::store {

class ManagedObjectContext;

// One object of the graph, living in one context. Fields are read and written by property name through
// typed accessors; a name the entity does not have, or of another type, is logged and reads as absent.
// Reads and writes are safe from any thread, though an object belongs to its context's queue.
//
// An entity may name a class (EntityDescription::managedObjectClassName): once that class is registered,
// every object of the entity that a context makes is an instance of it, so a fetch hands out objects
// that can be cast to the entity's class.
class ManagedObject : public std::enable_shared_from_this<ManagedObject> {
  public:
    virtual ~ManagedObject() = default;

    const std::string& entityName() const;
    const EntityDescription& entity() const { return *entity_; }
    const ObjectID& objectID() const { return id_; }
    std::shared_ptr<ManagedObjectContext> managedObjectContext() const { return context_.lock(); }

    std::optional<std::string> stringForKey(const std::string& key) const;
    void setString(const std::string& key, std::optional<std::string> value);
    // 16-, 32- and 64-bit integer attributes; a value out of the attribute's range is refused.
    std::optional<std::int64_t> integerForKey(const std::string& key) const;
    void setInteger(const std::string& key, std::optional<std::int64_t> value);
    std::optional<double> doubleForKey(const std::string& key) const;
    void setDouble(const std::string& key, std::optional<double> value);
    std::optional<bool> boolForKey(const std::string& key) const;
    void setBool(const std::string& key, std::optional<bool> value);
    std::optional<Date> dateForKey(const std::string& key) const;
    void setDate(const std::string& key, std::optional<Date> value);
    std::optional<Data> dataForKey(const std::string& key) const;
    void setData(const std::string& key, std::optional<Data> value);
    // Transformable attributes: any JSON value, stored as its text. Absent reads as null.
    Value valueForKey(const std::string& key) const;
    void setValue(const std::string& key, const Value& value);

    // Any attribute (not a relationship) in its stored form; what copying an object needs.
    FieldValue primitiveValueForKey(const std::string& key) const;
    void setPrimitiveValue(const std::string& key, FieldValue value);

    // To-one relationships; the other object must live in the same context.
    std::shared_ptr<ManagedObject> objectForKey(const std::string& key) const;
    void setObject(const std::string& key, const std::shared_ptr<ManagedObject>& object);
    // To-many relationships: the objects whose inverse points here, as this context sees them.
    std::vector<std::shared_ptr<ManagedObject>> objectsForKey(const std::string& key) const;
    // Adds `object` to the to-many relationship `key` by pointing its inverse here.
    void addObject(const std::string& key, const std::shared_ptr<ManagedObject>& object);

    // True while the values have not been read in (fetched without property values).
    bool isFault() const;
    bool isDeleted() const;
    bool isInserted() const;

    ManagedObject(std::weak_ptr<ManagedObjectContext> context, ObjectID id, const EntityDescription& entity);

    using Factory = std::function<std::shared_ptr<ManagedObject>()>;
    // Makes `className` the class of the entities that name it. Registering a name again replaces it.
    static void registerManagedObjectClass(const std::string& className, Factory factory);
    // An object of `entity` in `context`: an instance of the entity's class when one is registered.
    static std::shared_ptr<ManagedObject> make(std::weak_ptr<ManagedObjectContext> context, ObjectID id,
                                               const EntityDescription& entity);

  protected:
    // For entity classes: the context that makes the object attaches it to its entity.
    ManagedObject() = default;

  private:
    friend class ManagedObjectContext;

    std::optional<FieldValue> read(const std::string& key, bool (*accepts)(const PropertyDescription&)) const;
    void write(const std::string& key, FieldValue value, bool (*accepts)(const PropertyDescription&));

    std::weak_ptr<ManagedObjectContext> context_;
    ObjectID id_;
    const EntityDescription* entity_ = nullptr;
    // Guarded by the context's lock.
    Row values_;
    bool fault_ = false;
};

}  // namespace bdx::store
