#pragma once

#include <memory>
#include <optional>
#include <string>

#include "foundation/Value.h"

namespace bdx {
class DispatchQueue;
}  // namespace bdx

// Posted on the main queue after each setUserAttribute.
inline constexpr const char* BDXUserAttributesUpdatedNotification = "BDXUserAttributesUpdatedNotification";

// The attributes the host gives its user, kept in a file of the disk store so that they outlive the
// process. All work runs on one serial queue, "com.bdx.userAttributesLogsQueue": writes return at once,
// reads wait for the writes queued before them.
class BDXUserAttributesLogger {
  public:
    // Starts reading the persisted attributes on the queue; empty when there are none.
    BDXUserAttributesLogger();

    static std::shared_ptr<BDXUserAttributesLogger> sharedInstance();
    static void destroy();

    void setUserAttribute(const std::string& value, const std::string& withKey);
    std::optional<std::string> userAttributeForKey(const std::string& key) const;
    // Removes the key and persists; posts nothing.
    void removeUserAttributeForKey(const std::string& key);
    // A JSON dictionary of text values.
    bdx::Value getUserAttributes() const;
    // The dictionary as compact JSON text, as a report carries it.
    std::optional<std::string> getUserAttributesString() const;
    void clearUserAttributes();
    // Persists the dictionary as it stands after the work already queued.
    void syncUserAttributes();

  private:
    static const std::shared_ptr<bdx::DispatchQueue>& queue();

    // Touched only on the queue. Blocks hold the dictionary, not the logger, so that what was queued
    // before a destroy still lands.
    std::shared_ptr<bdx::Value> userAttributes_;
};
