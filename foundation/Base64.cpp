#include "foundation/Base64.h"

#include <openssl/evp.h>

namespace bdx {

std::string Base64::encode(std::string_view bytes) {
    if (bytes.empty()) {
        return {};
    }
    std::string text(4 * ((bytes.size() + 2) / 3), '\0');
    // Encoded in chunks so that sizes stay within the int the library takes.
    size_t in = 0;
    size_t out = 0;
    constexpr size_t chunk = 3 * (1 << 20);
    while (in < bytes.size()) {
        const size_t take = std::min(chunk, bytes.size() - in);
        const int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data() + out),
                                            reinterpret_cast<const unsigned char*>(bytes.data() + in),
                                            static_cast<int>(take));
        in += take;
        out += static_cast<size_t>(written);
    }
    text.resize(out);
    return text;
}

std::string Base64::encode(const Data& bytes) {
    return encode(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

std::optional<Data> Base64::decode(std::string_view text) {
    if (text.empty()) {
        return Data{};
    }
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    for (char c : text) {
        const bool valid = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                           c == '+' || c == '/' || c == '=';
        if (!valid) {
            return std::nullopt;
        }
    }
    const size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
    if (text.substr(0, text.size() - padding).find('=') != std::string_view::npos) {
        return std::nullopt;
    }
    Data bytes(text.size() / 4 * 3);
    size_t in = 0;
    size_t out = 0;
    constexpr size_t chunk = 4 * (1 << 20);
    while (in < text.size()) {
        const size_t take = std::min(chunk, text.size() - in);
        const int written =
            EVP_DecodeBlock(bytes.data() + out, reinterpret_cast<const unsigned char*>(text.data() + in),
                            static_cast<int>(take));
        if (written < 0) {
            return std::nullopt;
        }
        in += take;
        out += static_cast<size_t>(written);
    }
    // The block decoder counts padding as zero bytes; drop them.
    bytes.resize(out - padding);
    return bytes;
}

}  // namespace bdx
