#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "Logging/BDXInspector.h"
#include "archives/MD5String.h"
#include "core/BDXDataStore.h"
#include "core/BDXDefaults.h"
#include "core/BDXUser.h"
#include "platform/host/Info.h"
#include "testing/ConsoleCapture.h"
#include "tests/core/CoreTestSupport.h"

namespace {

class BDXUserIdentity : public bdx::testing::CoreTest {
  protected:
    void SetUp() override {
        CoreTest::SetUp();
        auto info = std::make_shared<bdx::host::Info>();
        info->setBundleIdentifier("com.example.host");
        info->setVendorIdentifier("6F9619FF-8B86-D011-B42D-00C04FC964FF");
        bdx::host::Info::setShared(info);
        BDXDataStore::getInstance()->setAppToken("token-123");
    }
    void TearDown() override {
        bdx::host::Info::destroy();
        CoreTest::TearDown();
    }

    std::shared_ptr<BDXDefaults> defaults() { return BDXDefaults::getInstance(); }
    std::string anonymousUUID() {
        return "6F9619FF-8B86-D011-B42D-00C04FC964FF-" + MD5String("com.example.host");
    }

    BDXUser user;
};

}  // namespace

TEST_F(BDXUserIdentity, IdentifiersAreFormedFromDeviceBundleEmailAndToken) {
    EXPECT_EQ(BDXInspector::deviceUUID(), "6F9619FF-8B86-D011-B42D-00C04FC964FF");
    const std::string old = BDXInspector::oldUUID();
    EXPECT_EQ(old, anonymousUUID());
    EXPECT_EQ(BDXInspector::getUUIDFromEmail("jane@example.com"), MD5String("jane@example.comtoken-123"));

    const std::string session = BDXInspector::sessionUUID();
    EXPECT_EQ(session.size(), 36u);
    EXPECT_EQ(BDXInspector::sessionUUID(), session);
    EXPECT_NE(session, BDXInspector::getUUID());
}

TEST_F(BDXUserIdentity, IdentifierIsDerivedOnlyWhenNoneIsSaved) {
    EXPECT_EQ(BDXInspector::getUUID(), anonymousUUID());
    EXPECT_EQ(defaults()->savedUUID(), anonymousUUID());

    // The identity changes, the saved identifier does not follow by itself.
    defaults()->setIdentifiedEmail("jane@example.com");
    EXPECT_EQ(BDXInspector::getUUID(), anonymousUUID());

    user.generateNewUUIDFromCurrentState();
    EXPECT_FALSE(defaults()->savedUUID());
    EXPECT_EQ(BDXInspector::getUUID(), MD5String("jane@example.comtoken-123"));
    EXPECT_EQ(BDXInspector::getUUID(), BDXInspector::getUUID());

    relaunch();
    EXPECT_EQ(BDXInspector::getUUID(), MD5String("jane@example.comtoken-123"));
}

TEST_F(BDXUserIdentity, FirstIdentificationDerivesFromTheEmailWithOrWithoutRecentActivity) {
    for (bool recentActivity : {false, true}) {
        defaults()->setHasRecentActivity(recentActivity);
        EXPECT_EQ(BDXInspector::getUUID(), anonymousUUID());
        user.identifyUserWithEmail("Jane@Example.com", "Jane");
        EXPECT_EQ(defaults()->identifiedEmail(), "jane@example.com");
        EXPECT_EQ(defaults()->email(), "jane@example.com");
        EXPECT_EQ(defaults()->identifiedName(), "Jane");
        EXPECT_EQ(BDXInspector::getUUID(), MD5String("jane@example.comtoken-123")) << recentActivity;
        user.logOut();  // back to an anonymous start for the next round
    }
}

TEST_F(BDXUserIdentity, SameEmailInAnotherCaseChangesOnlyTheName) {
    user.identifyUserWithEmail("jane@example.com", "Jane");
    const std::string identifier = BDXInspector::getUUID();
    user.identifyUserWithEmail("JANE@EXAMPLE.COM", "Jane Doe");
    EXPECT_EQ(defaults()->savedUUID(), identifier);
    EXPECT_EQ(BDXInspector::getUUID(), identifier);
    EXPECT_EQ(defaults()->identifiedEmail(), "jane@example.com");
    EXPECT_EQ(defaults()->identifiedName(), "Jane Doe");
    EXPECT_EQ(defaults()->name(), "Jane Doe");
}

TEST_F(BDXUserIdentity, AnotherEmailStartsANewIdentity) {
    user.identifyUserWithEmail("jane@example.com", "Jane");
    BDXInspector::getUUID();
    user.identifyUserWithEmail("john@example.com", std::nullopt);
    EXPECT_EQ(defaults()->identifiedEmail(), "john@example.com");
    EXPECT_FALSE(defaults()->identifiedName());
    EXPECT_FALSE(defaults()->savedUUID());
    EXPECT_EQ(BDXInspector::getUUID(), MD5String("john@example.comtoken-123"));
}

TEST_F(BDXUserIdentity, InvalidEmailIsRefusedWithTheMessageAndChangesNothing) {
    BDXInspector::overrideDebuggerAttached(true);
    user.identifyUserWithEmail("jane@example.com", "Jane");
    const std::string identifier = BDXInspector::getUUID();

    for (const std::optional<std::string>& email :
         {std::optional<std::string>(""), std::optional<std::string>("not an email"),
          std::optional<std::string>()}) {
        bdx::testing::ConsoleCapture console;
        user.identifyUserWithEmail(email, "Somebody");
        EXPECT_TRUE(console.contains(
            bdx::Console::Channel::StandardOutput,
            "[Brindlex] Attempting to identify user with an invalid email. User will not be identified."));
        EXPECT_EQ(defaults()->identifiedEmail(), "jane@example.com");
        EXPECT_EQ(defaults()->identifiedName(), "Jane");
        EXPECT_EQ(defaults()->savedUUID(), identifier);
    }
}

TEST_F(BDXUserIdentity, LogOutClearsTheIdentityAndDerivesANewIdentifier) {
    user.identifyUserWithEmail("jane@example.com", "Jane");
    defaults()->setHasRecentActivity(true);
    EXPECT_EQ(BDXInspector::getUUID(), MD5String("jane@example.comtoken-123"));

    user.logOut();
    EXPECT_FALSE(defaults()->email());
    EXPECT_FALSE(defaults()->identifiedEmail());
    EXPECT_FALSE(defaults()->name());
    EXPECT_FALSE(defaults()->identifiedName());
    EXPECT_FALSE(user.hasRecentActivity());
    EXPECT_FALSE(defaults()->savedUUID());
    EXPECT_EQ(BDXInspector::getUUID(), anonymousUUID());
}

TEST_F(BDXUserIdentity, TestIdentifierIsTwentyLettersAndDigits) {
    BDXUser::generateNewUUIDForTest();
    const auto first = defaults()->savedUUID();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->size(), 20u);
    EXPECT_TRUE(std::all_of(first->begin(), first->end(), [](char c) { return std::isalnum(c); }));
    EXPECT_EQ(BDXInspector::getUUID(), *first);
    BDXUser::generateNewUUIDForTest();
    EXPECT_NE(defaults()->savedUUID(), first);
}
