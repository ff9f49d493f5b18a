#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "foundation/Data.h"
#include "foundation/Value.h"

namespace bdx::net {
class URLResponse;
}  // namespace bdx::net

// The kind of body a response announces in its "Content-Type" field. Only the kinds a person can read
// in a report are logged.
enum BDXNetworkLogContentType : std::uint64_t {
    BDXNetworkLogContentTypeNone = 0,
    BDXNetworkLogContentTypeJSON = 1,
    BDXNetworkLogContentTypeXML = 2,
    BDXNetworkLogContentTypeHTML = 3,
    BDXNetworkLogContentTypeText = 4,
    BDXNetworkLogContentTypeOther = 5,
};

// The piece of "Content-Type" before the first ";", compared exactly (case and blanks count). None for
// a missing response or field; other for anything else, and for a response that is not HTTP.
BDXNetworkLogContentType bdx_contentType(const std::shared_ptr<const bdx::net::URLResponse>& response);

// The length in megabytes, computed in single precision as the size rule has always been.
float bdx_sizeInMegabytes(const bdx::Data& data);

// Whether the bytes are well-formed UTF-8.
bool bdx_isUTF8(const bdx::Data& data);

// The parsed JSON object or array the bytes hold; otherwise the bytes as UTF-8 text; null for bytes that
// are not UTF-8.
bdx::Value bdx_JSONOrUTF8String(const bdx::Data& data);
