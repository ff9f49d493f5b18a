#include "core/BrindlexCore.h"

#include <gtest/gtest.h>

#include <string>

TEST(BrindlexCoreVersion, StringAndNumberAgree) {
    std::string text = BrindlexCoreVersionString;
    ASSERT_FALSE(text.empty());
    // The number is the major.minor of the string, so that a host can compare versions numerically.
    EXPECT_DOUBLE_EQ(BrindlexCoreVersionNumber, std::stod(text.substr(0, text.rfind('.'))));
}
