#pragma once

#include <string>
#include <string_view>

namespace bdx::net {

// Percent-escapes UTF-8 text for use in a URL: every byte that may not stand in a URL (controls,
// the blank, bytes of non-ASCII characters, and "<>\"{}|\\^`%#[]"), plus every character of
// `legalURLCharactersToBeEscaped`, becomes "%XX" with upper-case hex digits. What stays as it is:
// letters, digits, "-._~" and the reserved characters not named in the set.
//
// The set of the query builder of the request pipeline is "!*'();:@&=+$,/?%#[]\" ", which leaves
// only letters, digits and "-._~" unescaped.
std::string stringByAddingPercentEscapes(std::string_view text,
                                         std::string_view legalURLCharactersToBeEscaped);

}  // namespace bdx::net
