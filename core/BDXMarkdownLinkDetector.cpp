#include "core/BDXMarkdownLinkDetector.h"

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXColors.h"
#include "core/BDXDefaults.h"
#include "foundation/Error.h"

namespace {
const char* const kMarkdownLinkPattern = R"(\[([^\]]+)\]\(([^\]]+)\))";
}  // namespace

BDXAttributedString BDXMarkdownLinkDetector::attributedStringWithLinksFromString(
    const std::optional<std::string>& string) {
    return parseLinksInText(string);
}

BDXAttributedString BDXMarkdownLinkDetector::parseLinksInText(const std::optional<std::string>& text) {
    if (!text || text->empty()) {
        return BDXAttributedString();
    }
    return findMatchesAndStripInText(*text);
}

BDXAttributedString BDXMarkdownLinkDetector::findMatchesAndStripInText(const std::string& text) {
    BDXAttributedString attributed(text);
    // Each strip shortens the text by at least the four marks, so this ends.
    while (auto match = findMatchInText(attributed.string(), kMarkdownLinkPattern)) {
        const std::string current = attributed.string();
        stripLinkFromAttributedString(attributed, *match, current);
    }
    return attributed;
}

std::optional<BDXTextMatch> BDXMarkdownLinkDetector::findMatchInText(const std::string& text,
                                                                     const std::string& withPattern) {
    bdx::Error error;
    const auto expression = bdx::RegularExpression::make(withPattern, &error);
    if (!expression) {
        BDXSDKLogError("Could not compile the pattern %@: %@", withPattern, error.localizedDescription());
        return std::nullopt;
    }
    return expression->firstMatch(text);
}

void BDXMarkdownLinkDetector::stripLinkFromAttributedString(BDXAttributedString& attributedString,
                                                            const BDXTextMatch& withMatch,
                                                            const std::string& inText) {
    if (withMatch.ranges.size() < 3 || !withMatch.ranges[0] || !withMatch.ranges[1] || !withMatch.ranges[2]) {
        return;
    }
    const auto [matchLocation, matchLength] = *withMatch.ranges[0];
    const auto [titleLocation, titleLength] = *withMatch.ranges[1];
    const auto [urlLocation, urlLength] = *withMatch.ranges[2];
    if (titleLocation + titleLength > inText.size() || urlLocation + urlLength > inText.size()) {
        return;
    }
    const std::string title = inText.substr(titleLocation, titleLength);
    const std::string url = inText.substr(urlLocation, urlLength);

    if (!attributedString.replaceCharactersInRange(matchLocation, matchLength, title)) {
        return;
    }
    BDXTextAttributes linkAttributes;
    linkAttributes.link = url;
    if (auto colors = BDXDefaults::getInstance()->colors()) {
        linkAttributes.foregroundColor = colors->disclaimerLinkColor();
    }
    attributedString.addAttributes(linkAttributes, matchLocation, title.size());
}
