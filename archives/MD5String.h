#pragma once

#include <string>
#include <string_view>

// The MD5 digest of a text as 32 upper-case hexadecimal digits: the form device identifiers take. The
// text's bytes are read up to the first NUL, as a C string would be.
std::string MD5String(std::string_view text);
