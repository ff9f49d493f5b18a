#include "core/BDXEditableValue.h"

#include <nlohmann/json.hpp>

BDXEditableValue::BDXEditableValue(DefaultValueBlock defaultValueBlock)
    : defaultValueBlock_(std::move(defaultValueBlock)) {}

std::shared_ptr<BDXEditableValue> BDXEditableValue::initWithDefaultValueBlock(
    DefaultValueBlock defaultValueBlock) {
    return std::make_shared<BDXEditableValue>(std::move(defaultValueBlock));
}

bdx::Value BDXEditableValue::value() const {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        if (isSet_) {
            return value_ ? *value_ : bdx::Value();
        }
    }
    // Outside the lock: the default may read other settings, this one among them.
    if (!defaultValueBlock_) {
        return bdx::Value();
    }
    return defaultValueBlock_();
}

void BDXEditableValue::setValue(const bdx::Value& value) {
    auto stored = std::make_shared<const bdx::Value>(value);
    std::lock_guard<std::mutex> guard(mutex_);
    value_ = std::move(stored);
    isSet_ = true;
}

bool BDXEditableValue::isSet() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return isSet_;
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
    return "Current value: " + text + " - is set: " + (isSet() ? "YES" : "NO");
}
