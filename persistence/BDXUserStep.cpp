#include "persistence/BDXUserStep.h"

using bdx::store::FetchRequest;
using bdx::store::Predicate;

std::string BDXUserStep::entityName() {
    return "UserStep";
}

FetchRequest BDXUserStep::fetchRequest() {
    return FetchRequest(entityName());
}

FetchRequest BDXUserStep::userStepslogFetchRequestWithID(const std::string& identifier) {
    FetchRequest request = fetchRequest();
    request.predicate = Predicate::equal("identifier", identifier);
    return request;
}

FetchRequest BDXUserStep::userStepslogFetchRequestWithReportId(const std::string& reportId) {
    FetchRequest request = fetchRequest();
    request.predicate = Predicate::equal("reportId", reportId);
    return request;
}
