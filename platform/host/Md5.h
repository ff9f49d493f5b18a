#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/Data.h"

namespace bdx {

using Md5Digest = std::array<std::uint8_t, 16>;

// MD5 of bytes (OpenSSL). Never fails: a failure of the library is logged and gives all zeros.
Md5Digest md5(const Data& data);
Md5Digest md5(std::string_view bytes);
Md5Digest md5(const void* bytes, std::size_t length);

// Two lower-case hexadecimal digits per byte.
std::string hexString(const std::uint8_t* bytes, std::size_t length);
std::string hexString(const Md5Digest& digest);
std::string hexString(const Data& data);

}  // namespace bdx
