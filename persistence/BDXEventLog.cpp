#include "persistence/BDXEventLog.h"

using bdx::store::FetchRequest;
using bdx::store::Predicate;

std::string BDXEventLog::entityName() {
    return "EventLog";
}

FetchRequest BDXEventLog::fetchRequest() {
    return FetchRequest(entityName());
}

FetchRequest BDXEventLog::eventlogFetchRequestWithName(const std::string& name) {
    FetchRequest request = fetchRequest();
    request.predicate = Predicate::equal("name", name);
    return request;
}

FetchRequest BDXEventLog::eventlogsFetchRequestWithMaxCount(std::size_t maxCount) {
    FetchRequest request = fetchRequest();
    request.fetchLimit = maxCount;
    return request;
}

FetchRequest BDXEventLog::eventlogsFetchRequest() {
    return fetchRequest();
}
