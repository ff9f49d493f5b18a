#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "foundation/Data.h"

namespace bdx {
class Error;
}

namespace bdx::store {

enum class AttributeType {
    String,
    Integer16,
    Integer32,
    Integer64,
    Double,
    Boolean,
    Date,
    Binary,
    Transformable
};

// One stored value as the store sees it: dates are seconds since 1970, transformable values their JSON
// text, a to-one relationship the key of the object it points at. monostate is an absent value.
using FieldValue = std::variant<std::monostate, std::string, std::int64_t, double, bool, Data>;

struct PropertyDescription {
    enum class Kind { Attribute, ToOne, ToMany };
    std::string name;
    Kind kind = Kind::Attribute;
    AttributeType attributeType = AttributeType::String;
    std::string destinationEntity;  // relationships only
    std::string inverseName;        // relationships only
};

class EntityDescription {
  public:
    explicit EntityDescription(std::string name) : name_(std::move(name)) {}

    EntityDescription& addAttribute(std::string name, AttributeType type);
    EntityDescription& addToOne(std::string name, std::string destination, std::string inverse);
    EntityDescription& addToMany(std::string name, std::string destination, std::string inverse);
    // The class whose instances stand for this entity's objects (see registerManagedObjectClass); empty
    // or unregistered gives plain ManagedObject instances.
    EntityDescription& setManagedObjectClassName(std::string className);
    // An index over attributes, each with its direction, so that a fetch filtering on the first and
    // sorting by the next ones reads only the rows it returns. Made on open, also in older files.
    EntityDescription& addFetchIndex(std::vector<std::pair<std::string, bool>> ascendingByAttribute);

    const std::string& name() const { return name_; }
    const std::string& managedObjectClassName() const { return className_; }
    const std::vector<PropertyDescription>& properties() const { return properties_; }
    const std::vector<std::vector<std::pair<std::string, bool>>>& fetchIndexes() const { return indexes_; }
    // Index of the property named `name`, or nullopt.
    std::optional<std::size_t> indexOfProperty(const std::string& name) const;

  private:
    std::string name_;
    std::string className_;
    std::vector<PropertyDescription> properties_;
    std::vector<std::vector<std::pair<std::string, bool>>> indexes_;
};

// The schema of an object graph. Entity and property names become table and column names, so a model
// accepts only plain identifiers; a model that does not hold together is refused by `validate`.
class ManagedObjectModel {
  public:
    explicit ManagedObjectModel(std::string name) : name_(std::move(name)) {}

    EntityDescription& addEntity(std::string name);

    const std::string& name() const { return name_; }
    const std::vector<EntityDescription>& entities() const { return entities_; }
    const EntityDescription* entityNamed(const std::string& name) const;
    std::optional<std::size_t> indexOfEntity(const std::string& name) const;

    // False (with `error` filled) when a name is not a plain identifier or a relationship has no
    // matching inverse (a to-many must pair with a to-one on the destination, and back).
    bool validate(Error* error = nullptr) const;

    // The model of the library's own records, named "BrindlexDataModel".
    static std::shared_ptr<const ManagedObjectModel> brindlexDataModel();

  private:
    std::string name_;
    std::vector<EntityDescription> entities_;
};

// True for names made of ASCII letters, digits and underscores that do not start with a digit.
bool isPlainIdentifier(const std::string& name);

}  // namespace bdx::store
