#include "platform/host/Md5.h"

#include <openssl/evp.h>

#include "platform/PlatformLog.h"

namespace bdx {

Md5Digest md5(const void* bytes, std::size_t length) {
    Md5Digest out{};
    unsigned int size = 0;
    static const unsigned char kNothing = 0;
    if (EVP_Digest(bytes ? bytes : &kNothing, bytes ? length : 0, out.data(), &size, EVP_md5(), nullptr) !=
            1 ||
        size != out.size()) {
        platformLog("host", "MD5 digest failed");
        return Md5Digest{};
    }
    return out;
}

Md5Digest md5(const Data& data) {
    return md5(data.data(), data.size());
}

Md5Digest md5(std::string_view bytes) {
    return md5(bytes.data(), bytes.size());
}

std::string hexString(const std::uint8_t* bytes, std::size_t length) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(length * 2);
    for (std::size_t i = 0; i < length; ++i) {
        out.push_back(kHex[bytes[i] >> 4]);
        out.push_back(kHex[bytes[i] & 0x0F]);
    }
    return out;
}

std::string hexString(const Md5Digest& digest) {
    return hexString(digest.data(), digest.size());
}

std::string hexString(const Data& data) {
    return hexString(data.data(), data.size());
}

}  // namespace bdx
