#include "Logging/BDXStateEventLog.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXNullableMutableDictionary.h"

namespace {

constexpr const char* kClassName = "BDXStateEventLog";

std::string coderNameForSelector(const char* selector) {
    return std::string(kClassName) + selector;
}

// What the platform's JSON writer accepts: a dictionary or an array at the top, finite numbers, and
// nothing that is not JSON (raw bytes) anywhere.
bool isJSONWritable(const bdx::Value& value) {
    switch (value.type()) {
        case bdx::Value::value_t::object:
        case bdx::Value::value_t::array:
            for (const auto& element : value) {
                if (!isJSONWritable(element)) {
                    return false;
                }
            }
            return true;
        case bdx::Value::value_t::number_float:
            return std::isfinite(value.get<double>());
        case bdx::Value::value_t::binary:
        case bdx::Value::value_t::discarded:
            return false;
        default:
            return true;
    }
}

bool isValidJSONObject(const bdx::Value& value) {
    return (value.is_object() || value.is_array()) && isJSONWritable(value);
}

}  // namespace

BDXStateEventLog::BDXStateEventLog() = default;

BDXStateEventLog::BDXStateEventLog(std::string name, double timeEpoch, const bdx::Value& params)
    : name_(std::move(name)),
      timeEpoch_(timeEpoch),
      params_(params.is_null() ? nullptr : std::make_shared<const bdx::Value>(params)) {}

bdx::Value BDXStateEventLog::params() const {
    return params_ ? *params_ : bdx::Value::object();
}

bdx::Value BDXStateEventLog::toDictionary() const {
    bdx::Value dictionary{{"event", name_}, {"timestamp", timeEpoch_}};
    const bdx::Value parameters = params();
    if (isValidJSONObject(parameters)) {
        dictionary["params"] = parameters;
    } else {
        BDXSDKLogError("Paramters of user event: (%@) is not JSON serializable", name_);
    }
    return dictionary;
}

bdx::Value BDXStateEventLog::dictionaryValue() const {
    BDXNullableMutableDictionary dictionary;
    dictionary.setObject(name_, coderNameForSelector("name"));
    dictionary.setObject(timeEpoch_, coderNameForSelector("timeEpoch"));
    dictionary.setObject(params_ ? *params_ : bdx::Value(), coderNameForSelector("params"));
    return dictionary.getDictionary();
}

BDXStateEventLog BDXStateEventLog::initWithDictionary(const bdx::Value& dictionary) {
    BDXStateEventLog log;
    if (!dictionary.is_object()) {
        return log;
    }
    log.name_ = dictionary.value(coderNameForSelector("name"), std::string());
    log.timeEpoch_ = dictionary.value(coderNameForSelector("timeEpoch"), 0.0);
    if (auto params = dictionary.find(coderNameForSelector("params")); params != dictionary.end()) {
        log.params_ = params->is_null() ? nullptr : std::make_shared<const bdx::Value>(*params);
    }
    return log;
}
