#include "archives/MD5String.h"

#include <algorithm>
#include <cctype>

#include "platform/host/Md5.h"

std::string MD5String(std::string_view text) {
    const auto nul = text.find('\0');
    if (nul != std::string_view::npos) {
        text = text.substr(0, nul);
    }
    std::string hex = bdx::hexString(bdx::md5(text));
    std::transform(hex.begin(), hex.end(), hex.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return hex;
}
