#pragma once

#include <optional>
#include <string>

#include "foundation/Value.h"
#include "persistence/BDXSessionLogEntity.h"

// One console or library log line of the object store (entity "BrindlexLog"). Its session, date and
// requests come from BDXSessionLogEntity.
class BDXLog : public BDXSessionLogEntity<BDXLog> {
  public:
    static std::string entityName();

    std::optional<std::string> level() const { return stringForKey("level"); }
    void setLevel(std::optional<std::string> level) { setString("level", std::move(level)); }
    std::optional<std::string> message() const { return stringForKey("message"); }
    void setMessage(std::optional<std::string> message) { setString("message", std::move(message)); }

    // {"log_message_date" (log time of the date), "log_message", "log_message_level"}.
    bdx::Value toDictionary() const;
    std::string description() const;
};
