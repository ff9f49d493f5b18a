#pragma once

#include <memory>

class BDXFeature;

// The feature flags the service turns on and off, reached through `features` of BDXDefaults.
class BDXFeatures {
  public:
    BDXFeatures();

    bool multipleAttachments() const;
    void setMultipleAttachments(bool enabled);
    bool disclaimer() const;
    void setDisclaimer(bool enabled);
    bool BDXLog() const;
    void setBDXLog(bool enabled);
    bool crashReporting() const;
    void setCrashReporting(bool enabled);

    void checkFeatures();
    void clearPreviousData();
    void adjustSDKDisableState();

  private:
    std::shared_ptr<BDXFeature> multipleAttachmentsFeature_;
    std::shared_ptr<BDXFeature> disclaimerFeature_;
    std::shared_ptr<BDXFeature> BDXLogFeature_;
    std::shared_ptr<BDXFeature> crashReportingFeature_;
};
