#include "archives/MD5.h"

#include <gtest/gtest.h>

#include <string>

TEST(MD5String, KnownDigestsInCapitals) {
    EXPECT_EQ("D41D8CD98F00B204E9800998ECF8427E", MD5String(""));
    EXPECT_EQ("9E107D9D372BB6826BD81D3542A419D6", MD5String("The quick brown fox jumps over the lazy dog"));
    // UTF-8 bytes of a non-ASCII text (e-mail addresses may hold them).
    EXPECT_EQ("1020B8F7B35FA04503BBB1A6C0182CA9", MD5String("j\xC3\xB6rg@example.com"));
}

TEST(MD5String, DigestStopsAtTheFirstNul) {
    const std::string withNul("abc\0def", 7);
    EXPECT_EQ(MD5String("abc"), MD5String(withNul));
    EXPECT_EQ("900150983CD24FB0D6963F7D28E17F72", MD5String(withNul));
    EXPECT_EQ(MD5String(""), MD5String(std::string("\0abc", 4)));
}
