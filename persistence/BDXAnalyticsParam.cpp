#include "persistence/BDXAnalyticsParam.h"

#include "persistence/BDXAnalytics.h"

using bdx::store::FetchRequest;

std::string BDXAnalyticsParam::entityName() {
    return "AnalyticsParam";
}

FetchRequest BDXAnalyticsParam::fetchRequest() {
    return FetchRequest(entityName());
}

std::shared_ptr<BDXAnalytics> BDXAnalyticsParam::analytic() const {
    return std::dynamic_pointer_cast<BDXAnalytics>(objectForKey("analytic"));
}

void BDXAnalyticsParam::setAnalytic(const std::shared_ptr<BDXAnalytics>& analytic) {
    setObject("analytic", analytic);
}
