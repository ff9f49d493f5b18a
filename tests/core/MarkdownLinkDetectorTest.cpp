#include <gtest/gtest.h>

#include "core/BDXMarkdownLinkDetector.h"

namespace {

// The text of the link-attributed runs, with their targets, in order.
std::vector<std::pair<std::string, std::string>> linksIn(const BDXAttributedString& text) {
    std::vector<std::pair<std::string, std::string>> links;
    for (const auto& run : text.runs()) {
        if (run.attributes.link) {
            links.emplace_back(text.string().substr(run.location, run.length), *run.attributes.link);
        }
    }
    return links;
}

}  // namespace

TEST(BDXMarkdownLinkDetector, EveryLinkBecomesItsTitleLinkedToItsAddress) {
    const auto text = BDXMarkdownLinkDetector::attributedStringWithLinksFromString(
        "By sending you accept the [terms](https://example.com/terms) and the [privacy "
        "policy](https://example.com/p).");
    EXPECT_EQ(text.string(), "By sending you accept the terms and the privacy policy.");
    EXPECT_EQ(linksIn(text),
              (std::vector<std::pair<std::string, std::string>>{
                  {"terms", "https://example.com/terms"}, {"privacy policy", "https://example.com/p"}}));
    EXPECT_FALSE(text.attributesAtIndex(0).link);
    EXPECT_FALSE(text.attributesAtIndex(text.length() - 1).link);

    const auto accented = BDXMarkdownLinkDetector::attributedStringWithLinksFromString(
        "Voir les [conditions générales](https://exemple.fr/cgu) — merci");
    EXPECT_EQ(accented.string(), "Voir les conditions générales — merci");
    EXPECT_EQ(linksIn(accented), (std::vector<std::pair<std::string, std::string>>{
                                     {"conditions générales", "https://exemple.fr/cgu"}}));
}

TEST(BDXMarkdownLinkDetector, TextWithoutLinksStaysPlain) {
    EXPECT_EQ(BDXMarkdownLinkDetector::parseLinksInText(std::nullopt).length(), 0u);
    EXPECT_EQ(BDXMarkdownLinkDetector::parseLinksInText("").length(), 0u);

    const auto plain = BDXMarkdownLinkDetector::parseLinksInText("[not a link] (nor this) [](x) [t]()");
    EXPECT_EQ(plain.string(), "[not a link] (nor this) [](x) [t]()");
    EXPECT_TRUE(linksIn(plain).empty());
}

TEST(BDXMarkdownLinkDetector, AddressRunsToTheLastParenthesisBeforeAClosingBracket) {
    // The address may hold parentheses: it ends at the last ")" that still leaves a match.
    const auto text = BDXMarkdownLinkDetector::parseLinksInText("[wiki](https://w.org/A_(b)) end");
    EXPECT_EQ(text.string(), "wiki end");
    EXPECT_EQ(linksIn(text),
              (std::vector<std::pair<std::string, std::string>>{{"wiki", "https://w.org/A_(b)"}}));
}

TEST(BDXMarkdownLinkDetector, InvalidPatternFindsNothing) {
    EXPECT_FALSE(BDXMarkdownLinkDetector::findMatchInText("abc", "(unclosed"));
}

TEST(BDXAttributedString, ReplacingKeepsRunsInPlace) {
    BDXAttributedString text("hello world");
    BDXTextAttributes link;
    link.link = "u";
    ASSERT_TRUE(text.addAttributes(link, 6, 5));
    ASSERT_EQ(text.runs().size(), 2u);

    // Shortening text before the link moves the link with its text.
    ASSERT_TRUE(text.replaceCharactersInRange(0, 5, "hi"));
    EXPECT_EQ(text.string(), "hi world");
    EXPECT_EQ(text.runs()[1], (BDXAttributedString::Run{3, 5, link}));

    // Inserting at the end of the link extends it; inside it too.
    ASSERT_TRUE(text.replaceCharactersInRange(8, 0, "s"));
    ASSERT_TRUE(text.replaceCharactersInRange(4, 1, "OO"));
    EXPECT_EQ(text.string(), "hi wOOrlds");
    EXPECT_EQ(text.runs()[1], (BDXAttributedString::Run{3, 7, link}));

    EXPECT_FALSE(text.replaceCharactersInRange(9, 5, "x"));
    EXPECT_FALSE(text.addAttributes(link, 11, 0));
    EXPECT_EQ(text.string(), "hi wOOrlds");
}
