#include "platform/ui/RuntimeObject.h"

#include "platform/ui/Runtime.h"

namespace bdx::ui {

RuntimeObject::RuntimeObject(const std::string& className, std::string_view superclass)
    : classInfo_(&Runtime::classNamed(className, superclass)) {}

RuntimeObject::~RuntimeObject() = default;

bool RuntimeObject::respondsToSelector(std::string_view selector) const {
    return Runtime::shared()->respondsToSelector(className(), selector);
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
