#pragma once

#include <memory>
#include <string>

#include "foundation/Value.h"

// One event the host reported in this run: its name, when (log time, whole milliseconds since 1970) and
// the parameters it came with.
class BDXStateEventLog {
  public:
    BDXStateEventLog();
    // Null params stand for none.
    BDXStateEventLog(std::string name, double timeEpoch, const bdx::Value& params);

    const std::string& name() const { return name_; }
    double timeEpoch() const { return timeEpoch_; }
    // An empty dictionary when none was given.
    bdx::Value params() const;

    // {"event", "timestamp", "params"}; "params" is left out, with an error line, when the parameters
    // cannot be written as JSON.
    bdx::Value toDictionary() const;

    // The archived form, keyed by class name and field.
    bdx::Value dictionaryValue() const;
    static BDXStateEventLog initWithDictionary(const bdx::Value& dictionary);

  private:
    std::string name_;
    double timeEpoch_ = 0;
    // Shared: the value never changes once made. Null for none.
    std::shared_ptr<const bdx::Value> params_;
};
