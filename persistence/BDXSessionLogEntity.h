#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "foundation/Date.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObject.h"

// What console lines and network transactions share: each belongs to a session by its "sessionId" and
// is dated by "date", and both are read as "the newest of this session" and purged as "every other
// session". `Entity` gives its entityName.
template <class Entity>
class BDXSessionLogEntity : public bdx::store::ManagedObject {
  public:
    using ManagedObject::setDate;

    // Every row.
    static bdx::store::FetchRequest fetchRequest() { return bdx::store::FetchRequest(Entity::entityName()); }
    // The rows of every other session.
    static bdx::store::FetchRequest fetchRequestWithSessionIdNotEqual(const std::string& sessionId) {
        auto request = fetchRequest();
        request.predicate = bdx::store::Predicate::notEqual("sessionId", sessionId);
        return request;
    }
    // The newest `maxCount` rows of one session, newest first.
    static bdx::store::FetchRequest logsFetchRequestWithMaxCount(std::size_t maxCount,
                                                                 const std::string& sessionId) {
        auto request = fetchRequest();
        request.predicate = bdx::store::Predicate::equal("sessionId", sessionId);
        request.sortDescriptors = {{"date", false}};
        request.fetchLimit = maxCount;
        return request;
    }

    std::optional<bdx::Date> date() const { return dateForKey("date"); }
    void setDate(std::optional<bdx::Date> date) { setDate("date", date); }
    std::optional<std::string> sessionId() const { return stringForKey("sessionId"); }
    void setSessionId(std::optional<std::string> sessionId) { setString("sessionId", std::move(sessionId)); }
};
