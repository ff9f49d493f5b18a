#pragma once

#include <string>

#include "foundation/Value.h"

// The moment of a report as the service receives it. So far it holds what the device and the host say of
// themselves (the strings the snapshot manager captured at start) and the identifier in use; the captured
// state of the screen, the device and the logs comes with the capture subsystems.
class BDXSnapshot {
  public:
    std::string sdkVersion;
    std::string iOS;
    std::string model;
    std::string appVersion;
    std::string bundleIdentifier;
    std::string minOS;
    std::string maxOS;
    std::string uiDeviceFamily;
    std::string locale;
    std::string screenSize;
    std::string screenScale;
    // The identifier in use at the moment of the snapshot.
    std::string uuid;

    // {"application_token": the token}: all the daily feature check sends.
    static bdx::Value getFeaturesParams();
    // What a session report says of its device and host, in this order: "sdk_version",
    // "application_token", "uuid", "os", "device", "bundle_id", "app_version".
    bdx::Value getSessionParams() const;
};
