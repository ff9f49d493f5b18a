#pragma once

#include <cstddef>
#include <string>

#include "platform/store/FetchRequest.h"

// The two requests that console and network logs share: both entities keep a "sessionId" and a "date".
namespace bdx_session_log_requests {

inline bdx::store::FetchRequest otherSessions(const std::string& entityName, const std::string& sessionId) {
    bdx::store::FetchRequest request(entityName);
    request.predicate = bdx::store::Predicate::notEqual("sessionId", sessionId);
    return request;
}

inline bdx::store::FetchRequest newestOfSession(const std::string& entityName, std::size_t maxCount,
                                                const std::string& sessionId) {
    bdx::store::FetchRequest request(entityName);
    request.predicate = bdx::store::Predicate::equal("sessionId", sessionId);
    request.sortDescriptors = {{"date", false}};
    request.fetchLimit = maxCount;
    return request;
}

}  // namespace bdx_session_log_requests
