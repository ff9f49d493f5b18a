#pragma once

#include <string_view>

#include "foundation/Value.h"

namespace bdx {

// The platform's reading of a text as a boolean: after blanks, a sign and zeros, "Y", "y", "T", "t" or a
// digit 1-9 means true; anything else, the empty text included, is false.
bool textAsBool(std::string_view text);

// The platform's boolValue of a stored or received value: a boolean as it is, a number when it is not
// zero, a text as textAsBool reads it; null, arrays and objects are false.
bool boolValue(const Value& value);

}  // namespace bdx
