#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/KeyValueObservable.h"
#include "foundation/Value.h"
#include "transport/BDXFeaturesRequestDelegate.h"

class BDXFeature;

namespace bdx {
class DispatchQueue;
}

// Who hears the service's value of a flag the public layer registered by its JSON name.
class BDXFeatureServerValueDelegate {
  public:
    virtual ~BDXFeatureServerValueDelegate() = default;
    // Called on the features queue, which is held meanwhile: do not register another flag from here.
    virtual void didUpdateServerValueForFeature(const std::string& feature, bool withServerPermission) = 0;
};

// The feature flags the service turns on and off, reached through `features` of BDXDefaults.
//
// Each of the sixteen built-in flags has a default, the service's answer and the developer's preference
// (see BDXFeature). The service is asked at most once per calendar day; its answer is kept in the user
// defaults (the whole reply, the day it came and one key per flag), so that a relaunch starts with the last
// known values without asking. A developer's preference lasts for the process only.
//
// Every flag is observable under its own name ("sessionProfiler", "networkLogging"...): observers hear
// the change on the thread that made it, whether the service's answer or a setter changed it.
//
// The service's "is_active" is the account's state: false disables the server manager (nothing is sent
// but the feature check itself), true enables it again. The state is kept in the user defaults and put
// back in force by adjustSDKDisableState, which setAppToken of the data store calls.
class BDXFeatures : public bdx::KeyValueObservable,
                    public BDXFeaturesRequestDelegate,
                    public std::enable_shared_from_this<BDXFeatures> {
  public:
    // Modes of setUserStepsOption.
    static constexpr std::int64_t kUserStepsEnable = 0;
    static constexpr std::int64_t kUserStepsNonVisual = 1;
    static constexpr std::int64_t kUserStepsDisable = 2;

    // Builds the flags with their defaults and, when the service was asked before, its stored values.
    BDXFeatures();
    ~BDXFeatures() override;
    BDXFeatures(const BDXFeatures&) = delete;
    BDXFeatures& operator=(const BDXFeatures&) = delete;

    // The built-in flags: each getter answers its flag's `enabled`, each setter the developer's preference.
    bool whiteLabel() const;
    void setWhiteLabel(bool enabled);
    bool pushNotifications() const;
    void setPushNotifications(bool enabled);
    bool userSteps() const;
    void setUserSteps(bool enabled);
    bool visualUserSteps() const;
    void setVisualUserSteps(bool enabled);
    bool userData() const;
    void setUserData(bool enabled);
    bool BDXLog() const;
    void setBDXLog(bool enabled);
    bool consoleLog() const;
    void setConsoleLog(bool enabled);
    bool multipleAttachments() const;
    void setMultipleAttachments(bool enabled);
    bool networkLogging() const;
    void setNetworkLogging(bool enabled);
    // The service alone decides this flag: its setter keeps the value in a field nothing reads.
    bool userEvents() const;
    void setUserEvents(bool enabled);
    bool userLoggerInC() const;
    void setUserLoggerInC(bool enabled);
    bool inAppMessaging() const;
    void setInAppMessaging(bool enabled);
    bool sessionProfiler() const;
    void setSessionProfiler(bool enabled);
    // The service alone decides this flag: its setter keeps the value in a field nothing reads.
    bool featureRequests() const;
    void setFeatureRequests(bool enabled);
    bool disclaimer() const;
    void setDisclaimer(bool enabled);
    bool crashReporting() const;
    void setCrashReporting(bool enabled);

    // The flag objects themselves.
    std::shared_ptr<BDXFeature> whiteLabelFeature() const;
    std::shared_ptr<BDXFeature> pushNotificationsFeature() const;
    std::shared_ptr<BDXFeature> userStepsFeature() const;
    std::shared_ptr<BDXFeature> visualUserStepsFeature() const;
    std::shared_ptr<BDXFeature> userDataFeature() const;
    std::shared_ptr<BDXFeature> BDXLogFeature() const;
    std::shared_ptr<BDXFeature> consoleLogFeature() const;
    std::shared_ptr<BDXFeature> multipleAttachmentsFeature() const;
    std::shared_ptr<BDXFeature> networkLoggingFeature() const;
    std::shared_ptr<BDXFeature> userEventsFeature() const;
    std::shared_ptr<BDXFeature> userLoggerInCFeature() const;
    std::shared_ptr<BDXFeature> inAppMessagingFeature() const;
    std::shared_ptr<BDXFeature> sessionProfilerFeature() const;
    std::shared_ptr<BDXFeature> featureRequestsFeature() const;
    std::shared_ptr<BDXFeature> disclaimerFeature() const;
    std::shared_ptr<BDXFeature> crashReportingFeature() const;

    // Visual user steps with screenshots: on only while this switch is on and visual steps are enabled.
    bool visualUserStepsWithScreenshots() const;
    void setVisualUserStepsWithScreenshots(bool enabled);
    // 0 visual steps with screenshots, 1 visual steps without, 2 no visual steps; any other mode changes
    // nothing. The userSteps flag is left alone.
    void setUserStepsOption(std::int64_t mode);

    // The daily check: on the main queue, asks the service unless a check is on its way or the last
    // answer came today (calendar days in the local zone, so a new day begins at midnight).
    void checkFeatures();
    // Asks the service now and marks a check as on its way until an answer arrives.
    void updateFeatures();
    // Forgets when the service was last asked and what it answered; the per-flag values stay.
    void clearPreviousData();
    bool featuresRequestInProgress() const { return featuresRequestInProgress_; }

    void featuresRequestDone(const std::shared_ptr<BDXFeaturesRequest>& request, bool isSuccess,
                             const bdx::Value& response,
                             const std::optional<BDXRequestErrorInfo>& error) override;

    // The last good answer of the service, read from the user defaults on first use; null when there is
    // none.
    bdx::Value recentFeatureResponse();
    // Keeps the answer and stores it at once.
    void setRecentFeatureResponse(const bdx::Value& response);

    // A flag of the public layer's own, known by its JSON name. The delegate (held strongly) hears the
    // stored value before this returns, or the cached answer's value when nothing is stored, and each
    // later answer of the service.
    void registerFeature(const std::string& feature,
                         const std::shared_ptr<BDXFeatureServerValueDelegate>& delegate);
    // Whether the service's value of a flag is stored, and that value (false when there is none).
    bool isFeatureLoadedFromServer(const std::string& feature) const;
    bool serverPermissionForFeature(const std::string& feature) const;
    // "BDXFeatures/" and the name with its first letter in capitals.
    static std::string defaultsKeyForFeatureName(std::string_view feature);

    // Puts the stored values of the service in force, when the service was asked before.
    void setFeaturesValues();
    // The stored value of one built-in flag, out of the store's dictionary of every key.
    void setServerValueForFeature(const std::string& feature, const bdx::Value& storedValues);
    void setServerValueForFeatureOfName(const std::string& feature);

    // Applies the service's value of a built-in flag, by its getter's name; a null value changes nothing.
    void JSONSetFeature(const std::string& feature, const bdx::Value& value);
    // Stores the service's value of a registered flag, by its JSON name, and tells its delegate; a null
    // value does nothing.
    void JSONSetFeature(const std::string& feature, const bdx::Value& value,
                        const std::shared_ptr<BDXFeatureServerValueDelegate>& delegate);
    // Sets the preference (for this process) or the service's value (stored) of a built-in flag, and
    // tells the observers of its name.
    void setFeatureOfName(const std::string& feature, bool value, bool isUserSet);
    // A setter's work: "setUserSteps:" names the flag userSteps.
    void userSetFeature(std::string_view setter, bool value);
    // The flag a setter names: without "set" and ":", with a small first letter unless it begins with
    // "BDX" ("setBDXLog:" names BDXLog).
    static std::string nameForFeatureSetter(std::string_view setter);
    // The built-in flag of that name, or nullptr.
    std::shared_ptr<BDXFeature> propertyForFeature(std::string_view feature) const;

    // The account's state, as the service last told it.
    void shouldDisableSDK(bool disable);
    void setSDKDisabled(bool disabled);
    bool isSDKDisabled() const;
    // Puts the stored account state in force on the server manager (and, once it exists, on the
    // presentation manager); an account never told anything is left alone.
    void adjustSDKDisableState();

    // The flag's `enabled` for observers of its name.
    std::any valueForKey(const std::string& key) const override;

  private:
    bool enabledAt(std::size_t index) const;

    std::shared_ptr<bdx::DispatchQueue> features_queue_;
    std::vector<std::shared_ptr<BDXFeature>> features_;
    std::map<std::string, std::shared_ptr<BDXFeatureServerValueDelegate>> serverValueDelegates_;
    mutable std::mutex responseMutex_;
    std::unique_ptr<bdx::Value> recentFeatureResponse_;  // null until read or set
    std::atomic<bool> featuresRequestInProgress_{false};
    std::atomic<bool> visualUserStepsWithScreenshots_{true};
    std::atomic<bool> userEvents_{true};
    std::atomic<bool> featureRequests_{true};
};
