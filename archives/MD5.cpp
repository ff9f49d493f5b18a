#include "archives/MD5.h"

#include <algorithm>
#include <cctype>

#include "platform/host/Md5.h"

std::string MD5String(std::string_view text) {
    text = text.substr(0, text.find('\0'));
    std::string digits = bdx::hexString(bdx::md5(text));
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return digits;
}
