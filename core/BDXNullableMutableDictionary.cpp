#include "core/BDXNullableMutableDictionary.h"

#include <nlohmann/json.hpp>

BDXNullableMutableDictionary::BDXNullableMutableDictionary()
    : dictionary_(std::make_unique<bdx::Value>(bdx::Value::object())) {}

BDXNullableMutableDictionary::BDXNullableMutableDictionary(const bdx::Value& dictionary)
    : BDXNullableMutableDictionary() {
    if (!dictionary.is_object()) {
        return;
    }
    for (const auto& [key, object] : dictionary.items()) {
        setObject(object, key);
    }
}

BDXNullableMutableDictionary::BDXNullableMutableDictionary(const BDXNullableMutableDictionary& other)
    : dictionary_(std::make_unique<bdx::Value>(*other.dictionary_)) {}

BDXNullableMutableDictionary& BDXNullableMutableDictionary::operator=(
    const BDXNullableMutableDictionary& other) {
    if (this != &other) {
        *dictionary_ = *other.dictionary_;
    }
    return *this;
}

BDXNullableMutableDictionary::~BDXNullableMutableDictionary() = default;

void BDXNullableMutableDictionary::setObject(const bdx::Value& object, const std::string& forKey) {
    if (object.is_null()) {
        return;
    }
    (*dictionary_)[forKey] = object;
}

bdx::Value BDXNullableMutableDictionary::getDictionary() const {
    return *dictionary_;
}
