#pragma once

#include <optional>
#include <string>

#include "core/BDXAttributedString.h"
#include "foundation/RegularExpression.h"

// One match of a pattern: the whole match first, then each capture, as (location, length) in bytes.
using BDXTextMatch = bdx::RegularExpression::Match;

// Turns Markdown links ("[title](address)") in a plain text into link-attributed titles, which is how
// a host writes a disclaimer with links in one string.
class BDXMarkdownLinkDetector {
  public:
    static BDXAttributedString attributedStringWithLinksFromString(const std::optional<std::string>& string);
    // Empty for an absent or empty text.
    static BDXAttributedString parseLinksInText(const std::optional<std::string>& text);
    // Strips the first link, then looks again in what is left, until no link is left.
    static BDXAttributedString findMatchesAndStripInText(const std::string& text);
    // The first match of the regular expression; none for no match or an invalid pattern (logged).
    static std::optional<BDXTextMatch> findMatchInText(const std::string& text,
                                                       const std::string& withPattern);
    // Replaces the match by its first capture, the title, and marks the title as a link to the second
    // capture, the address, in the disclaimer link colour.
    static void stripLinkFromAttributedString(BDXAttributedString& attributedString,
                                              const BDXTextMatch& withMatch, const std::string& inText);
};
