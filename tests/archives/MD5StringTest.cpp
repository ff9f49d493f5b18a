#include <gtest/gtest.h>

#include <string>

#include "archives/MD5String.h"

TEST(MD5String, UpperCaseDigestOfTheTextUpToItsFirstNul) {
    EXPECT_EQ(MD5String(""), "D41D8CD98F00B204E9800998ECF8427E");
    EXPECT_EQ(MD5String("The quick brown fox jumps over the lazy dog"), "9E107D9D372BB6826BD81D3542A419D6");
    EXPECT_EQ(MD5String(std::string("abc\0def", 7)), MD5String("abc"));
    EXPECT_EQ(MD5String("abc"), "900150983CD24FB0D6963F7D28E17F72");
}
