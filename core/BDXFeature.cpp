#include "core/BDXFeature.h"

BDXFeature::BDXFeature(bool defaultValue) : defaultValue_(defaultValue) {}

std::shared_ptr<BDXFeature> BDXFeature::featureWithDefaultValue(bool defaultValue) {
    return std::make_shared<BDXFeature>(defaultValue);
}

std::shared_ptr<BDXFeature> BDXFeature::initWithDefaultValue(bool defaultValue) {
    return std::make_shared<BDXFeature>(defaultValue);
}

bool BDXFeature::enabled() const {
    // Without an answer from the service the default counts as its answer.
    const bool base = serverPermissionSet_ ? serverPermission_.load() : defaultValue_.load();
    if (!base) {
        return false;
    }
    return userPreferenceSet_ ? userPreference_.load() : true;
}

void BDXFeature::setServerPermission(bool value) {
    serverPermission_ = value;
    serverPermissionSet_ = true;
}

void BDXFeature::setUserPreference(bool value) {
    userPreference_ = value;
    userPreferenceSet_ = true;
}
