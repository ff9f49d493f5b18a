#include "persistence/BDXAnalytics.h"

#include "persistence/BDXAnalyticsParam.h"

using bdx::store::FetchRequest;
using bdx::store::Predicate;

std::string BDXAnalytics::entityName() {
    return "Analytic";
}

FetchRequest BDXAnalytics::fetchRequest() {
    return FetchRequest(entityName());
}

FetchRequest BDXAnalytics::fetchRequestWithMethodName(const std::string& methodName) {
    FetchRequest request = fetchRequest();
    request.predicate = Predicate::equal("methodLog", methodName);
    return request;
}

FetchRequest BDXAnalytics::fetchRequestTillDate(const bdx::Date& date) {
    FetchRequest request = fetchRequest();
    request.predicate = Predicate::lessOrEqual("timeStamp", bdx::store::dateValue(date));
    return request;
}

std::vector<std::shared_ptr<BDXAnalyticsParam>> BDXAnalytics::param() const {
    std::vector<std::shared_ptr<BDXAnalyticsParam>> params;
    for (const auto& object : objectsForKey("param"))
        if (auto param = std::dynamic_pointer_cast<BDXAnalyticsParam>(object))
            params.push_back(std::move(param));
    return params;
}

void BDXAnalytics::addParamObject(const std::shared_ptr<BDXAnalyticsParam>& param) {
    addObject("param", param);
}
