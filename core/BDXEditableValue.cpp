#include "core/BDXEditableValue.h"

#include <nlohmann/json.hpp>

BDXEditableValue::BDXEditableValue(DefaultValueBlock defaultValueBlock)
    : defaultValueBlock_(std::move(defaultValueBlock)) {}

std::shared_ptr<BDXEditableValue> BDXEditableValue::initWithDefaultValueBlock(
    DefaultValueBlock defaultValueBlock) {
    return std::make_shared<BDXEditableValue>(std::move(defaultValueBlock));
}

bdx::Value BDXEditableValue::value() const {
    if (isSet_) {
        return value_ ? *value_ : bdx::Value();
    }
    if (!defaultValueBlock_) {
        return bdx::Value();
    }
    return defaultValueBlock_();
}

void BDXEditableValue::setValue(const bdx::Value& value) {
    value_ = std::make_shared<const bdx::Value>(value);
    isSet_ = true;
}

std::string BDXEditableValue::description() const {
    const bdx::Value current = value();
    std::string text;
    if (current.is_null()) {
        text = "(null)";
    } else if (current.is_string()) {
        text = current.get<std::string>();
    } else {
        text = current.dump();
    }
    return "Current value: " + text + " - is set: " + (isSet_ ? "YES" : "NO");
}
