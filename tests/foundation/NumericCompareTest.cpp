#include "foundation/NumericCompare.h"

#include <gtest/gtest.h>

TEST(NumericCompare, DigitRunsCompareByValue) {
    EXPECT_EQ(bdx::compareNumerically("10.0", "9.3"), 1);
    EXPECT_EQ(bdx::compareNumerically("1.9", "1.10"), -1);
    EXPECT_EQ(bdx::compareNumerically("12.4.1", "12.4.1"), 0);
    EXPECT_EQ(bdx::compareNumerically("007", "7"), 0);
    EXPECT_EQ(bdx::compareNumerically("100000000000000000000", "99999999999999999999"), 1)
        << "runs longer than any integer type still compare";
}

TEST(NumericCompare, PrefixComesFirstAndOtherCharactersCompareAsThemselves) {
    EXPECT_EQ(bdx::compareNumerically("10", "10.0"), -1);
    EXPECT_EQ(bdx::compareNumerically("10.0", "10"), 1);
    EXPECT_EQ(bdx::compareNumerically("", ""), 0);
    EXPECT_EQ(bdx::compareNumerically("", "1"), -1);
    EXPECT_EQ(bdx::compareNumerically("1.0b", "1.0a"), 1);
    EXPECT_EQ(bdx::compareNumerically("a2", "a10"), -1);
}
