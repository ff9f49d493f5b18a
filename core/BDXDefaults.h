// Public header: installed with the library for hosts to include.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/BDXAttributedString.h"
#include "foundation/Date.h"

class BDXColors;
class BDXEditableValue;
class BDXFeatures;
class BDXResources;
class BDXStrings;

// What the SDK is configured with and what it remembers about the user. Run-time settings are fields
// with a default, set by the public layer at start and lost at exit. Persisted settings live in the
// standard user defaults under their "BDX" keys and are written through at once, so a new object over
// the same sandbox (a relaunch) reads them back.
class BDXDefaults {
  public:
    static std::shared_ptr<BDXDefaults> getInstance();
    // Drops the shared object; the next getInstance reads the persisted settings again and loses every
    // run-time setting.
    static void destroy();
    // The placeholder for a token that could not be used.
    static std::string invalidTokenString();

    BDXDefaults();
    ~BDXDefaults();
    BDXDefaults(const BDXDefaults&) = delete;
    BDXDefaults& operator=(const BDXDefaults&) = delete;

    // The four objects hanging from the settings.
    std::shared_ptr<BDXResources> resources() const;
    void setResources(std::shared_ptr<BDXResources> resources);
    std::shared_ptr<BDXStrings> strings() const;
    void setStrings(std::shared_ptr<BDXStrings> strings);
    std::shared_ptr<BDXColors> colors() const;
    void setColors(std::shared_ptr<BDXColors> colors);
    std::shared_ptr<BDXFeatures> features() const;
    void setFeatures(std::shared_ptr<BDXFeatures> features);

    // Run-time settings.
    double floatingButtonOffsetFromTop() const { return floatingButtonOffsetFromTop_; }
    void setFloatingButtonOffsetFromTop(double value) { floatingButtonOffsetFromTop_ = value; }
    // A rectangle edge, the right one by default.
    std::uint32_t floatingButtonEdge() const { return floatingButtonEdge_; }
    void setFloatingButtonEdge(std::uint32_t value) { floatingButtonEdge_ = value; }
    double iPadThreshold() const { return iPadThreshold_; }
    void setIPadThreshold(double value) { iPadThreshold_ = value; }
    double iPhoneThreshold() const { return iPhoneThreshold_; }
    void setIPhoneThreshold(double value) { iPhoneThreshold_ = value; }
    std::int64_t invocationMode() const { return invocationMode_; }
    void setInvocationMode(std::int64_t value) { invocationMode_ = value; }
    std::int64_t invocationEvent() const { return invocationEvent_; }
    void setInvocationEvent(std::int64_t value) { invocationEvent_ = value; }
    bool showPrompt() const { return showPrompt_; }
    void setShowPrompt(bool value) { showPrompt_ = value; }
    bool willTakeScreenshot() const { return willTakeScreenshot_; }
    void setWillTakeScreenshot(bool value) { willTakeScreenshot_ = value; }
    bool isCrossPlatform() const { return isCrossPlatform_; }
    void setIsCrossPlatform(bool value) { isCrossPlatform_ = value; }
    bool enableAttachmentExtraScreenShot() const { return enableAttachmentExtraScreenShot_; }
    void setEnableAttachmentExtraScreenShot(bool value) { enableAttachmentExtraScreenShot_ = value; }
    bool enableAttachmentGalleryImage() const { return enableAttachmentGalleryImage_; }
    void setEnableAttachmentGalleryImage(bool value) { enableAttachmentGalleryImage_ = value; }
    bool enableAttachmentVoiceNote() const { return enableAttachmentVoiceNote_; }
    void setEnableAttachmentVoiceNote(bool value) { enableAttachmentVoiceNote_ = value; }
    bool enableAttachmentScreenRecording() const { return enableAttachmentScreenRecording_; }
    void setEnableAttachmentScreenRecording(bool value) { enableAttachmentScreenRecording_ = value; }
    // Read-only: nothing turns it on.
    bool disableAttachments() const { return false; }
    bool chatInPromptEnabled() const { return chatInPromptEnabled_; }
    void setChatInPromptEnabled(bool value) { chatInPromptEnabled_ = value; }
    bool bugInPromptEnabled() const { return bugInPromptEnabled_; }
    void setBugInPromptEnabled(bool value) { bugInPromptEnabled_ = value; }
    bool feedbackInPromptEnabled() const { return feedbackInPromptEnabled_; }
    void setFeedbackInPromptEnabled(bool value) { feedbackInPromptEnabled_ = value; }
    bool startAlertTextIsSet() const { return startAlertTextIsSet_; }
    void setStartAlertTextIsSet(bool value) { startAlertTextIsSet_ = value; }
    std::vector<std::string> categories() const;
    void setCategories(std::vector<std::string> categories);
    bool disableAutomaticShowingSurveys() const { return disableAutomaticShowingSurveys_; }
    void setDisableAutomaticShowingSurveys(bool value) { disableAutomaticShowingSurveys_ = value; }
    bool allowBDXLogToPrintInConsoleLog() const { return allowBDXLogToPrintInConsoleLog_; }
    void setAllowBDXLogToPrintInConsoleLog(bool value) { allowBDXLogToPrintInConsoleLog_ = value; }
    // Seconds, at most 30: a longer duration is cut to 30.
    double autoScreenRecordingDuration() const { return autoScreenRecordingDuration_; }
    void setAutoScreenRecordingDuration(double seconds);
    // On only while the setting is on and the service allows several attachments.
    bool autoScreenRecordingEnabled() const;
    void setAutoScreenRecordingEnabled(bool value) { autoScreenRecordingEnabled_ = value; }
    bool isUITestModeEnabled() const { return isUITestModeEnabled_; }
    void setIsUITestModeEnabled(bool value) { isUITestModeEnabled_ = value; }
    // The service's address, under which every request path hangs: BDXServiceURL::defaultBaseURL
    // until the host sets one. The environment variable BRINDLEX_BASE_URL, read when the settings are
    // made, overrides both. An address that is not an http or https URL is logged and changes nothing.
    std::string baseURL() const;
    void setBaseURL(const std::string& url);
    // The host of baseURL: the one reachability watches.
    std::string baseURLHost() const;
    // Defaults to false until the public layer sets it.
    std::shared_ptr<BDXEditableValue> willSkipScreenShot() const;
    void setWillSkipScreenShot(std::shared_ptr<BDXEditableValue> value);
    bool hasRecentActivity() const { return hasRecentActivity_; }
    void setHasRecentActivity(bool value) { hasRecentActivity_ = value; }
    std::int64_t captureButtonDefaultPostion() const { return captureButtonDefaultPostion_; }
    void setCaptureButtonDefaultPostion(std::int64_t value) { captureButtonDefaultPostion_ = value; }
    std::int64_t videoRecordingCaptureButtonDefaultPostion() const {
        return videoRecordingCaptureButtonDefaultPostion_;
    }
    void setVideoRecordingCaptureButtonDefaultPostion(std::int64_t value) {
        videoRecordingCaptureButtonDefaultPostion_ = value;
    }
    std::optional<BDXAttributedString> disclaimerText() const;
    void setDisclaimerText(std::optional<BDXAttributedString> text);
    // Takes Markdown links in the text as links; only while the service allows a disclaimer.
    void setDisclaimerTextAsAttributedString(const std::string& text);
    std::optional<bdx::Date> firstSeen() const;
    void setFirstSeen(std::optional<bdx::Date> date);

    // Whether an email is required per report action (2, 4 and 8), all required at first. A mask with
    // bit 1 speaks of every action.
    std::map<std::int64_t, bool> actionTypeEmailRequired();
    void setActionTypeEmailRequired(std::map<std::int64_t, bool> required);
    void setEmailRequired(bool required, std::int64_t forAction);
    bool isEmailRequiredForActionType(std::int64_t actionType);

    // Identity, persisted. Setting nothing clears the field and removes the key.
    std::optional<std::string> email() const;
    void setEmail(const std::optional<std::string>& email);
    std::optional<std::string> identifiedEmail() const;
    // Also sets the plain email to the same value.
    void setIdentifiedEmail(const std::optional<std::string>& email);
    std::optional<std::string> name() const;
    void setName(const std::optional<std::string>& name);
    std::optional<std::string> identifiedName() const;
    // Also sets the plain name to the same value.
    void setIdentifiedName(const std::optional<std::string>& name);
    // The device identifier in use, once derived.
    std::optional<std::string> savedUUID() const;
    void setSavedUUID(const std::optional<std::string>& uuid);
    // Empty at first; absent tags given to the setter leave the field absent and remove the key.
    std::optional<std::vector<std::string>> issueTags() const;
    void setIssueTags(const std::optional<std::vector<std::string>>& tags);

    // Other persisted settings.
    std::optional<bdx::Date> signupDate() const;
    void setSignupDate(const std::optional<bdx::Date>& date);
    std::uint64_t sessionCount() const;
    void setSessionCount(std::uint64_t count);
    bool serversSaved() const;
    void setServersSaved(bool saved);
    bool deviceWasRegisteredInLegacySDK() const;
    bool deviceTokenRequested() const;
    std::optional<bdx::Date> lastContactedAt() const;
    void setLastContactedAt(const std::optional<bdx::Date>& date);
    std::optional<std::string> lastRetrievedAPNSToken();
    void setLastRetrievedAPNSToken(const std::optional<std::string>& token);
    std::optional<std::string> lastRegisteredPNToken();
    void setLastRegisteredPNToken(const std::optional<std::string>& token);
    // The stored count, read once; 0, stored, when there is none.
    std::int64_t unreadMessagesCount();
    void setUnreadMessagesCount(std::int64_t count);

    // Derived values.
    // The email a report carries: the typed one before the identified one.
    std::string reportingEmail() const;
    // The email a session carries: the identified one before the typed one.
    std::string sessionEmail() const;
    std::string reportingName() const;
    bool allPromptOptionsDisabled() const;
    bool hasOnePromptOption() const;
    // Calendar days since the last report reached the service; the largest number when none did.
    std::int64_t daysSinceLastUserCommunication() const;

    // Writes the user defaults through to disk. Persisted settings call it after each write; on the main
    // thread the store's own writer does the disk work so that the host never waits for it.
    static void synchronizeUserDefaults();

  private:
    mutable std::mutex mutex_;
    std::shared_ptr<BDXResources> resources_;
    std::shared_ptr<BDXStrings> strings_;
    std::shared_ptr<BDXColors> colors_;
    std::shared_ptr<BDXFeatures> features_;

    std::atomic<double> floatingButtonOffsetFromTop_{100.0};
    std::atomic<std::uint32_t> floatingButtonEdge_{2};
    std::atomic<double> iPadThreshold_{0.6};
    std::atomic<double> iPhoneThreshold_{2.5};
    std::atomic<std::int64_t> invocationMode_{0};
    std::atomic<std::int64_t> invocationEvent_{0};
    std::atomic<bool> showPrompt_{true};
    std::atomic<bool> willTakeScreenshot_{true};
    std::atomic<bool> isCrossPlatform_{false};
    std::atomic<bool> enableAttachmentExtraScreenShot_{true};
    std::atomic<bool> enableAttachmentGalleryImage_{true};
    std::atomic<bool> enableAttachmentVoiceNote_{true};
    std::atomic<bool> enableAttachmentScreenRecording_{true};
    std::atomic<bool> chatInPromptEnabled_{true};
    std::atomic<bool> bugInPromptEnabled_{true};
    std::atomic<bool> feedbackInPromptEnabled_{true};
    std::atomic<bool> startAlertTextIsSet_{false};
    std::vector<std::string> categories_;
    std::atomic<bool> disableAutomaticShowingSurveys_{false};
    std::atomic<bool> allowBDXLogToPrintInConsoleLog_{true};
    std::atomic<double> autoScreenRecordingDuration_{30.0};
    std::atomic<bool> autoScreenRecordingEnabled_{false};
    std::atomic<bool> isUITestModeEnabled_{false};
    std::optional<std::string> baseURL_;
    std::optional<std::string> environmentBaseURL_;
    std::shared_ptr<BDXEditableValue> willSkipScreenShot_;
    std::atomic<bool> hasRecentActivity_{false};
    std::atomic<std::int64_t> unreadMessagesCount_{-1};
    std::atomic<std::int64_t> captureButtonDefaultPostion_{0};
    std::atomic<std::int64_t> videoRecordingCaptureButtonDefaultPostion_{0};
    std::optional<BDXAttributedString> disclaimerText_;
    std::optional<bdx::Date> firstSeen_;
    std::optional<std::map<std::int64_t, bool>> actionTypeEmailRequired_;

    std::optional<std::string> email_;
    std::optional<std::string> identifiedEmail_;
    std::optional<std::string> name_;
    std::optional<std::string> identifiedName_;
    std::optional<std::string> UUID_;
    std::optional<std::vector<std::string>> issueTags_;
    std::optional<std::string> lastRetrievedAPNSToken_;
    bool lastRetrievedAPNSTokenRead_ = false;
    std::optional<std::string> lastRegisteredPNToken_;
    bool lastRegisteredPNTokenRead_ = false;
};
