#include <gtest/gtest.h>

#include "core/BDXFeature.h"

TEST(BDXFeature, ServiceDecidesTheBaseAndAFalseBaseWins) {
    BDXFeature offByService(true);
    offByService.setServerPermission(false);
    offByService.setUserPreference(true);
    EXPECT_FALSE(offByService.enabled());

    BDXFeature offByDeveloper(true);
    offByDeveloper.setServerPermission(true);
    offByDeveloper.setUserPreference(false);
    EXPECT_FALSE(offByDeveloper.enabled());

    EXPECT_TRUE(BDXFeature(true).enabled());

    // With no word from the service, a false default cannot be turned on by the developer.
    BDXFeature whiteLabel(false);
    whiteLabel.setUserPreference(true);
    EXPECT_FALSE(whiteLabel.enabled());
    whiteLabel.setServerPermission(true);
    EXPECT_TRUE(whiteLabel.enabled());
}

TEST(BDXFeature, SetFlagsNeverGoBack) {
    BDXFeature feature(true);
    EXPECT_FALSE(feature.serverPermissionSet());
    EXPECT_FALSE(feature.userPreferenceSet());
    feature.setServerPermission(false);
    feature.setUserPreference(false);
    feature.setServerPermission(true);
    EXPECT_TRUE(feature.serverPermissionSet());
    EXPECT_TRUE(feature.userPreferenceSet());
    EXPECT_FALSE(feature.enabled()) << "the preference of false stays in force";
}
