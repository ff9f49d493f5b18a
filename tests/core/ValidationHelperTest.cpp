#include <gtest/gtest.h>

#include "core/BDXValidationHelper.h"

TEST(BDXValidationHelper, EmailMustBeOneWholeAddress) {
    EXPECT_TRUE(BDXValidationHelper::isValidEmail("Jane.Doe+bugs@Example.co.uk"));
    EXPECT_TRUE(BDXValidationHelper::isValidEmail("a_b%c-d@x-y.io"));
    for (const char* email : {"", "jane", "jane@example", "jane@example.c0m", "jane doe@example.com",
                              "jane@example.com\n", "<jane@example.com>"}) {
        EXPECT_FALSE(BDXValidationHelper::isValidEmail(email)) << email;
    }
}

TEST(BDXValidationHelper, InputIsValidWhenSomethingIsLeftAfterTrimming) {
    EXPECT_TRUE(BDXValidationHelper::isValidInput("  a  "));
    EXPECT_TRUE(BDXValidationHelper::isValidInput("\n.\n"));
    EXPECT_FALSE(BDXValidationHelper::isValidInput(""));
    EXPECT_FALSE(BDXValidationHelper::isValidInput(" \t\r\n "));
    EXPECT_FALSE(BDXValidationHelper::isValidInput("\u00a0\u2028\u3000"));
}
