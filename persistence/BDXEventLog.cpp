#include "persistence/BDXEventLog.h"

#include "Logging/BDXSurveyEventLog.h"
#include "core/BDXObjectDescription.h"

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

BDXSurveyEventLog BDXEventLog::toSurveyEventLog() const {
    return BDXSurveyEventLog(name().value_or(""), count());
}

std::string BDXEventLog::description() const {
    return bdx_description("BDXEventLog",
                           {{"name", name().value_or("(null)")}, {"count", std::to_string(count())}});
}
