#include "platform/ui/RuntimeObject.h"

#include <cstdio>

#include "platform/ui/Runtime.h"

namespace bdx::ui {

RuntimeObject::RuntimeObject(std::string className, std::string_view superclass)
    : className_(std::move(className)) {
    auto runtime = Runtime::shared();
    if (!runtime->isClassRegistered(className_)) {
        runtime->registerClass(className_, std::string(superclass));
    }
}

RuntimeObject::~RuntimeObject() = default;

std::string RuntimeObject::superclassName() const {
    return Runtime::shared()->superclassOf(className_);
}

bool RuntimeObject::isKindOf(std::string_view name) const {
    return className_ == name || Runtime::shared()->isSubclassOf(className_, name);
}

bool RuntimeObject::respondsToSelector(std::string_view selector) const {
    return Runtime::shared()->respondsToSelector(className_, selector);
}

std::string RuntimeObject::description() const {
    char address[32];
    std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
    return "<" + className_ + ": " + address + ">";
}

void RuntimeObject::setAssociatedValue(const std::string& key, std::any value) {
    if (!value.has_value()) {
        associated_.erase(key);
        return;
    }
    associated_[key] = std::move(value);
}

std::any RuntimeObject::associatedValue(const std::string& key) const {
    auto found = associated_.find(key);
    return found == associated_.end() ? std::any() : found->second;
}

void RuntimeObject::removeAssociatedValue(const std::string& key) {
    associated_.erase(key);
}

void RuntimeObject::setInstanceVariable(const std::string& name, const std::shared_ptr<RuntimeObject>& value,
                                        const std::string& declaredClass) {
    std::string type = !declaredClass.empty() ? declaredClass : value ? value->className() : "NSObject";
    InstanceVariable variable{name, "@\"" + type + "\"", "", value};
    for (auto& existing : instanceVariables_) {
        if (existing.name == name) {
            existing = std::move(variable);
            return;
        }
    }
    instanceVariables_.push_back(std::move(variable));
}

void RuntimeObject::addInstanceVariable(InstanceVariable variable) {
    for (auto& existing : instanceVariables_) {
        if (existing.name == variable.name) {
            existing = std::move(variable);
            return;
        }
    }
    instanceVariables_.push_back(std::move(variable));
}

std::shared_ptr<RuntimeObject> RuntimeObject::instanceVariableValue(std::string_view name) const {
    for (const auto& variable : instanceVariables_) {
        if (variable.name == name) {
            return variable.value.lock();
        }
    }
    return nullptr;
}

std::string RuntimeObject::propertyAttributes(std::string_view name) const {
    for (const auto& variable : instanceVariables_) {
        if (variable.name == name) {
            return variable.propertyAttributes;
        }
    }
    return {};
}

}  // namespace bdx::ui
