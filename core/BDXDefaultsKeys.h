#pragma once

// The keys under which the library keeps what must outlive the process in the standard user defaults.
// Every name holds "BDX": clearing the library's cache removes every key that does.
inline constexpr const char* kBDXDefaultsKeyAppToken = "BDXAppToken";
inline constexpr const char* kBDXDefaultsKeyDeviceUUID = "BDXDeviceUUID";
inline constexpr const char* kBDXDefaultsKeyEmail = "BDXEmail";
inline constexpr const char* kBDXDefaultsKeyIdentifiedEmail = "BDXIdentifiedEmail";
inline constexpr const char* kBDXDefaultsKeyName = "BDXName";
inline constexpr const char* kBDXDefaultsKeyIdentifiedName = "BDXIdentifiedName";
inline constexpr const char* kBDXDefaultsKeyIssueTags = "BDXIssueTags";
inline constexpr const char* kBDXDefaultsKeySignupDate = "BDXSignupDate";
inline constexpr const char* kBDXDefaultsKeySessionCount = "BDXSessionCount";
inline constexpr const char* kBDXDefaultsKeySessionNumber = "BDXSessionNumber";
inline constexpr const char* kBDXDefaultsKeyFileSaved = "BDXFileSaved";
inline constexpr const char* kBDXDefaultsKeyDeviceRegistered = "BDXDeviceRegistered";
inline constexpr const char* kBDXDefaultsKeyLastContactedAt = "BDXUserDefaultKeyLastContactedAt";
inline constexpr const char* kBDXDefaultsKeyLastRetrievedAPNSToken =
    "BDXUserDefaultKeyLastRetrievedAPNSToken";
inline constexpr const char* kBDXDefaultsKeyLastRegisteredPNToken = "BDXUserDefaultKeyLastRegisteredPNToken";
inline constexpr const char* kBDXDefaultsKeyUnreadMessageCount = "BDXUnreadMessageCount";
inline constexpr const char* kBDXDefaultsKeyDeviceTokenRequested = "BDXUserDefaultKeyDeviceTokenRequested";
inline constexpr const char* kBDXDefaultsKeyBrindlexSDKVersion = "BDXUserDefaultKeyBrindlexSDKVersion";
inline constexpr const char* kBDXDefaultsKeyLastAnalyticsRequestSent =
    "BDXUserDefaultKeyLastAnalyticsRequestSent";
inline constexpr const char* kBDXDefaultsKeyFeaturesLastCheck = "BDXFeaturesLastCheck";
inline constexpr const char* kBDXDefaultsKeyFeaturesLatestFeaturesResponse =
    "BDXFeaturesLatestFeaturesResponse";
// Followed by the feature's name, one key per feature.
inline constexpr const char* kBDXDefaultsKeyFeaturesPrefix = "BDXFeatures/";
// Whether the service last said that the application's account is inactive.
inline constexpr const char* kBDXDefaultsKeySDKDisabled = "BDXSDKDisabled";
inline constexpr const char* kBDXDefaultsKeyMigrationManagerVersion = "BDXMigrationManagerVersion";
inline constexpr const char* kBDXDefaultsKeyLastMigrationManagerVersion = "BDXLastMigrationManagerVersion";
