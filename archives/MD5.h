#pragma once

#include <string>
#include <string_view>

// The MD5 digest of the text's UTF-8 bytes as 32 upper-case hexadecimal digits; the text counts only as far
// as its first NUL, as a C string would.
std::string MD5String(std::string_view text);
