#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "foundation/Date.h"
#include "foundation/Value.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObject.h"

// One console or library log line of the object store (entity "BrindlexLog").
class BDXLog : public bdx::store::ManagedObject {
  public:
    using ManagedObject::setDate;

    static std::string entityName();
    // Every row.
    static bdx::store::FetchRequest fetchRequest();
    // The rows of every other session.
    static bdx::store::FetchRequest fetchRequestWithSessionIdNotEqual(const std::string& sessionId);
    // The newest `maxCount` rows of one session, newest first.
    static bdx::store::FetchRequest logsFetchRequestWithMaxCount(std::size_t maxCount,
                                                                 const std::string& sessionId);

    std::optional<bdx::Date> date() const { return dateForKey("date"); }
    void setDate(std::optional<bdx::Date> date) { setDate("date", date); }
    std::optional<std::string> level() const { return stringForKey("level"); }
    void setLevel(std::optional<std::string> level) { setString("level", std::move(level)); }
    std::optional<std::string> message() const { return stringForKey("message"); }
    void setMessage(std::optional<std::string> message) { setString("message", std::move(message)); }
    std::optional<std::string> sessionId() const { return stringForKey("sessionId"); }
    void setSessionId(std::optional<std::string> sessionId) { setString("sessionId", std::move(sessionId)); }

    // {"log_message_date" (log time of the date), "log_message", "log_message_level"}.
    bdx::Value toDictionary() const;
    std::string description() const;
};
