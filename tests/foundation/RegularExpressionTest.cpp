#include <gtest/gtest.h>

#include <string>

#include "foundation/Error.h"
#include "foundation/RegularExpression.h"

using bdx::RegularExpression;
using Range = std::pair<std::size_t, std::size_t>;

TEST(RegularExpression, InvalidPatternIsRefusedWithAReason) {
    bdx::Error error;
    EXPECT_EQ(RegularExpression::make("(unclosed", &error), nullptr);
    EXPECT_EQ(error.domain(), bdx::Error::CocoaErrorDomain);
    EXPECT_EQ(error.code(), RegularExpression::InvalidPatternErrorCode);
    EXPECT_NE(error.localizedDescription().find("(unclosed"), std::string::npos)
        << error.localizedDescription();
}

TEST(RegularExpression, FirstMatchGivesByteRangesOfEveryGroup) {
    const auto expression = RegularExpression::make(R"(\[([^\]]+)\]\(([^\]]+)\)|(never))");
    ASSERT_TRUE(expression);
    // "é" is two bytes: ranges count bytes.
    const auto match = expression->firstMatch("é [a](b) [c](d)");
    ASSERT_TRUE(match);
    ASSERT_EQ(match->ranges.size(), 4u);
    EXPECT_EQ(match->ranges[0], (Range{3, 6}));
    EXPECT_EQ(match->ranges[1], (Range{4, 1}));
    EXPECT_EQ(match->ranges[2], (Range{7, 1}));
    EXPECT_FALSE(match->ranges[3]) << "a group outside the match has no range";

    const auto second = expression->firstMatch("é [a](b) [c](d)", 9);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->ranges[0], (Range{10, 6}));
    EXPECT_FALSE(expression->firstMatch("no link"));
}

TEST(RegularExpression, MatchesEntirelyOnlyWhenTheWholeTextMatches) {
    const auto email = RegularExpression::make(R"([A-Z0-9a-z._%+-]+@[A-Za-z0-9.-]+\.[A-Za-z]+)");
    ASSERT_TRUE(email);
    EXPECT_TRUE(email->matchesEntirely("jane.doe+bugs@example.co.uk"));
    EXPECT_FALSE(email->matchesEntirely(" jane@example.com"));
    EXPECT_FALSE(email->matchesEntirely("jane@example.com!"));
    EXPECT_FALSE(email->matchesEntirely("jane@example"));
    EXPECT_FALSE(email->matchesEntirely(""));
}

TEST(RegularExpression, LongAndInvalidHostTextIsSearchedWithoutHarm) {
    const auto expression = RegularExpression::make(R"(\[([^\]]+)\]\(([^\]]+)\))");
    ASSERT_TRUE(expression);
    // Long enough to exhaust a thread's stack in a recursive matcher.
    const std::string title(300000, 'a');
    const auto match = expression->firstMatch("[" + title + "](x)");
    ASSERT_TRUE(match);
    EXPECT_EQ(match->ranges[1], (Range{1, title.size()}));

    const std::string broken = std::string("\xff\xfe [t](u)");
    const auto inBroken = expression->firstMatch(broken);
    ASSERT_TRUE(inBroken);
    EXPECT_EQ(inBroken->ranges[0], (Range{3, 6}));
}
