#include "platform/store/ManagedObject.h"

#include <limits>
#include <map>
#include <mutex>

#include <nlohmann/json.hpp>

#include "foundation/Singleton.h"
#include "platform/PlatformLog.h"
#include "platform/store/ManagedObjectContext.h"

namespace bdx::store {

namespace {

using Kind = PropertyDescription::Kind;

bool isAttribute(const PropertyDescription& p, AttributeType type) {
    return p.kind == Kind::Attribute && p.attributeType == type;
}
bool acceptsString(const PropertyDescription& p) {
    return isAttribute(p, AttributeType::String);
}
bool acceptsInteger(const PropertyDescription& p) {
    return isAttribute(p, AttributeType::Integer16) || isAttribute(p, AttributeType::Integer32) ||
           isAttribute(p, AttributeType::Integer64);
}
bool acceptsDouble(const PropertyDescription& p) {
    return isAttribute(p, AttributeType::Double);
}
bool acceptsBool(const PropertyDescription& p) {
    return isAttribute(p, AttributeType::Boolean);
}
bool acceptsDate(const PropertyDescription& p) {
    return isAttribute(p, AttributeType::Date);
}
bool acceptsData(const PropertyDescription& p) {
    return isAttribute(p, AttributeType::Binary);
}
bool acceptsValue(const PropertyDescription& p) {
    return isAttribute(p, AttributeType::Transformable);
}
bool acceptsToOne(const PropertyDescription& p) {
    return p.kind == Kind::ToOne;
}

template <typename T>
std::optional<T> as(const std::optional<FieldValue>& field) {
    if (!field)
        return std::nullopt;
    if (auto* v = std::get_if<T>(&*field))
        return *v;
    return std::nullopt;
}

}  // namespace

ManagedObject::ManagedObject(std::weak_ptr<ManagedObjectContext> context, ObjectID id,
                             const EntityDescription& entity)
    : context_(std::move(context)), id_(id), entity_(&entity), values_(entity.properties().size()) {}

namespace {
// The class table outlives every context (never destroyed), like the run-time's own.
std::mutex& classesMutex() {
    return neverDestroyed<std::mutex, ManagedObject>();
}
std::map<std::string, ManagedObject::Factory>& classes() {
    return neverDestroyed<std::map<std::string, ManagedObject::Factory>, ManagedObject>();
}
}  // namespace

void ManagedObject::registerManagedObjectClass(const std::string& className, Factory factory) {
    std::lock_guard lock(classesMutex());
    classes()[className] = std::move(factory);
}

std::shared_ptr<ManagedObject> ManagedObject::make(std::weak_ptr<ManagedObjectContext> context, ObjectID id,
                                                   const EntityDescription& entity) {
    Factory factory;
    if (!entity.managedObjectClassName().empty()) {
        std::lock_guard lock(classesMutex());
        if (auto it = classes().find(entity.managedObjectClassName()); it != classes().end())
            factory = it->second;
    }
    std::shared_ptr<ManagedObject> object = factory ? factory() : nullptr;
    if (!object)
        return std::make_shared<ManagedObject>(std::move(context), id, entity);
    object->context_ = std::move(context);
    object->id_ = id;
    object->entity_ = &entity;
    object->values_.assign(entity.properties().size(), FieldValue{});
    return object;
}

const std::string& ManagedObject::entityName() const {
    return entity_->name();
}

std::optional<FieldValue> ManagedObject::read(const std::string& key,
                                              bool (*accepts)(const PropertyDescription&)) const {
    auto index = entity_->indexOfProperty(key);
    if (!index || !accepts(entity_->properties()[*index])) {
        platformLog("store", "No property '" + key + "' of that type on " + entity_->name());
        return std::nullopt;
    }
    auto context = context_.lock();
    if (!context)
        return values_[*index];
    std::lock_guard lock(context->mutex_);
    context->fireFaultLocked(const_cast<ManagedObject&>(*this));
    return values_[*index];
}

void ManagedObject::write(const std::string& key, FieldValue value,
                          bool (*accepts)(const PropertyDescription&)) {
    auto index = entity_->indexOfProperty(key);
    if (!index || !accepts(entity_->properties()[*index])) {
        platformLog("store", "No property '" + key + "' of that type on " + entity_->name());
        return;
    }
    auto context = context_.lock();
    if (!context) {
        values_[*index] = std::move(value);
        return;
    }
    std::lock_guard lock(context->mutex_);
    context->fireFaultLocked(*this);
    values_[*index] = std::move(value);
    context->didChangeLocked(*this);
}

template <typename T>
static FieldValue orAbsent(std::optional<T> value) {
    return value ? FieldValue(std::move(*value)) : FieldValue(std::monostate{});
}

std::optional<std::string> ManagedObject::stringForKey(const std::string& key) const {
    return as<std::string>(read(key, acceptsString));
}
void ManagedObject::setString(const std::string& key, std::optional<std::string> value) {
    write(key, orAbsent(std::move(value)), acceptsString);
}

std::optional<std::int64_t> ManagedObject::integerForKey(const std::string& key) const {
    return as<std::int64_t>(read(key, acceptsInteger));
}
void ManagedObject::setInteger(const std::string& key, std::optional<std::int64_t> value) {
    auto index = entity_->indexOfProperty(key);
    if (value && index) {
        auto type = entity_->properties()[*index].attributeType;
        std::int64_t low = std::numeric_limits<std::int64_t>::min(),
                     high = std::numeric_limits<std::int64_t>::max();
        if (type == AttributeType::Integer16)
            low = std::numeric_limits<std::int16_t>::min(), high = std::numeric_limits<std::int16_t>::max();
        if (type == AttributeType::Integer32)
            low = std::numeric_limits<std::int32_t>::min(), high = std::numeric_limits<std::int32_t>::max();
        if (*value < low || *value > high) {
            platformLog("store", "Value out of range for '" + key + "' on " + entity_->name());
            return;
        }
    }
    write(key, orAbsent(value), acceptsInteger);
}

std::optional<double> ManagedObject::doubleForKey(const std::string& key) const {
    return as<double>(read(key, acceptsDouble));
}
void ManagedObject::setDouble(const std::string& key, std::optional<double> value) {
    write(key, orAbsent(value), acceptsDouble);
}

std::optional<bool> ManagedObject::boolForKey(const std::string& key) const {
    return as<bool>(read(key, acceptsBool));
}
void ManagedObject::setBool(const std::string& key, std::optional<bool> value) {
    write(key, orAbsent(value), acceptsBool);
}

std::optional<Date> ManagedObject::dateForKey(const std::string& key) const {
    auto seconds = as<double>(read(key, acceptsDate));
    return seconds ? std::optional<Date>(Date(*seconds)) : std::nullopt;
}
void ManagedObject::setDate(const std::string& key, std::optional<Date> value) {
    write(key, value ? FieldValue(value->timeIntervalSince1970()) : FieldValue(), acceptsDate);
}

std::optional<Data> ManagedObject::dataForKey(const std::string& key) const {
    return as<Data>(read(key, acceptsData));
}
void ManagedObject::setData(const std::string& key, std::optional<Data> value) {
    write(key, orAbsent(std::move(value)), acceptsData);
}

Value ManagedObject::valueForKey(const std::string& key) const {
    auto text = as<std::string>(read(key, acceptsValue));
    if (!text)
        return nullptr;
    Value value = Value::parse(*text, nullptr, false);
    if (value.is_discarded()) {
        platformLog("store", "Stored value of '" + key + "' is not JSON");
        return nullptr;
    }
    return value;
}
void ManagedObject::setValue(const std::string& key, const Value& value) {
    write(key, value.is_null() ? FieldValue() : FieldValue(value.dump()), acceptsValue);
}

namespace {
bool acceptsAttribute(const PropertyDescription& p) {
    return p.kind == Kind::Attribute;
}
}  // namespace

FieldValue ManagedObject::primitiveValueForKey(const std::string& key) const {
    return read(key, acceptsAttribute).value_or(FieldValue{});
}
void ManagedObject::setPrimitiveValue(const std::string& key, FieldValue value) {
    write(key, std::move(value), acceptsAttribute);
}

std::shared_ptr<ManagedObject> ManagedObject::objectForKey(const std::string& key) const {
    auto target = as<std::int64_t>(read(key, acceptsToOne));
    auto context = context_.lock();
    if (!target || !context)
        return nullptr;
    const auto& p = entity_->properties()[*entity_->indexOfProperty(key)];
    auto destination = context->model()->indexOfEntity(p.destinationEntity);
    std::lock_guard lock(context->mutex_);
    return context->objectForIDLocked(ObjectID{*destination, *target}, nullptr);
}

void ManagedObject::setObject(const std::string& key, const std::shared_ptr<ManagedObject>& object) {
    if (object && object->context_.lock() != context_.lock()) {
        platformLog("store", "Cannot relate objects of different contexts");
        return;
    }
    write(key, object ? FieldValue(object->id_.key) : FieldValue(), acceptsToOne);
}

std::vector<std::shared_ptr<ManagedObject>> ManagedObject::objectsForKey(const std::string& key) const {
    auto index = entity_->indexOfProperty(key);
    auto context = context_.lock();
    if (!index || entity_->properties()[*index].kind != Kind::ToMany || !context) {
        platformLog("store", "No to-many relationship '" + key + "' on " + entity_->name());
        return {};
    }
    const auto& p = entity_->properties()[*index];
    FetchRequest request(p.destinationEntity);
    request.predicate = Predicate::equal(p.inverseName, id_.key);
    return context->executeFetchRequest(request);
}

void ManagedObject::addObject(const std::string& key, const std::shared_ptr<ManagedObject>& object) {
    auto index = entity_->indexOfProperty(key);
    if (!object || !index || entity_->properties()[*index].kind != Kind::ToMany) {
        platformLog("store", "No to-many relationship '" + key + "' on " + entity_->name());
        return;
    }
    object->setObject(entity_->properties()[*index].inverseName, shared_from_this());
}

bool ManagedObject::isFault() const {
    auto context = context_.lock();
    if (!context)
        return fault_;
    std::lock_guard lock(context->mutex_);
    return fault_;
}

bool ManagedObject::isDeleted() const {
    auto context = context_.lock();
    if (!context)
        return false;
    std::lock_guard lock(context->mutex_);
    auto it = context->pending_.find(id_);
    return it != context->pending_.end() && it->second.change == ManagedObjectContext::Change::Deleted;
}

bool ManagedObject::isInserted() const {
    auto context = context_.lock();
    if (!context)
        return false;
    std::lock_guard lock(context->mutex_);
    auto it = context->pending_.find(id_);
    return it != context->pending_.end() && it->second.change == ManagedObjectContext::Change::Inserted;
}

}  // namespace bdx::store
