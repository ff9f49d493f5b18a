#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>

#include "core/BDXColors.h"
#include "core/BDXDefaults.h"
#include "core/BDXDefaultsKeys.h"
#include "core/BDXEditableValue.h"
#include "core/BDXFeatures.h"
#include "foundation/TimeZone.h"
#include "foundation/UserDefaults.h"
#include "tests/core/CoreTestSupport.h"

namespace {

class BDXDefaultsTest : public bdx::testing::CoreTest {
  protected:
    std::shared_ptr<bdx::UserDefaults> store() { return bdx::UserDefaults::standardUserDefaults(); }
};

}  // namespace

TEST_F(BDXDefaultsTest, FreshSettingsHoldNoIdentityAndComputedDefaults) {
    auto defaults = BDXDefaults::getInstance();
    EXPECT_EQ(defaults->willSkipScreenShot()->value(), false);
    EXPECT_FALSE(defaults->willSkipScreenShot()->isSet());
    EXPECT_EQ(defaults->issueTags(), std::vector<std::string>{});
    EXPECT_FALSE(defaults->email());
    EXPECT_FALSE(defaults->savedUUID());
    EXPECT_FALSE(defaults->disclaimerText());
    EXPECT_EQ(defaults->autoScreenRecordingDuration(), 30.0);
    EXPECT_FALSE(defaults->autoScreenRecordingEnabled());
}

TEST_F(BDXDefaultsTest, PersistedSettingsSurviveARelaunchAndRunTimeOnesDoNot) {
    {
        auto defaults = BDXDefaults::getInstance();
        defaults->setSavedUUID("DEVICE-1");
        defaults->setEmail("typed@example.com");
        defaults->setIdentifiedName("Jane");
        defaults->setIssueTags(std::vector<std::string>{"beta", "ios"});
        defaults->setSessionCount(7);
        defaults->setServersSaved(true);
        defaults->setLastRegisteredPNToken("pn");
        defaults->setUnreadMessagesCount(4);
        defaults->setShowPrompt(false);
        defaults->setHasRecentActivity(true);
    }
    relaunch();
    auto defaults = BDXDefaults::getInstance();
    EXPECT_EQ(defaults->savedUUID(), "DEVICE-1");
    EXPECT_EQ(defaults->email(), "typed@example.com");
    EXPECT_EQ(defaults->name(), "Jane");
    EXPECT_EQ(defaults->identifiedName(), "Jane");
    EXPECT_EQ(defaults->issueTags(), (std::vector<std::string>{"beta", "ios"}));
    EXPECT_EQ(defaults->sessionCount(), 7u);
    EXPECT_TRUE(defaults->serversSaved());
    EXPECT_EQ(defaults->lastRegisteredPNToken(), "pn");
    EXPECT_EQ(defaults->unreadMessagesCount(), 4);
    EXPECT_TRUE(defaults->showPrompt());
    EXPECT_FALSE(defaults->hasRecentActivity());
}

TEST_F(BDXDefaultsTest, DestroyReadsTheStoreAgain) {
    auto first = BDXDefaults::getInstance();
    first->setShowPrompt(false);
    store()->setString("written elsewhere", kBDXDefaultsKeyEmail);
    EXPECT_FALSE(BDXDefaults::getInstance()->email()) << "the field is read once, at start";
    BDXDefaults::destroy();
    auto second = BDXDefaults::getInstance();
    EXPECT_NE(first, second);
    EXPECT_EQ(second->email(), "written elsewhere");
    EXPECT_TRUE(second->showPrompt());
}

TEST_F(BDXDefaultsTest, IdentifiedValuesOverwriteThePlainOnesAndNothingRemovesTheKey) {
    auto defaults = BDXDefaults::getInstance();
    defaults->setEmail("typed@example.com");
    defaults->setIdentifiedEmail("known@example.com");
    EXPECT_EQ(defaults->email(), "known@example.com");
    EXPECT_EQ(defaults->identifiedEmail(), "known@example.com");

    defaults->setEmail("other@example.com");
    EXPECT_EQ(defaults->identifiedEmail(), "known@example.com")
        << "the plain setter leaves the identified one";
    EXPECT_EQ(defaults->reportingEmail(), "other@example.com");
    EXPECT_EQ(defaults->sessionEmail(), "known@example.com");

    defaults->setIdentifiedEmail(std::nullopt);
    EXPECT_FALSE(defaults->email());
    EXPECT_TRUE(store()->objectForKey(kBDXDefaultsKeyEmail).is_null());
    EXPECT_TRUE(store()->objectForKey(kBDXDefaultsKeyIdentifiedEmail).is_null());
    EXPECT_EQ(defaults->reportingEmail(), "");
    EXPECT_EQ(defaults->sessionEmail(), "");

    defaults->setIdentifiedName("Jane");
    defaults->setName(std::nullopt);
    EXPECT_EQ(defaults->reportingName(), "Jane");
}

TEST_F(BDXDefaultsTest, AbsentIssueTagsStayAbsent) {
    auto defaults = BDXDefaults::getInstance();
    defaults->setIssueTags(std::vector<std::string>{"a"});
    defaults->setIssueTags(std::nullopt);
    EXPECT_FALSE(defaults->issueTags());
    EXPECT_TRUE(store()->objectForKey(kBDXDefaultsKeyIssueTags).is_null());
    relaunch();
    EXPECT_EQ(BDXDefaults::getInstance()->issueTags(), std::vector<std::string>{});
}

TEST_F(BDXDefaultsTest, SignupDateIsWrittenOnceAtFirstStart) {
    const double start = bdx::Date::now().timeIntervalSince1970();
    EXPECT_EQ(BDXDefaults::getInstance()->signupDate()->timeIntervalSince1970(), start);
    relaunch();
    clock->advance(3600);
    EXPECT_EQ(BDXDefaults::getInstance()->signupDate()->timeIntervalSince1970(), start);
}

TEST_F(BDXDefaultsTest, UnreadCountIsReadOnceAndZeroIsStoredWhenAbsent) {
    auto defaults = BDXDefaults::getInstance();
    EXPECT_EQ(defaults->unreadMessagesCount(), 0);
    EXPECT_EQ(store()->objectForKey(kBDXDefaultsKeyUnreadMessageCount), 0);

    store()->setInteger(9, kBDXDefaultsKeyUnreadMessageCount);
    EXPECT_EQ(defaults->unreadMessagesCount(), 0) << "a count once read is not read again";
    relaunch();
    EXPECT_EQ(BDXDefaults::getInstance()->unreadMessagesCount(), 9);
}

TEST_F(BDXDefaultsTest, AutomaticRecordingIsCappedAndGatedByTheService) {
    auto defaults = BDXDefaults::getInstance();
    defaults->setAutoScreenRecordingDuration(45);
    EXPECT_EQ(defaults->autoScreenRecordingDuration(), 30.0);
    defaults->setAutoScreenRecordingDuration(10);
    EXPECT_EQ(defaults->autoScreenRecordingDuration(), 10.0);

    defaults->setAutoScreenRecordingEnabled(true);
    EXPECT_TRUE(defaults->autoScreenRecordingEnabled());
    defaults->features()->setMultipleAttachments(false);
    EXPECT_FALSE(defaults->autoScreenRecordingEnabled());
}

TEST_F(BDXDefaultsTest, EmailRequirementPerAction) {
    auto defaults = BDXDefaults::getInstance();
    EXPECT_EQ(defaults->actionTypeEmailRequired(),
              (std::map<std::int64_t, bool>{{2, true}, {4, true}, {8, true}}));
    EXPECT_TRUE(defaults->isEmailRequiredForActionType(1));
    EXPECT_FALSE(defaults->isEmailRequiredForActionType(16)) << "an action without an entry";

    defaults->setEmailRequired(false, 4);
    EXPECT_FALSE(defaults->isEmailRequiredForActionType(4));
    EXPECT_TRUE(defaults->isEmailRequiredForActionType(2));
    EXPECT_FALSE(defaults->isEmailRequiredForActionType(1)) << "one entry off turns the whole off";

    defaults->setEmailRequired(false, 1);
    EXPECT_EQ(defaults->actionTypeEmailRequired(),
              (std::map<std::int64_t, bool>{{2, false}, {4, false}, {8, false}}));
    defaults->setEmailRequired(true, 2 | 8);
    EXPECT_TRUE(defaults->isEmailRequiredForActionType(2));
    EXPECT_TRUE(defaults->isEmailRequiredForActionType(8));
    EXPECT_FALSE(defaults->isEmailRequiredForActionType(4));
    EXPECT_FALSE(defaults->isEmailRequiredForActionType(2 | 8)) << "a combined mask has no entry of its own";
}

TEST_F(BDXDefaultsTest, PromptOptionsAreCounted) {
    auto defaults = BDXDefaults::getInstance();
    EXPECT_FALSE(defaults->hasOnePromptOption());
    EXPECT_FALSE(defaults->allPromptOptionsDisabled());
    defaults->setChatInPromptEnabled(false);
    defaults->setFeedbackInPromptEnabled(false);
    EXPECT_TRUE(defaults->hasOnePromptOption());
    defaults->setBugInPromptEnabled(false);
    EXPECT_TRUE(defaults->allPromptOptionsDisabled());
    EXPECT_FALSE(defaults->hasOnePromptOption());
}

TEST_F(BDXDefaultsTest, DaysSinceLastCommunicationCountCalendarDays) {
    bdx::TimeZone::setDefaultTimeZone(bdx::TimeZone::utc());
    auto defaults = BDXDefaults::getInstance();
    EXPECT_EQ(defaults->daysSinceLastUserCommunication(), std::numeric_limits<std::int64_t>::max());
    defaults->setLastContactedAt(bdx::Date::now());
    EXPECT_EQ(defaults->daysSinceLastUserCommunication(), 0);
    clock->advance(14 * 3600 + 59 * 60);  // 23:59 the same day
    EXPECT_EQ(defaults->daysSinceLastUserCommunication(), 0);
    clock->advance(2 * 60);
    EXPECT_EQ(defaults->daysSinceLastUserCommunication(), 1);
}

TEST_F(BDXDefaultsTest, DisclaimerLinksOnlyWhileTheServiceAllowsADisclaimer) {
    auto defaults = BDXDefaults::getInstance();
    defaults->colors()->setDisclaimerLinkColor(bdx::gfx::Color::red());
    defaults->setDisclaimerTextAsAttributedString("Read the [terms](https://example.com/t).");
    ASSERT_TRUE(defaults->disclaimerText());
    const BDXAttributedString text = *defaults->disclaimerText();
    EXPECT_EQ(text.string(), "Read the terms.");
    const BDXTextAttributes link = text.attributesAtIndex(9);
    EXPECT_EQ(link.link, "https://example.com/t");
    EXPECT_EQ(link.foregroundColor, bdx::gfx::Color::red());
    EXPECT_FALSE(text.attributesAtIndex(8).foregroundColor);

    defaults->features()->setDisclaimer(false);
    defaults->setDisclaimerTextAsAttributedString("Something else");
    EXPECT_EQ(defaults->disclaimerText()->string(), "Read the terms.");
}

TEST_F(BDXDefaultsTest, ANameInAnotherEncodingIsStoredWithoutHarm) {
    // A host may hand over bytes that are not UTF-8 (Latin-1 "José"); the store must go on writing.
    auto defaults = BDXDefaults::getInstance();
    defaults->setName(std::string("Jos\xe9"));
    defaults->setEmail("jose@example.com");
    EXPECT_TRUE(store()->synchronize());
    relaunch();
    auto relaunched = BDXDefaults::getInstance();
    EXPECT_EQ(relaunched->email(), "jose@example.com");
    ASSERT_TRUE(relaunched->name());
    EXPECT_EQ(relaunched->name()->rfind("Jos", 0), 0u);
}
