#include "core/BDXFeatures.h"

#include <array>
#include <cctype>
#include <nlohmann/json.hpp>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXDateOperations.h"
#include "core/BDXDefaults.h"
#include "core/BDXDefaultsKeys.h"
#include "core/BDXFeature.h"
#include "foundation/BoolValue.h"
#include "foundation/Date.h"
#include "foundation/DispatchQueue.h"
#include "foundation/UserDefaults.h"
#include "reports/BDXSnapshot.h"
#include "transport/BDXFeaturesRequest.h"
#include "transport/BDXServerManager.h"

namespace {

struct FlagDescription {
    const char* name;
    const char* JSONKey;
    bool defaultValue;
};

// In the order in which an answer of the service is applied. userEvents and userLoggerInC follow the
// one key "user_events".
constexpr std::array<FlagDescription, 16> kFlags = {{
    {"whiteLabel", "white_label", false},
    {"pushNotifications", "push_notifications", false},
    {"userSteps", "user_steps", true},
    {"visualUserSteps", "repro_steps", true},
    {"userData", "user_data", true},
    {"BDXLog", "bdx_log", true},
    {"consoleLog", "console_log", true},
    {"multipleAttachments", "multiple_attachments", true},
    {"networkLogging", "network_log", true},
    {"userEvents", "user_events", true},
    {"userLoggerInC", "user_events", true},
    {"inAppMessaging", "in_app_messaging", true},
    {"sessionProfiler", "sessions_profiler", true},
    {"featureRequests", "feature_requests", true},
    {"disclaimer", "disclaimer_text", true},
    {"crashReporting", "crash_reporting_enabled", true},
}};

enum FlagIndex : std::size_t {
    kWhiteLabel,
    kPushNotifications,
    kUserSteps,
    kVisualUserSteps,
    kUserData,
    kBDXLog,
    kConsoleLog,
    kMultipleAttachments,
    kNetworkLogging,
    kUserEvents,
    kUserLoggerInC,
    kInAppMessaging,
    kSessionProfiler,
    kFeatureRequests,
    kDisclaimer,
    kCrashReporting,
};

std::shared_ptr<bdx::UserDefaults> store() {
    return bdx::UserDefaults::standardUserDefaults();
}

// The value under `key` of an answer; null when the answer has none.
const bdx::Value& valueIn(const bdx::Value& response, const std::string& key) {
    static const bdx::Value none;
    if (!response.is_object()) {
        return none;
    }
    const auto found = response.find(key);
    return found == response.end() ? none : *found;
}

// Where the presentation manager takes the account's switch once it exists. Until then the library puts
// nothing on screen of its own, so there is nothing to take away.
void shouldDisablePresentationManager(bool /*disable*/) {}

}  // namespace

BDXFeatures::BDXFeatures()
    : features_queue_(
          bdx::DispatchQueue::create("BDXFeatures.features_queue", bdx::DispatchQueue::Attribute::Serial)) {
    features_.reserve(kFlags.size());
    for (const auto& flag : kFlags) {
        features_.push_back(BDXFeature::featureWithDefaultValue(flag.defaultValue));
    }
    setFeaturesValues();
}

BDXFeatures::~BDXFeatures() = default;

bool BDXFeatures::enabledAt(std::size_t index) const {
    return features_[index]->enabled();
}

bool BDXFeatures::whiteLabel() const {
    return enabledAt(kWhiteLabel);
}
void BDXFeatures::setWhiteLabel(bool enabled) {
    userSetFeature("setWhiteLabel:", enabled);
}
bool BDXFeatures::pushNotifications() const {
    return enabledAt(kPushNotifications);
}
void BDXFeatures::setPushNotifications(bool enabled) {
    userSetFeature("setPushNotifications:", enabled);
}
bool BDXFeatures::userSteps() const {
    return enabledAt(kUserSteps);
}
void BDXFeatures::setUserSteps(bool enabled) {
    userSetFeature("setUserSteps:", enabled);
}
bool BDXFeatures::visualUserSteps() const {
    return enabledAt(kVisualUserSteps);
}
void BDXFeatures::setVisualUserSteps(bool enabled) {
    userSetFeature("setVisualUserSteps:", enabled);
}
bool BDXFeatures::userData() const {
    return enabledAt(kUserData);
}
void BDXFeatures::setUserData(bool enabled) {
    userSetFeature("setUserData:", enabled);
}
bool BDXFeatures::BDXLog() const {
    return enabledAt(kBDXLog);
}
void BDXFeatures::setBDXLog(bool enabled) {
    userSetFeature("setBDXLog:", enabled);
}
bool BDXFeatures::consoleLog() const {
    return enabledAt(kConsoleLog);
}
void BDXFeatures::setConsoleLog(bool enabled) {
    userSetFeature("setConsoleLog:", enabled);
}
bool BDXFeatures::multipleAttachments() const {
    return enabledAt(kMultipleAttachments);
}
void BDXFeatures::setMultipleAttachments(bool enabled) {
    userSetFeature("setMultipleAttachments:", enabled);
}
bool BDXFeatures::networkLogging() const {
    return enabledAt(kNetworkLogging);
}
void BDXFeatures::setNetworkLogging(bool enabled) {
    userSetFeature("setNetworkLogging:", enabled);
}
bool BDXFeatures::userEvents() const {
    return enabledAt(kUserEvents);
}
void BDXFeatures::setUserEvents(bool enabled) {
    userEvents_ = enabled;
}
bool BDXFeatures::userLoggerInC() const {
    return enabledAt(kUserLoggerInC);
}
void BDXFeatures::setUserLoggerInC(bool enabled) {
    userSetFeature("setUserLoggerInC:", enabled);
}
bool BDXFeatures::inAppMessaging() const {
    return enabledAt(kInAppMessaging);
}
void BDXFeatures::setInAppMessaging(bool enabled) {
    userSetFeature("setInAppMessaging:", enabled);
}
bool BDXFeatures::sessionProfiler() const {
    return enabledAt(kSessionProfiler);
}
void BDXFeatures::setSessionProfiler(bool enabled) {
    userSetFeature("setSessionProfiler:", enabled);
}
bool BDXFeatures::featureRequests() const {
    return enabledAt(kFeatureRequests);
}
void BDXFeatures::setFeatureRequests(bool enabled) {
    featureRequests_ = enabled;
}
bool BDXFeatures::disclaimer() const {
    return enabledAt(kDisclaimer);
}
void BDXFeatures::setDisclaimer(bool enabled) {
    userSetFeature("setDisclaimer:", enabled);
}
bool BDXFeatures::crashReporting() const {
    return enabledAt(kCrashReporting);
}
void BDXFeatures::setCrashReporting(bool enabled) {
    userSetFeature("setCrashReporting:", enabled);
}

std::shared_ptr<BDXFeature> BDXFeatures::whiteLabelFeature() const {
    return features_[kWhiteLabel];
}
std::shared_ptr<BDXFeature> BDXFeatures::pushNotificationsFeature() const {
    return features_[kPushNotifications];
}
std::shared_ptr<BDXFeature> BDXFeatures::userStepsFeature() const {
    return features_[kUserSteps];
}
std::shared_ptr<BDXFeature> BDXFeatures::visualUserStepsFeature() const {
    return features_[kVisualUserSteps];
}
std::shared_ptr<BDXFeature> BDXFeatures::userDataFeature() const {
    return features_[kUserData];
}
std::shared_ptr<BDXFeature> BDXFeatures::BDXLogFeature() const {
    return features_[kBDXLog];
}
std::shared_ptr<BDXFeature> BDXFeatures::consoleLogFeature() const {
    return features_[kConsoleLog];
}
std::shared_ptr<BDXFeature> BDXFeatures::multipleAttachmentsFeature() const {
    return features_[kMultipleAttachments];
}
std::shared_ptr<BDXFeature> BDXFeatures::networkLoggingFeature() const {
    return features_[kNetworkLogging];
}
std::shared_ptr<BDXFeature> BDXFeatures::userEventsFeature() const {
    return features_[kUserEvents];
}
std::shared_ptr<BDXFeature> BDXFeatures::userLoggerInCFeature() const {
    return features_[kUserLoggerInC];
}
std::shared_ptr<BDXFeature> BDXFeatures::inAppMessagingFeature() const {
    return features_[kInAppMessaging];
}
std::shared_ptr<BDXFeature> BDXFeatures::sessionProfilerFeature() const {
    return features_[kSessionProfiler];
}
std::shared_ptr<BDXFeature> BDXFeatures::featureRequestsFeature() const {
    return features_[kFeatureRequests];
}
std::shared_ptr<BDXFeature> BDXFeatures::disclaimerFeature() const {
    return features_[kDisclaimer];
}
std::shared_ptr<BDXFeature> BDXFeatures::crashReportingFeature() const {
    return features_[kCrashReporting];
}

bool BDXFeatures::visualUserStepsWithScreenshots() const {
    return visualUserStepsWithScreenshots_ && visualUserSteps();
}

void BDXFeatures::setVisualUserStepsWithScreenshots(bool enabled) {
    visualUserStepsWithScreenshots_ = enabled;
}

void BDXFeatures::setUserStepsOption(std::int64_t mode) {
    switch (mode) {
        case kUserStepsEnable:
            setVisualUserSteps(true);
            setVisualUserStepsWithScreenshots(true);
            break;
        case kUserStepsNonVisual:
            setVisualUserSteps(true);
            setVisualUserStepsWithScreenshots(false);
            break;
        case kUserStepsDisable:
            setVisualUserSteps(false);
            break;
        default:
            break;
    }
}

void BDXFeatures::checkFeatures() {
    // On the main queue, so that the two tests and the marking of a check on its way never interleave.
    bdx::DispatchQueue::main()->async([weakSelf = weak_from_this()] {
        auto self = weakSelf.lock();
        if (!self || self->featuresRequestInProgress_) {
            return;
        }
        const auto lastCheck = store()->dateForKey(kBDXDefaultsKeyFeaturesLastCheck);
        if (lastCheck && bdx_daysCountToNow(*lastCheck) < 1) {
            return;
        }
        self->updateFeatures();
    });
}

void BDXFeatures::updateFeatures() {
    auto request = std::make_shared<BDXFeaturesRequest>(BDXSnapshot::getFeaturesParams(), weak_from_this());
    BDXServerManager::getInstance()->pushRequest(request);
    featuresRequestInProgress_ = true;
}

void BDXFeatures::clearPreviousData() {
    auto defaults = store();
    defaults->removeObjectForKey(kBDXDefaultsKeyFeaturesLastCheck);
    defaults->removeObjectForKey(kBDXDefaultsKeyFeaturesLatestFeaturesResponse);
    BDXDefaults::synchronizeUserDefaults();
    std::lock_guard<std::mutex> guard(responseMutex_);
    recentFeatureResponse_.reset();
}

void BDXFeatures::featuresRequestDone(const std::shared_ptr<BDXFeaturesRequest>& request, bool isSuccess,
                                      const bdx::Value& response, const std::optional<BDXRequestErrorInfo>&) {
    BDXServerManager::getInstance()->handleRequest(request);

    const bdx::Value& isActive = valueIn(response, "is_active");
    if (!isActive.is_null()) {
        shouldDisableSDK(!bdx::boolValue(isActive));
    }

    // A failure changes nothing and leaves the check marked as on its way: the manager retries this
    // request, and only its success lets a new check start.
    if (!isSuccess) {
        return;
    }
    setRecentFeatureResponse(response);
    for (const auto& flag : kFlags) {
        JSONSetFeature(flag.name, valueIn(response, flag.JSONKey));
    }
    store()->setDate(bdx::Date::now(), kBDXDefaultsKeyFeaturesLastCheck);
    features_queue_->sync([&] {
        for (const auto& [name, delegate] : serverValueDelegates_) {
            JSONSetFeature(name, valueIn(response, name), delegate);
        }
    });
    featuresRequestInProgress_ = false;
}

bdx::Value BDXFeatures::recentFeatureResponse() {
    std::lock_guard<std::mutex> guard(responseMutex_);
    if (!recentFeatureResponse_) {
        bdx::Value stored = store()->objectForKey(kBDXDefaultsKeyFeaturesLatestFeaturesResponse);
        if (stored.is_null()) {
            return stored;
        }
        recentFeatureResponse_ = std::make_unique<bdx::Value>(std::move(stored));
    }
    return *recentFeatureResponse_;
}

void BDXFeatures::setRecentFeatureResponse(const bdx::Value& response) {
    {
        std::lock_guard<std::mutex> guard(responseMutex_);
        recentFeatureResponse_ = std::make_unique<bdx::Value>(response);
    }
    store()->setObject(response, kBDXDefaultsKeyFeaturesLatestFeaturesResponse);
    BDXDefaults::synchronizeUserDefaults();
}

void BDXFeatures::registerFeature(const std::string& feature,
                                  const std::shared_ptr<BDXFeatureServerValueDelegate>& delegate) {
    features_queue_->sync([&] {
        if (delegate) {
            serverValueDelegates_[feature] = delegate;
        }
        if (isFeatureLoadedFromServer(feature) && delegate) {
            delegate->didUpdateServerValueForFeature(feature, serverPermissionForFeature(feature));
            return;
        }
        const bdx::Value response = recentFeatureResponse();
        if (!response.is_null()) {
            JSONSetFeature(feature, valueIn(response, feature), delegate);
        }
    });
}

bool BDXFeatures::isFeatureLoadedFromServer(const std::string& feature) const {
    return !store()->objectForKey(defaultsKeyForFeatureName(feature)).is_null();
}

bool BDXFeatures::serverPermissionForFeature(const std::string& feature) const {
    return store()->boolForKey(defaultsKeyForFeatureName(feature));
}

std::string BDXFeatures::defaultsKeyForFeatureName(std::string_view feature) {
    std::string key = kBDXDefaultsKeyFeaturesPrefix;
    key += feature;
    const std::size_t first = std::string_view(kBDXDefaultsKeyFeaturesPrefix).size();
    if (key.size() > first) {
        key[first] = static_cast<char>(std::toupper(static_cast<unsigned char>(key[first])));
    }
    return key;
}

void BDXFeatures::setFeaturesValues() {
    auto defaults = store();
    if (defaults->objectForKey(kBDXDefaultsKeyFeaturesLastCheck).is_null()) {
        return;
    }
    // One copy of the store serves the whole pass.
    const bdx::Value storedValues = defaults->dictionaryRepresentation();
    for (const auto& flag : kFlags) {
        setServerValueForFeature(flag.name, storedValues);
    }
}

void BDXFeatures::setServerValueForFeature(const std::string& feature, const bdx::Value& storedValues) {
    auto flag = propertyForFeature(feature);
    const bdx::Value& stored = valueIn(storedValues, defaultsKeyForFeatureName(feature));
    if (flag && !stored.is_null()) {
        flag->setServerPermission(bdx::boolValue(stored));
    }
}

void BDXFeatures::setServerValueForFeatureOfName(const std::string& feature) {
    setServerValueForFeature(feature, store()->dictionaryRepresentation());
}

void BDXFeatures::JSONSetFeature(const std::string& feature, const bdx::Value& value) {
    if (value.is_null()) {
        return;
    }
    const bool enabled = bdx::boolValue(value);
    setFeatureOfName(feature, enabled, false);
    BDXSDKLogDebug("Feature: %@, enabled: %@", feature, std::string(enabled ? "YES" : "NO"));
}

void BDXFeatures::JSONSetFeature(const std::string& feature, const bdx::Value& value,
                                 const std::shared_ptr<BDXFeatureServerValueDelegate>& delegate) {
    if (value.is_null()) {
        return;
    }
    const bool enabled = bdx::boolValue(value);
    store()->setBool(enabled, defaultsKeyForFeatureName(feature));
    if (delegate) {
        delegate->didUpdateServerValueForFeature(feature, enabled);
    }
}

void BDXFeatures::setFeatureOfName(const std::string& feature, bool value, bool isUserSet) {
    auto flag = propertyForFeature(feature);
    if (!flag) {
        BDXSDKLogError("There is no feature named %@; nothing was changed.", feature);
        return;
    }
    willChangeValueForKey(feature);
    if (isUserSet) {
        flag->setUserPreference(value);
    } else {
        flag->setServerPermission(value);
        store()->setBool(value, defaultsKeyForFeatureName(feature));
    }
    didChangeValueForKey(feature);
}

void BDXFeatures::userSetFeature(std::string_view setter, bool value) {
    setFeatureOfName(nameForFeatureSetter(setter), value, true);
}

std::string BDXFeatures::nameForFeatureSetter(std::string_view setter) {
    std::string name;
    for (std::size_t i = 0; i < setter.size();) {
        if (setter.substr(i, 3) == "set") {
            i += 3;
        } else if (setter[i] == ':') {
            ++i;
        } else {
            name += setter[i++];
        }
    }
    if (!name.empty() && name.rfind("BDX", 0) != 0) {
        name[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[0])));
    }
    return name;
}

std::shared_ptr<BDXFeature> BDXFeatures::propertyForFeature(std::string_view feature) const {
    for (std::size_t i = 0; i < kFlags.size(); ++i) {
        if (feature == kFlags[i].name) {
            return features_[i];
        }
    }
    return nullptr;
}

void BDXFeatures::shouldDisableSDK(bool disable) {
    setSDKDisabled(disable);
    adjustSDKDisableState();
}

void BDXFeatures::setSDKDisabled(bool disabled) {
    store()->setBool(disabled, kBDXDefaultsKeySDKDisabled);
    BDXDefaults::synchronizeUserDefaults();
}

bool BDXFeatures::isSDKDisabled() const {
    return store()->boolForKey(kBDXDefaultsKeySDKDisabled);
}

void BDXFeatures::adjustSDKDisableState() {
    if (store()->objectForKey(kBDXDefaultsKeySDKDisabled).is_null()) {
        return;
    }
    const bool disabled = isSDKDisabled();
    auto manager = BDXServerManager::getInstance();
    const bool wasDisabled = manager->shouldDisableServerManager();
    if (disabled && !wasDisabled) {
        BDXSDKLogError(
            "The service reports this application's account as inactive: nothing is sent until it is "
            "active again.");
    }
    manager->shouldDisableServerManager(disabled);
    shouldDisablePresentationManager(disabled);
    if (wasDisabled && !disabled) {
        // What waited while the account was inactive goes now rather than at the next network change.
        manager->refresh();
    }
}

std::any BDXFeatures::valueForKey(const std::string& key) const {
    if (auto flag = propertyForFeature(key)) {
        return flag->enabled();
    }
    return {};
}
