#include "platform/net/PercentEscape.h"

namespace bdx::net {

namespace {

// Bytes that may never stand unescaped in a URL, whatever the caller asks.
bool isIllegalInURL(unsigned char c) {
    if (c <= 0x20 || c >= 0x7F) {
        return true;
    }
    switch (c) {
        case '<':
        case '>':
        case '"':
        case '{':
        case '}':
        case '|':
        case '\\':
        case '^':
        case '`':
        case '%':
        case '#':
        case '[':
        case ']':
            return true;
        default:
            return false;
    }
}

}  // namespace

std::string stringByAddingPercentEscapes(std::string_view text,
                                         std::string_view legalURLCharactersToBeEscaped) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string escaped;
    escaped.reserve(text.size());
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (isIllegalInURL(c) || legalURLCharactersToBeEscaped.find(ch) != std::string_view::npos) {
            escaped += '%';
            escaped += kHex[c >> 4];
            escaped += kHex[c & 0x0F];
        } else {
            escaped += ch;
        }
    }
    return escaped;
}

}  // namespace bdx::net
