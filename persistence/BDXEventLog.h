#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/store/FetchRequest.h"
#include "platform/store/ManagedObject.h"

class BDXSurveyEventLog;

// A counted event of the object store (entity "EventLog"), one row per name.
class BDXEventLog : public bdx::store::ManagedObject {
  public:
    static std::string entityName();
    static bdx::store::FetchRequest fetchRequest();
    static bdx::store::FetchRequest eventlogFetchRequestWithName(const std::string& name);
    static bdx::store::FetchRequest eventlogsFetchRequestWithMaxCount(std::size_t maxCount);
    static bdx::store::FetchRequest eventlogsFetchRequest();

    std::optional<std::string> name() const { return stringForKey("name"); }
    void setName(std::optional<std::string> name) { setString("name", std::move(name)); }
    std::int32_t count() const { return static_cast<std::int32_t>(integerForKey("count").value_or(0)); }
    void setCount(std::int32_t count) { setInteger("count", count); }

    // The name and count as a plain value.
    BDXSurveyEventLog toSurveyEventLog() const;
    std::string description() const;
};
