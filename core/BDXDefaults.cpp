#include "core/BDXDefaults.h"

#include <nlohmann/json.hpp>

#include <algorithm>

#include "core/BDXColors.h"
#include "core/BDXDateOperations.h"
#include "core/BDXDefaultsKeys.h"
#include "core/BDXEditableValue.h"
#include "core/BDXFeatures.h"
#include "core/BDXMarkdownLinkDetector.h"
#include "core/BDXResources.h"
#include "core/BDXServiceURL.h"
#include "core/BDXSingleton.h"
#include "core/BDXStrings.h"
#include "foundation/RunLoop.h"
#include "foundation/UserDefaults.h"

namespace {

BDXSingleton<BDXDefaults>& singleton() {
    return BDXSingleton<BDXDefaults>::holder();
}

std::shared_ptr<bdx::UserDefaults> store() {
    return bdx::UserDefaults::standardUserDefaults();
}

// Stores the text, or removes the key for none, and writes through.
void storeString(const std::optional<std::string>& value, const char* key) {
    if (value) {
        store()->setString(*value, key);
    } else {
        store()->removeObjectForKey(key);
    }
    BDXDefaults::synchronizeUserDefaults();
}

void storeDate(const std::optional<bdx::Date>& value, const char* key) {
    if (value) {
        store()->setDate(*value, key);
    } else {
        store()->removeObjectForKey(key);
    }
    BDXDefaults::synchronizeUserDefaults();
}

std::optional<std::vector<std::string>> storedStrings(const char* key) {
    const bdx::Value stored = store()->objectForKey(key);
    if (!stored.is_array()) {
        return std::nullopt;
    }
    std::vector<std::string> strings;
    for (const auto& element : stored) {
        if (element.is_string()) {
            strings.push_back(element.get<std::string>());
        }
    }
    return strings;
}

}  // namespace

std::shared_ptr<BDXDefaults> BDXDefaults::getInstance() {
    return singleton().get([] { return std::make_shared<BDXDefaults>(); });
}

void BDXDefaults::destroy() {
    singleton().destroy();
}

std::string BDXDefaults::invalidTokenString() {
    return "INVALID_TOKEN";
}

void BDXDefaults::synchronizeUserDefaults() {
    if (bdx::isMainThread()) {
        return;
    }
    store()->synchronize();
}

BDXDefaults::BDXDefaults()
    : resources_(std::make_shared<BDXResources>()),
      strings_(std::make_shared<BDXStrings>()),
      colors_(std::make_shared<BDXColors>()),
      features_(std::make_shared<BDXFeatures>()),
      willSkipScreenShot_(BDXEditableValue::initWithDefaultValueBlock([] { return bdx::Value(false); })),
      issueTags_(std::vector<std::string>{}) {
    environmentBaseURL_ = BDXServiceURL::environmentBaseURL();
    auto defaults = store();
    UUID_ = defaults->stringForKey(kBDXDefaultsKeyDeviceUUID);
    email_ = defaults->stringForKey(kBDXDefaultsKeyEmail);
    identifiedEmail_ = defaults->stringForKey(kBDXDefaultsKeyIdentifiedEmail);
    name_ = defaults->stringForKey(kBDXDefaultsKeyName);
    identifiedName_ = defaults->stringForKey(kBDXDefaultsKeyIdentifiedName);
    if (auto tags = storedStrings(kBDXDefaultsKeyIssueTags)) {
        issueTags_ = std::move(tags);
    }
    if (!signupDate()) {
        storeDate(bdx::Date::now(), kBDXDefaultsKeySignupDate);
    }
}

BDXDefaults::~BDXDefaults() = default;

std::shared_ptr<BDXResources> BDXDefaults::resources() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return resources_;
}

void BDXDefaults::setResources(std::shared_ptr<BDXResources> resources) {
    std::lock_guard<std::mutex> guard(mutex_);
    resources_ = std::move(resources);
}

std::shared_ptr<BDXStrings> BDXDefaults::strings() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return strings_;
}

void BDXDefaults::setStrings(std::shared_ptr<BDXStrings> strings) {
    std::lock_guard<std::mutex> guard(mutex_);
    strings_ = std::move(strings);
}

std::shared_ptr<BDXColors> BDXDefaults::colors() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return colors_;
}

void BDXDefaults::setColors(std::shared_ptr<BDXColors> colors) {
    std::lock_guard<std::mutex> guard(mutex_);
    colors_ = std::move(colors);
}

std::shared_ptr<BDXFeatures> BDXDefaults::features() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return features_;
}

void BDXDefaults::setFeatures(std::shared_ptr<BDXFeatures> features) {
    std::lock_guard<std::mutex> guard(mutex_);
    features_ = std::move(features);
}

std::vector<std::string> BDXDefaults::categories() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return categories_;
}

void BDXDefaults::setCategories(std::vector<std::string> categories) {
    std::lock_guard<std::mutex> guard(mutex_);
    categories_ = std::move(categories);
}

void BDXDefaults::setAutoScreenRecordingDuration(double seconds) {
    autoScreenRecordingDuration_ = std::min(seconds, 30.0);
}

bool BDXDefaults::autoScreenRecordingEnabled() const {
    if (!autoScreenRecordingEnabled_) {
        return false;
    }
    auto flags = features();
    return flags && flags->multipleAttachments();
}

std::shared_ptr<BDXEditableValue> BDXDefaults::willSkipScreenShot() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return willSkipScreenShot_;
}

void BDXDefaults::setWillSkipScreenShot(std::shared_ptr<BDXEditableValue> value) {
    std::lock_guard<std::mutex> guard(mutex_);
    willSkipScreenShot_ = std::move(value);
}

std::optional<BDXAttributedString> BDXDefaults::disclaimerText() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return disclaimerText_;
}

void BDXDefaults::setDisclaimerText(std::optional<BDXAttributedString> text) {
    std::lock_guard<std::mutex> guard(mutex_);
    disclaimerText_ = std::move(text);
}

void BDXDefaults::setDisclaimerTextAsAttributedString(const std::string& text) {
    auto flags = features();
    if (!flags || !flags->disclaimer()) {
        return;
    }
    setDisclaimerText(BDXMarkdownLinkDetector::attributedStringWithLinksFromString(text));
}

std::optional<bdx::Date> BDXDefaults::firstSeen() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return firstSeen_;
}

void BDXDefaults::setFirstSeen(std::optional<bdx::Date> date) {
    std::lock_guard<std::mutex> guard(mutex_);
    firstSeen_ = date;
}

std::map<std::int64_t, bool> BDXDefaults::actionTypeEmailRequired() {
    std::lock_guard<std::mutex> guard(mutex_);
    if (!actionTypeEmailRequired_) {
        actionTypeEmailRequired_ = std::map<std::int64_t, bool>{{2, true}, {4, true}, {8, true}};
    }
    return *actionTypeEmailRequired_;
}

void BDXDefaults::setActionTypeEmailRequired(std::map<std::int64_t, bool> required) {
    std::lock_guard<std::mutex> guard(mutex_);
    actionTypeEmailRequired_ = std::move(required);
}

void BDXDefaults::setEmailRequired(bool required, std::int64_t forAction) {
    auto entries = actionTypeEmailRequired();
    // Bit 1 stands for every action, so each entry answers to its own bit and to bit 1.
    if (forAction & 3) {
        entries[2] = required;
    }
    if (forAction & 5) {
        entries[4] = required;
    }
    if (forAction & 9) {
        entries[8] = required;
    }
    setActionTypeEmailRequired(std::move(entries));
}

bool BDXDefaults::isEmailRequiredForActionType(std::int64_t actionType) {
    const auto entries = actionTypeEmailRequired();
    const auto entry = [&entries](std::int64_t key) {
        auto found = entries.find(key);
        return found != entries.end() && found->second;
    };
    if (actionType & 1) {
        return entry(2) && entry(4) && entry(8);
    }
    return entry(actionType);
}

std::optional<std::string> BDXDefaults::email() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return email_;
}

void BDXDefaults::setEmail(const std::optional<std::string>& email) {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        email_ = email;
    }
    storeString(email, kBDXDefaultsKeyEmail);
}

std::optional<std::string> BDXDefaults::identifiedEmail() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return identifiedEmail_;
}

void BDXDefaults::setIdentifiedEmail(const std::optional<std::string>& email) {
    setEmail(email);
    {
        std::lock_guard<std::mutex> guard(mutex_);
        identifiedEmail_ = email;
    }
    storeString(email, kBDXDefaultsKeyIdentifiedEmail);
}

std::optional<std::string> BDXDefaults::name() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return name_;
}

void BDXDefaults::setName(const std::optional<std::string>& name) {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        name_ = name;
    }
    storeString(name, kBDXDefaultsKeyName);
}

std::optional<std::string> BDXDefaults::identifiedName() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return identifiedName_;
}

void BDXDefaults::setIdentifiedName(const std::optional<std::string>& name) {
    setName(name);
    {
        std::lock_guard<std::mutex> guard(mutex_);
        identifiedName_ = name;
    }
    storeString(name, kBDXDefaultsKeyIdentifiedName);
}

std::optional<std::string> BDXDefaults::savedUUID() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return UUID_;
}

void BDXDefaults::setSavedUUID(const std::optional<std::string>& uuid) {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        UUID_ = uuid;
    }
    storeString(uuid, kBDXDefaultsKeyDeviceUUID);
}

std::optional<std::vector<std::string>> BDXDefaults::issueTags() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return issueTags_;
}

void BDXDefaults::setIssueTags(const std::optional<std::vector<std::string>>& tags) {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        issueTags_ = tags;
    }
    if (tags) {
        store()->setObject(bdx::Value(*tags), kBDXDefaultsKeyIssueTags);
    } else {
        store()->removeObjectForKey(kBDXDefaultsKeyIssueTags);
    }
    synchronizeUserDefaults();
}

std::optional<bdx::Date> BDXDefaults::signupDate() const {
    return store()->dateForKey(kBDXDefaultsKeySignupDate);
}

void BDXDefaults::setSignupDate(const std::optional<bdx::Date>& date) {
    storeDate(date, kBDXDefaultsKeySignupDate);
}

std::uint64_t BDXDefaults::sessionCount() const {
    return static_cast<std::uint64_t>(store()->integerForKey(kBDXDefaultsKeySessionCount));
}

void BDXDefaults::setSessionCount(std::uint64_t count) {
    store()->setInteger(static_cast<std::int64_t>(count), kBDXDefaultsKeySessionCount);
    synchronizeUserDefaults();
}

bool BDXDefaults::serversSaved() const {
    return store()->boolForKey(kBDXDefaultsKeyFileSaved);
}

void BDXDefaults::setServersSaved(bool saved) {
    store()->setBool(saved, kBDXDefaultsKeyFileSaved);
    synchronizeUserDefaults();
}

bool BDXDefaults::deviceWasRegisteredInLegacySDK() const {
    return store()->boolForKey(kBDXDefaultsKeyDeviceRegistered);
}

bool BDXDefaults::deviceTokenRequested() const {
    return store()->boolForKey(kBDXDefaultsKeyDeviceTokenRequested);
}

std::optional<bdx::Date> BDXDefaults::lastContactedAt() const {
    return store()->dateForKey(kBDXDefaultsKeyLastContactedAt);
}

void BDXDefaults::setLastContactedAt(const std::optional<bdx::Date>& date) {
    storeDate(date, kBDXDefaultsKeyLastContactedAt);
}

std::optional<std::string> BDXDefaults::lastRetrievedAPNSToken() {
    std::lock_guard<std::mutex> guard(mutex_);
    if (!lastRetrievedAPNSTokenRead_) {
        lastRetrievedAPNSToken_ = store()->stringForKey(kBDXDefaultsKeyLastRetrievedAPNSToken);
        lastRetrievedAPNSTokenRead_ = true;
    }
    return lastRetrievedAPNSToken_;
}

void BDXDefaults::setLastRetrievedAPNSToken(const std::optional<std::string>& token) {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        lastRetrievedAPNSToken_ = token;
        lastRetrievedAPNSTokenRead_ = true;
    }
    storeString(token, kBDXDefaultsKeyLastRetrievedAPNSToken);
}

std::optional<std::string> BDXDefaults::lastRegisteredPNToken() {
    std::lock_guard<std::mutex> guard(mutex_);
    if (!lastRegisteredPNTokenRead_) {
        lastRegisteredPNToken_ = store()->stringForKey(kBDXDefaultsKeyLastRegisteredPNToken);
        lastRegisteredPNTokenRead_ = true;
    }
    return lastRegisteredPNToken_;
}

void BDXDefaults::setLastRegisteredPNToken(const std::optional<std::string>& token) {
    {
        std::lock_guard<std::mutex> guard(mutex_);
        lastRegisteredPNToken_ = token;
        lastRegisteredPNTokenRead_ = true;
    }
    storeString(token, kBDXDefaultsKeyLastRegisteredPNToken);
}

std::int64_t BDXDefaults::unreadMessagesCount() {
    const std::int64_t cached = unreadMessagesCount_;
    if (cached >= 0) {
        return cached;
    }
    const bdx::Value stored = store()->objectForKey(kBDXDefaultsKeyUnreadMessageCount);
    if (stored.is_null()) {
        setUnreadMessagesCount(0);
        return 0;
    }
    const std::int64_t count = store()->integerForKey(kBDXDefaultsKeyUnreadMessageCount);
    unreadMessagesCount_ = count;
    return count;
}

void BDXDefaults::setUnreadMessagesCount(std::int64_t count) {
    unreadMessagesCount_ = count;
    store()->setInteger(count, kBDXDefaultsKeyUnreadMessageCount);
    synchronizeUserDefaults();
}

namespace {
std::string firstPresent(const std::optional<std::string>& first, const std::optional<std::string>& second) {
    if (first) {
        return *first;
    }
    if (second) {
        return *second;
    }
    return "";
}
}  // namespace

std::string BDXDefaults::reportingEmail() const {
    return firstPresent(email(), identifiedEmail());
}

std::string BDXDefaults::sessionEmail() const {
    return firstPresent(identifiedEmail(), email());
}

std::string BDXDefaults::reportingName() const {
    return firstPresent(name(), identifiedName());
}

bool BDXDefaults::allPromptOptionsDisabled() const {
    return !chatInPromptEnabled_ && !bugInPromptEnabled_ && !feedbackInPromptEnabled_;
}

bool BDXDefaults::hasOnePromptOption() const {
    return (chatInPromptEnabled_ ? 1 : 0) + (bugInPromptEnabled_ ? 1 : 0) +
               (feedbackInPromptEnabled_ ? 1 : 0) ==
           1;
}

std::int64_t BDXDefaults::daysSinceLastUserCommunication() const {
    const auto contacted = lastContactedAt();
    if (!contacted) {
        return std::numeric_limits<std::int64_t>::max();
    }
    return bdx_daysCountToNow(*contacted);
}

std::string BDXDefaults::baseURL() const {
    std::lock_guard<std::mutex> guard(mutex_);
    if (environmentBaseURL_) {
        return *environmentBaseURL_;
    }
    return baseURL_ ? *baseURL_ : BDXServiceURL::defaultBaseURL();
}

void BDXDefaults::setBaseURL(const std::string& url) {
    std::optional<std::string> checked = BDXServiceURL::normalizedBaseURL(url);
    if (!checked) {
        return;
    }
    std::lock_guard<std::mutex> guard(mutex_);
    baseURL_ = std::move(checked);
}

std::string BDXDefaults::baseURLHost() const {
    return BDXServiceURL::hostOfURL(baseURL());
}
