#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <any>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "core/BDXDataStore.h"
#include "core/BDXDefaults.h"
#include "core/BDXDefaultsKeys.h"
#include "core/BDXFeature.h"
#include "core/BDXFeatures.h"
#include "foundation/Date.h"
#include "foundation/UserDefaults.h"
#include "tests/core/CoreTestSupport.h"
#include "tests/core/FeatureDelegateRecorder.h"

namespace {

using Getter = bool (BDXFeatures::*)() const;
using Setter = void (BDXFeatures::*)(bool);
using FeatureOf = std::shared_ptr<BDXFeature> (BDXFeatures::*)() const;

std::shared_ptr<bdx::UserDefaults> store() {
    return bdx::UserDefaults::standardUserDefaults();
}

// What the service answered at an earlier launch: the flag's value and the day of the answer.
void storeServerValue(const std::string& key, bool value) {
    store()->setBool(value, key);
    store()->setDate(bdx::Date::now(), kBDXDefaultsKeyFeaturesLastCheck);
}

class BDXFeaturesTest : public bdx::testing::CoreTest {};

struct ResolutionCase {
    const char* label;
    Getter get;
    Setter set;
    const char* key;
    std::optional<bool> server;
    std::optional<bool> preference;
    bool expected;
};

TEST_F(BDXFeaturesTest, TheServiceDecidesTheBaseAndOnlyThenThePreferenceCounts) {
    const std::vector<ResolutionCase> cases = {
        {"server false beats a preference of true", &BDXFeatures::userSteps, &BDXFeatures::setUserSteps,
         "BDXFeatures/UserSteps", false, true, false},
        {"server false, no preference", &BDXFeatures::crashReporting, &BDXFeatures::setCrashReporting,
         "BDXFeatures/CrashReporting", false, std::nullopt, false},
        {"server true, preference false", &BDXFeatures::consoleLog, &BDXFeatures::setConsoleLog,
         "BDXFeatures/ConsoleLog", true, false, false},
        {"server true lifts a false default", &BDXFeatures::whiteLabel, &BDXFeatures::setWhiteLabel,
         "BDXFeatures/WhiteLabel", true, std::nullopt, true},
        {"server true, preference true", &BDXFeatures::pushNotifications, &BDXFeatures::setPushNotifications,
         "BDXFeatures/PushNotifications", true, true, true},
        {"no answer, default true, no preference", &BDXFeatures::networkLogging,
         &BDXFeatures::setNetworkLogging, "BDXFeatures/NetworkLogging", std::nullopt, std::nullopt, true},
        {"no answer, default true, preference false", &BDXFeatures::sessionProfiler,
         &BDXFeatures::setSessionProfiler, "BDXFeatures/SessionProfiler", std::nullopt, false, false},
        {"whiteLabel with only a preference stays off", &BDXFeatures::whiteLabel, &BDXFeatures::setWhiteLabel,
         "BDXFeatures/WhiteLabel", std::nullopt, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        store()->removeObjectForKey(c.key);
        store()->removeObjectForKey(kBDXDefaultsKeyFeaturesLastCheck);
        if (c.server) {
            storeServerValue(c.key, *c.server);
        }
        auto features = std::make_shared<BDXFeatures>();
        if (c.preference) {
            ((*features).*c.set)(*c.preference);
        }
        EXPECT_EQ(((*features).*c.get)(), c.expected);
    }
}

struct FlagCase {
    const char* name;
    Getter get;
    Setter set;
    FeatureOf feature;
    bool defaultValue;
    const char* key;
    // False for the two flags whose setters write a field that no getter reads.
    bool setterCounts;
};

// Each built-in flag: its default, its settings key, its setter and what observers of its name hear.
TEST_F(BDXFeaturesTest, EachFlagHasItsDefaultKeySetterAndObservableName) {
    using F = BDXFeatures;
    const std::vector<FlagCase> flags = {
        {"whiteLabel", &F::whiteLabel, &F::setWhiteLabel, &F::whiteLabelFeature, false,
         "BDXFeatures/WhiteLabel", true},
        {"pushNotifications", &F::pushNotifications, &F::setPushNotifications, &F::pushNotificationsFeature,
         false, "BDXFeatures/PushNotifications", true},
        {"userSteps", &F::userSteps, &F::setUserSteps, &F::userStepsFeature, true, "BDXFeatures/UserSteps",
         true},
        {"visualUserSteps", &F::visualUserSteps, &F::setVisualUserSteps, &F::visualUserStepsFeature, true,
         "BDXFeatures/VisualUserSteps", true},
        {"userData", &F::userData, &F::setUserData, &F::userDataFeature, true, "BDXFeatures/UserData", true},
        {"BDXLog", &F::BDXLog, &F::setBDXLog, &F::BDXLogFeature, true, "BDXFeatures/BDXLog", true},
        {"consoleLog", &F::consoleLog, &F::setConsoleLog, &F::consoleLogFeature, true,
         "BDXFeatures/ConsoleLog", true},
        {"multipleAttachments", &F::multipleAttachments, &F::setMultipleAttachments,
         &F::multipleAttachmentsFeature, true, "BDXFeatures/MultipleAttachments", true},
        {"networkLogging", &F::networkLogging, &F::setNetworkLogging, &F::networkLoggingFeature, true,
         "BDXFeatures/NetworkLogging", true},
        {"userEvents", &F::userEvents, &F::setUserEvents, &F::userEventsFeature, true,
         "BDXFeatures/UserEvents", false},
        {"userLoggerInC", &F::userLoggerInC, &F::setUserLoggerInC, &F::userLoggerInCFeature, true,
         "BDXFeatures/UserLoggerInC", true},
        {"inAppMessaging", &F::inAppMessaging, &F::setInAppMessaging, &F::inAppMessagingFeature, true,
         "BDXFeatures/InAppMessaging", true},
        {"sessionProfiler", &F::sessionProfiler, &F::setSessionProfiler, &F::sessionProfilerFeature, true,
         "BDXFeatures/SessionProfiler", true},
        {"featureRequests", &F::featureRequests, &F::setFeatureRequests, &F::featureRequestsFeature, true,
         "BDXFeatures/FeatureRequests", false},
        {"disclaimer", &F::disclaimer, &F::setDisclaimer, &F::disclaimerFeature, true,
         "BDXFeatures/Disclaimer", true},
        {"crashReporting", &F::crashReporting, &F::setCrashReporting, &F::crashReportingFeature, true,
         "BDXFeatures/CrashReporting", true},
    };
    for (const auto& flag : flags) {
        SCOPED_TRACE(flag.name);
        auto features = std::make_shared<BDXFeatures>();
        EXPECT_EQ(BDXFeatures::defaultsKeyForFeatureName(flag.name), flag.key);
        EXPECT_EQ(((*features).*flag.feature)(), features->propertyForFeature(flag.name));
        EXPECT_EQ(((*features).*flag.feature)()->defaultValue(), flag.defaultValue);
        EXPECT_EQ(((*features).*flag.get)(), flag.defaultValue);

        std::vector<std::pair<bool, bool>> heard;
        features->addObserver(flag.name, [&](const bdx::KeyValueChange& change) {
            heard.emplace_back(std::any_cast<bool>(change.oldValue), std::any_cast<bool>(change.newValue));
        });

        // The service turns the flag on: stored under its key, and heard.
        features->JSONSetFeature(flag.name, true);
        EXPECT_TRUE(((*features).*flag.get)());
        EXPECT_EQ(store()->objectForKey(flag.key), bdx::Value(true));
        ((*features).*flag.set)(false);
        EXPECT_EQ(((*features).*flag.get)(), !flag.setterCounts);
        EXPECT_EQ(store()->objectForKey(flag.key), bdx::Value(true)) << "a preference is never stored";

        const std::vector<std::pair<bool, bool>> expected =
            flag.setterCounts ? std::vector<std::pair<bool, bool>>{{flag.defaultValue, true}, {true, false}}
                              : std::vector<std::pair<bool, bool>>{{flag.defaultValue, true}};
        EXPECT_EQ(heard, expected);
        store()->removeObjectForKey(flag.key);
    }
}

TEST_F(BDXFeaturesTest, UserStepsModesSetOnlyTheVisualSwitches) {
    // One object through a sequence of modes: an unknown mode changes nothing of the mode before.
    struct Step {
        std::int64_t mode;
        bool visual;
        bool withScreenshots;
    };
    const std::vector<Step> steps = {
        {1, true, false}, {7, true, false}, {2, false, false}, {-1, false, false}, {0, true, true}};
    BDXFeatures features;
    features.setUserSteps(false);
    for (const auto& step : steps) {
        SCOPED_TRACE(step.mode);
        features.setUserStepsOption(step.mode);
        EXPECT_EQ(features.visualUserSteps(), step.visual);
        EXPECT_EQ(features.visualUserStepsWithScreenshots(), step.withScreenshots);
        EXPECT_FALSE(features.userSteps()) << "the mode leaves the userSteps flag alone";
    }
}

struct RegistrationCase {
    const char* label;
    bdx::Value stored;  // under BDXFeatures/Chats, null for none
    bdx::Value cached;  // the last answer, null for none
    std::vector<std::pair<std::string, bool>> heard;
    bdx::Value storedAfter;
};

TEST_F(BDXFeaturesTest, ARegisteredFlagHearsWhatIsKnownBeforeRegisteringReturns) {
    const std::vector<RegistrationCase> cases = {
        {"stored value wins over the cached answer", false, {{"chats", true}}, {{"chats", false}}, false},
        {"only the cached answer, stored now", bdx::Value(), {{"chats", "1"}}, {{"chats", true}}, true},
        {"cached answer without the name", bdx::Value(), {{"surveys", true}}, {}, bdx::Value()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        store()->setObject(c.stored, "BDXFeatures/Chats");
        store()->setObject(c.cached, kBDXDefaultsKeyFeaturesLatestFeaturesResponse);
        BDXFeatures features;
        auto delegate = std::make_shared<bdx::testing::FeatureDelegateRecorder>();
        features.registerFeature("chats", delegate);
        EXPECT_EQ(delegate->heard(), c.heard);
        EXPECT_EQ(store()->objectForKey("BDXFeatures/Chats"), c.storedAfter);
        EXPECT_EQ(features.isFeatureLoadedFromServer("chats"), !c.storedAfter.is_null());
        EXPECT_EQ(features.serverPermissionForFeature("chats"), c.storedAfter == bdx::Value(true));
    }
}

struct TokenCase {
    const char* label;
    const char* before;
    const char* after;
    bool clears;
};

TEST_F(BDXFeaturesTest, OnlyTheFirstTokenOfAnInstallationClearsTheDailyState) {
    const std::vector<TokenCase> cases = {
        {"first token", "", "token-1", true},
        {"no token again", "", "", false},
        {"one token replaces another", "token-1", "token-2", false},
        {"the same token", "token-1", "token-1", false},
    };
    const bdx::Value answer = {{"user_steps", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        store()->setString(c.before, kBDXDefaultsKeyAppToken);
        store()->setObject(answer, kBDXDefaultsKeyFeaturesLatestFeaturesResponse);
        storeServerValue("BDXFeatures/UserSteps", false);
        relaunch();
        auto features = BDXDefaults::getInstance()->features();
        EXPECT_EQ(features->recentFeatureResponse(), answer);

        BDXDataStore::getInstance()->setAppToken(c.after);
        EXPECT_EQ(store()->objectForKey(kBDXDefaultsKeyFeaturesLastCheck).is_null(), c.clears);
        EXPECT_EQ(store()->objectForKey(kBDXDefaultsKeyFeaturesLatestFeaturesResponse).is_null(), c.clears);
        EXPECT_EQ(features->recentFeatureResponse().is_null(), c.clears);
        EXPECT_EQ(store()->objectForKey("BDXFeatures/UserSteps"), bdx::Value(false)) << "per-flag keys stay";
        EXPECT_FALSE(features->userSteps()) << "the values in force stay for this process";

        // The next launch reads the per-flag values only while it knows when they came.
        relaunch();
        EXPECT_EQ(BDXDefaults::getInstance()->features()->userSteps(), c.clears);
    }
}

}  // namespace
