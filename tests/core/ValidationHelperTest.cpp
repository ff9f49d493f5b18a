#include <gtest/gtest.h>

#include "core/BDXValidationHelper.h"

TEST(BDXValidationHelper, EmailMustBeOneWholeAddress) {
    EXPECT_TRUE(BDXValidationHelper::isValidEmail("Jane.Doe+bugs@Example.co.uk"));
    EXPECT_TRUE(BDXValidationHelper::isValidEmail("a_b%c-d@x-y.io"));
    EXPECT_FALSE(BDXValidationHelper::isValidEmail(""));
    EXPECT_FALSE(BDXValidationHelper::isValidEmail("jane"));
    EXPECT_FALSE(BDXValidationHelper::isValidEmail("jane@example"));
    EXPECT_FALSE(BDXValidationHelper::isValidEmail("jane@example.c0m"));
    EXPECT_FALSE(BDXValidationHelper::isValidEmail("jane doe@example.com"));
    EXPECT_FALSE(BDXValidationHelper::isValidEmail("jane@example.com\n"));
    EXPECT_FALSE(BDXValidationHelper::isValidEmail("<jane@example.com>"));
}

TEST(BDXValidationHelper, InputIsValidWhenSomethingIsLeftAfterTrimming) {
    EXPECT_TRUE(BDXValidationHelper::isValidInput("  a  "));
    EXPECT_TRUE(BDXValidationHelper::isValidInput("\n.\n"));
    EXPECT_FALSE(BDXValidationHelper::isValidInput(""));
    EXPECT_FALSE(BDXValidationHelper::isValidInput(" \t\r\n "));
    EXPECT_FALSE(BDXValidationHelper::isValidInput("\u00a0\u2028\u3000"));
}
