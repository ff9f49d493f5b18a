#pragma once

#include <string>

#include "foundation/Value.h"

// One line of a console ring: the text and the moment it was added, in log time (whole milliseconds since
// 1970). A plain immutable value.
class BDXConsoleLog {
  public:
    BDXConsoleLog(std::string message, double timeEpoch);

    const std::string& message() const { return message_; }
    double timeEpoch() const { return timeEpoch_; }

    // {"message", "timestamp"}.
    bdx::Value toDictionary() const;
    std::string description() const;

  private:
    std::string message_;
    double timeEpoch_;
};
