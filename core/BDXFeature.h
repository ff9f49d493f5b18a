#pragma once

#include <memory>

// One feature flag and its three sources: the built-in default, the service's permission and the host
// developer's preference. The service has the last word on turning a flag off; the developer can only
// turn off what the service allows.
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
    bool defaultValue_;
    bool serverPermission_ = false;
    bool serverPermissionSet_ = false;
    bool userPreference_ = false;
    bool userPreferenceSet_ = false;
};
