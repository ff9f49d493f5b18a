#include <gtest/gtest.h>

#include "core/BDXFeature.h"

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
