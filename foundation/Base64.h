#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/Data.h"

namespace bdx {

// Standard Base64 (RFC 4648 alphabet, padded, no line breaks).
class Base64 {
  public:
    static std::string encode(const Data& bytes);
    static std::string encode(std::string_view bytes);
    // Nothing when the text is not padded Base64; white space is not allowed.
    static std::optional<Data> decode(std::string_view text);
};

}  // namespace bdx
