#include "core/BDXFeatures.h"

#include "core/BDXFeature.h"

BDXFeatures::BDXFeatures()
    : multipleAttachmentsFeature_(BDXFeature::featureWithDefaultValue(true)),
      disclaimerFeature_(BDXFeature::featureWithDefaultValue(true)),
      BDXLogFeature_(BDXFeature::featureWithDefaultValue(true)),
      crashReportingFeature_(BDXFeature::featureWithDefaultValue(true)) {}

bool BDXFeatures::multipleAttachments() const {
    return multipleAttachmentsFeature_->enabled();
}

void BDXFeatures::setMultipleAttachments(bool enabled) {
    multipleAttachmentsFeature_->setUserPreference(enabled);
}

bool BDXFeatures::disclaimer() const {
    return disclaimerFeature_->enabled();
}

void BDXFeatures::setDisclaimer(bool enabled) {
    disclaimerFeature_->setUserPreference(enabled);
}

bool BDXFeatures::BDXLog() const {
    return BDXLogFeature_->enabled();
}

void BDXFeatures::setBDXLog(bool enabled) {
    BDXLogFeature_->setUserPreference(enabled);
}

bool BDXFeatures::crashReporting() const {
    return crashReportingFeature_->enabled();
}

void BDXFeatures::setCrashReporting(bool enabled) {
    crashReportingFeature_->setUserPreference(enabled);
}

void BDXFeatures::checkFeatures() {}

void BDXFeatures::clearPreviousData() {}

void BDXFeatures::adjustSDKDisableState() {}
