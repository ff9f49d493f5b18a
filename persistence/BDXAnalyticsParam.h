#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObject.h"

class BDXAnalytics;

// One parameter of an analytics call (entity "AnalyticsParam"), owned by its `analytic`.
class BDXAnalyticsParam : public bdx::store::ManagedObject {
  public:
    using ManagedObject::setValue;

    static std::string entityName();
    static bdx::store::FetchRequest fetchRequest();

    std::optional<std::string> name() const { return stringForKey("name"); }
    void setName(std::optional<std::string> name) { setString("name", std::move(name)); }
    std::optional<std::string> type() const { return stringForKey("type"); }
    void setType(std::optional<std::string> type) { setString("type", std::move(type)); }
    std::optional<std::string> value() const { return stringForKey("value"); }
    void setValue(std::optional<std::string> value) { setString("value", std::move(value)); }
    // The call this parameter belongs to; setting it adds the parameter to that call's `param`.
    std::shared_ptr<BDXAnalytics> analytic() const;
    void setAnalytic(const std::shared_ptr<BDXAnalytics>& analytic);
};
