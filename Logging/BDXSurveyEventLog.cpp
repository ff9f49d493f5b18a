#include "Logging/BDXSurveyEventLog.h"

#include <nlohmann/json.hpp>

namespace {

std::string coderNameForSelector(const char* selector) {
    return std::string("BDXSurveyEventLog") + selector;
}

}  // namespace

int BDXSurveyEventLog::compare(const BDXSurveyEventLog& other) const {
    if (name_ != other.name_ || count_ == other.count_) {
        return 0;
    }
    return count_ < other.count_ ? -1 : 1;
}

bdx::Value BDXSurveyEventLog::dictionaryValue() const {
    return bdx::Value{{coderNameForSelector("name"), name_}, {coderNameForSelector("count"), count_}};
}

BDXSurveyEventLog BDXSurveyEventLog::initWithDictionary(const bdx::Value& dictionary) {
    if (!dictionary.is_object()) {
        return {};
    }
    return BDXSurveyEventLog(dictionary.value(coderNameForSelector("name"), std::string()),
                             dictionary.value(coderNameForSelector("count"), std::int64_t{0}));
}
