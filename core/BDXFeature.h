#pragma once

#include <atomic>
#include <memory>

// One feature flag and its three sources: the built-in default, the service's permission and the host
// developer's preference. The service has the last word on turning a flag off; the developer can only
// turn off what the service allows. The fields are single words read by any thread (a logger asks its flag
// while the answer of the service is being applied on the main queue), so each is atomic.
class BDXFeature {
  public:
    explicit BDXFeature(bool defaultValue);
    static std::shared_ptr<BDXFeature> featureWithDefaultValue(bool defaultValue);
    static std::shared_ptr<BDXFeature> initWithDefaultValue(bool defaultValue);

    bool enabled() const;

    bool defaultValue() const { return defaultValue_; }
    void setDefaultValue(bool value) { defaultValue_ = value; }
    bool serverPermission() const { return serverPermission_; }
    void setServerPermission(bool value);
    bool serverPermissionSet() const { return serverPermissionSet_; }
    bool userPreference() const { return userPreference_; }
    void setUserPreference(bool value);
    bool userPreferenceSet() const { return userPreferenceSet_; }

  private:
    std::atomic<bool> defaultValue_;
    std::atomic<bool> serverPermission_{false};
    std::atomic<bool> serverPermissionSet_{false};
    std::atomic<bool> userPreference_{false};
    std::atomic<bool> userPreferenceSet_{false};
};
