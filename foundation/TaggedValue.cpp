#include "foundation/TaggedValue.h"

#include <nlohmann/json.hpp>

#include "foundation/Base64.h"

namespace bdx {
namespace {

constexpr const char* kDateTag = "$date";
constexpr const char* kDataTag = "$data";

const Value* tagged(const Value& value, const char* tag) {
    if (!value.is_object() || value.size() != 1) {
        return nullptr;
    }
    auto it = value.find(tag);
    return it == value.end() ? nullptr : &*it;
}

}  // namespace

Value TaggedValue::fromDate(Date date) {
    Value value = Value::object();
    value[kDateTag] = date.timeIntervalSince1970();
    return value;
}

Value TaggedValue::fromData(const Data& bytes) {
    Value value = Value::object();
    value[kDataTag] = Base64::encode(bytes);
    return value;
}

bool TaggedValue::isDate(const Value& value) {
    const Value* inner = tagged(value, kDateTag);
    return inner && inner->is_number();
}

bool TaggedValue::isData(const Value& value) {
    const Value* inner = tagged(value, kDataTag);
    return inner && inner->is_string();
}

std::optional<Date> TaggedValue::toDate(const Value& value) {
    const Value* inner = tagged(value, kDateTag);
    if (!inner || !inner->is_number()) {
        return std::nullopt;
    }
    return Date(inner->get<double>());
}

std::optional<Data> TaggedValue::toData(const Value& value) {
    const Value* inner = tagged(value, kDataTag);
    if (!inner || !inner->is_string()) {
        return std::nullopt;
    }
    return Base64::decode(inner->get_ref<const std::string&>());
}

}  // namespace bdx
