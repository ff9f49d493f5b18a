#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Date.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObject.h"

class BDXAnalyticsParam;

// One counted call of the library's API (entity "Analytic") with its parameters.
class BDXAnalytics : public bdx::store::ManagedObject {
  public:
    static std::string entityName();
    static bdx::store::FetchRequest fetchRequest();
    static bdx::store::FetchRequest fetchRequestWithMethodName(const std::string& methodName);
    // The calls up to and including `date`.
    static bdx::store::FetchRequest fetchRequestTillDate(const bdx::Date& date);

    std::int32_t count() const { return static_cast<std::int32_t>(integerForKey("count").value_or(0)); }
    void setCount(std::int32_t count) { setInteger("count", count); }
    std::optional<std::string> eventLog() const { return stringForKey("eventLog"); }
    void setEventLog(std::optional<std::string> v) { setString("eventLog", std::move(v)); }
    bool isDeprecated() const { return boolForKey("isDeprecated").value_or(false); }
    void setIsDeprecated(bool v) { setBool("isDeprecated", v); }
    std::optional<std::string> methodLog() const { return stringForKey("methodLog"); }
    void setMethodLog(std::optional<std::string> v) { setString("methodLog", std::move(v)); }
    std::optional<bdx::Date> timeStamp() const { return dateForKey("timeStamp"); }
    void setTimeStamp(std::optional<bdx::Date> v) { setDate("timeStamp", v); }

    // The parameters, as this object's context sees them (in no particular order).
    std::vector<std::shared_ptr<BDXAnalyticsParam>> param() const;
    void addParamObject(const std::shared_ptr<BDXAnalyticsParam>& param);
};
