#include "Logging/BDXNetworkLogCategories.h"

#include <nlohmann/json.hpp>
#include <string>

#include "platform/net/URLResponse.h"

BDXNetworkLogContentType bdx_contentType(const std::shared_ptr<const bdx::net::URLResponse>& response) {
    if (!response) {
        return BDXNetworkLogContentTypeNone;
    }
    auto http = std::dynamic_pointer_cast<const bdx::net::HTTPURLResponse>(response);
    if (!http) {
        return BDXNetworkLogContentTypeOther;
    }
    const auto field = http->valueForHTTPHeaderField("Content-Type");
    if (!field) {
        return BDXNetworkLogContentTypeNone;
    }
    const std::string piece = field->substr(0, field->find(';'));
    if (piece == "application/json") {
        return BDXNetworkLogContentTypeJSON;
    }
    if (piece == "application/xml" || piece == "text/xml") {
        return BDXNetworkLogContentTypeXML;
    }
    if (piece == "text/html") {
        return BDXNetworkLogContentTypeHTML;
    }
    if (piece == "text/plain") {
        return BDXNetworkLogContentTypeText;
    }
    return BDXNetworkLogContentTypeOther;
}

float bdx_sizeInMegabytes(const bdx::Data& data) {
    return static_cast<float>(data.size()) / 1024.0f / 1024.0f;
}

bool bdx_isUTF8(const bdx::Data& data) {
    std::size_t index = 0;
    const std::size_t size = data.size();
    while (index < size) {
        const std::uint8_t lead = data[index];
        std::size_t length = 0;
        std::uint32_t codePoint = 0;
        if (lead < 0x80) {
            ++index;
            continue;
        } else if ((lead & 0xE0) == 0xC0) {
            length = 2;
            codePoint = lead & 0x1F;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3;
            codePoint = lead & 0x0F;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4;
            codePoint = lead & 0x07;
        } else {
            return false;
        }
        if (index + length > size) {
            return false;
        }
        for (std::size_t next = 1; next < length; ++next) {
            const std::uint8_t byte = data[index + next];
            if ((byte & 0xC0) != 0x80) {
                return false;
            }
            codePoint = (codePoint << 6) | (byte & 0x3F);
        }
        // Overlong forms, surrogates and values past the last plane are not UTF-8.
        static constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (codePoint < kSmallest[length] || codePoint > 0x10FFFF ||
            (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
            return false;
        }
        index += length;
    }
    return true;
}

bdx::Value bdx_JSONOrUTF8String(const bdx::Data& data) {
    if (!bdx_isUTF8(data)) {
        return nullptr;
    }
    // Only a document parses: an object or an array at the top, as the platform's JSON reader takes it.
    bdx::Value parsed = bdx::Value::parse(data.begin(), data.end(), nullptr, false);
    if (!parsed.is_discarded() && (parsed.is_object() || parsed.is_array())) {
        return parsed;
    }
    return std::string(data.begin(), data.end());
}
