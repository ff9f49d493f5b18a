#pragma once

#include <cstdint>
#include <string>

#include "foundation/Value.h"

// How many times the host reported an event of one name, for all time.
class BDXSurveyEventLog {
  public:
    BDXSurveyEventLog() = default;
    BDXSurveyEventLog(std::string name, std::int64_t count) : name_(std::move(name)), count_(count) {}

    const std::string& name() const { return name_; }
    std::int64_t count() const { return count_; }

    // Two logs of the same name are the same event, whatever their counts.
    bool isEqual(const BDXSurveyEventLog& other) const { return name_ == other.name_; }
    // -1, 0 or 1 by count for logs of the same name; 0 for different names.
    int compare(const BDXSurveyEventLog& other) const;

    // The archived form, keyed by class name and field.
    bdx::Value dictionaryValue() const;
    static BDXSurveyEventLog initWithDictionary(const bdx::Value& dictionary);

  private:
    std::string name_;
    std::int64_t count_ = 0;
};
