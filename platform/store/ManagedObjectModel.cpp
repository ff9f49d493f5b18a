#include "platform/store/ManagedObjectModel.h"

#include <nlohmann/json.hpp>

#include "foundation/Error.h"

namespace bdx::store {

namespace {
constexpr const char* kModelErrorDomain = "BDXStoreModelErrorDomain";

bool fail(Error* error, const std::string& text) {
    if (error)
        *error = Error::withDescription(kModelErrorDomain, 1, text);
    return false;
}
}  // namespace

bool isPlainIdentifier(const std::string& name) {
    if (name.empty() || (name[0] >= '0' && name[0] <= '9'))
        return false;
    for (char c : name) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
        if (!ok)
            return false;
    }
    return true;
}

EntityDescription& EntityDescription::addAttribute(std::string name, AttributeType type) {
    PropertyDescription p;
    p.name = std::move(name);
    p.attributeType = type;
    properties_.push_back(std::move(p));
    return *this;
}

EntityDescription& EntityDescription::addToOne(std::string name, std::string destination,
                                               std::string inverse) {
    PropertyDescription p;
    p.name = std::move(name);
    p.kind = PropertyDescription::Kind::ToOne;
    p.attributeType = AttributeType::Integer64;
    p.destinationEntity = std::move(destination);
    p.inverseName = std::move(inverse);
    properties_.push_back(std::move(p));
    return *this;
}

EntityDescription& EntityDescription::addToMany(std::string name, std::string destination,
                                                std::string inverse) {
    PropertyDescription p;
    p.name = std::move(name);
    p.kind = PropertyDescription::Kind::ToMany;
    p.destinationEntity = std::move(destination);
    p.inverseName = std::move(inverse);
    properties_.push_back(std::move(p));
    return *this;
}

EntityDescription& EntityDescription::setManagedObjectClassName(std::string className) {
    className_ = std::move(className);
    return *this;
}

EntityDescription& EntityDescription::addFetchIndex(
    std::vector<std::pair<std::string, bool>> ascendingByAttribute) {
    indexes_.push_back(std::move(ascendingByAttribute));
    return *this;
}

std::optional<std::size_t> EntityDescription::indexOfProperty(const std::string& name) const {
    for (std::size_t i = 0; i < properties_.size(); ++i)
        if (properties_[i].name == name)
            return i;
    return std::nullopt;
}

EntityDescription& ManagedObjectModel::addEntity(std::string name) {
    entities_.emplace_back(std::move(name));
    return entities_.back();
}

const EntityDescription* ManagedObjectModel::entityNamed(const std::string& name) const {
    auto index = indexOfEntity(name);
    return index ? &entities_[*index] : nullptr;
}

std::optional<std::size_t> ManagedObjectModel::indexOfEntity(const std::string& name) const {
    for (std::size_t i = 0; i < entities_.size(); ++i)
        if (entities_[i].name() == name)
            return i;
    return std::nullopt;
}

bool ManagedObjectModel::validate(Error* error) const {
    using Kind = PropertyDescription::Kind;
    for (const auto& entity : entities_) {
        if (!isPlainIdentifier(entity.name()))
            return fail(error, "Entity name is not an identifier: " + entity.name());
        for (const auto& index : entity.fetchIndexes()) {
            for (const auto& [attribute, ascending] : index) {
                auto at = entity.indexOfProperty(attribute);
                if (!at || entity.properties()[*at].kind != Kind::Attribute)
                    return fail(error,
                                "Index names an unknown attribute: " + entity.name() + "." + attribute);
            }
        }
        for (const auto& p : entity.properties()) {
            if (!isPlainIdentifier(p.name) || p.name == "pk")
                return fail(error, "Property name is not usable: " + entity.name() + "." + p.name);
            if (p.kind == Kind::Attribute)
                continue;
            const EntityDescription* destination = entityNamed(p.destinationEntity);
            if (!destination)
                return fail(error, "Unknown destination entity: " + p.destinationEntity);
            auto inverseIndex = destination->indexOfProperty(p.inverseName);
            if (!inverseIndex)
                return fail(error, "Missing inverse: " + p.destinationEntity + "." + p.inverseName);
            const auto& inverse = destination->properties()[*inverseIndex];
            // Only one-to-many pairs are stored: the to-one side holds the key, the to-many side is derived.
            Kind expected = p.kind == Kind::ToMany ? Kind::ToOne : Kind::ToMany;
            if (inverse.kind != expected && !(p.kind == Kind::ToOne && inverse.kind == Kind::ToOne))
                return fail(error, "Inverse kinds do not pair: " + entity.name() + "." + p.name);
            if (inverse.destinationEntity != entity.name() || inverse.inverseName != p.name)
                return fail(error, "Inverse does not point back: " + entity.name() + "." + p.name);
        }
    }
    return true;
}

std::shared_ptr<const ManagedObjectModel> ManagedObjectModel::brindlexDataModel() {
    using T = AttributeType;
    auto model = std::make_shared<ManagedObjectModel>("BrindlexDataModel");
    // Logs are read as "the newest of one session", so their index runs newest first within a session.
    model->addEntity("BrindlexLog")
        .setManagedObjectClassName("BDXLog")
        .addFetchIndex({{"sessionId", true}, {"date", false}})
        .addAttribute("date", T::Date)
        .addAttribute("level", T::String)
        .addAttribute("message", T::String)
        .addAttribute("sessionId", T::String);
    model->addEntity("NetworkLog")
        .setManagedObjectClassName("BDXNetworkLog")
        .addFetchIndex({{"sessionId", true}, {"date", false}})
        .addAttribute("date", T::Date)
        .addAttribute("headers", T::Transformable)
        .addAttribute("method", T::String)
        .addAttribute("requestBody", T::Transformable)
        .addAttribute("responseBody", T::Transformable)
        .addAttribute("responseHeaders", T::Transformable)
        .addAttribute("statusCode", T::Integer32)
        .addAttribute("url", T::String)
        .addAttribute("sessionId", T::String)
        .addAttribute("duration", T::Double);
    model->addEntity("UserStep")
        .setManagedObjectClassName("BDXUserStep")
        .addAttribute("eventType", T::String)
        .addAttribute("identifier", T::String)
        .addAttribute("isAttached", T::Boolean)
        .addAttribute("isParent", T::Boolean)
        .addAttribute("parentScreenIdentifier", T::String)
        .addAttribute("reportId", T::String)
        .addAttribute("screenIdentifier", T::String)
        .addAttribute("screenName", T::String)
        .addAttribute("screenshot", T::Binary)
        .addAttribute("screenshotIdentifier", T::String)
        .addAttribute("timeEpoch", T::Double)
        .addAttribute("view", T::String)
        .addAttribute("orientation", T::String);
    model->addEntity("EventLog")
        .setManagedObjectClassName("BDXEventLog")
        .addAttribute("name", T::String)
        .addAttribute("count", T::Integer32);
    model->addEntity("Analytic")
        .setManagedObjectClassName("BDXAnalytics")
        .addAttribute("count", T::Integer32)
        .addAttribute("eventLog", T::String)
        .addAttribute("isDeprecated", T::Boolean)
        .addAttribute("methodLog", T::String)
        .addAttribute("timeStamp", T::Date)
        .addToMany("param", "AnalyticsParam", "analytic");
    model->addEntity("AnalyticsParam")
        .setManagedObjectClassName("BDXAnalyticsParam")
        .addAttribute("name", T::String)
        .addAttribute("type", T::String)
        .addAttribute("value", T::String)
        .addToOne("analytic", "Analytic", "param");
    return model;
}

}  // namespace bdx::store
