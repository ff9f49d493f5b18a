#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/net/URLRequest.h"

namespace bdx::net {

// What a transfer answered, before or without its body. A response that did not come over HTTP is a
// plain URLResponse; an HTTP one is an HTTPURLResponse (tell them apart with dynamic_pointer_cast).
// Immutable once made; shared between threads as std::shared_ptr<const URLResponse>.
class URLResponse {
  public:
    static constexpr std::int64_t UnknownLength = -1;

    URLResponse(std::string URL, std::string MIMEType, std::int64_t expectedContentLength,
                std::string textEncodingName);
    virtual ~URLResponse();

    const std::string& URL() const { return url_; }
    // The media type without parameters, lower case ("application/json"); empty when unknown.
    const std::string& MIMEType() const { return mimeType_; }
    // The announced length of the body, or UnknownLength.
    std::int64_t expectedContentLength() const { return expectedLength_; }
    // The charset parameter, lower case; empty when none was given.
    const std::string& textEncodingName() const { return textEncoding_; }

  private:
    std::string url_;
    std::string mimeType_;
    std::int64_t expectedLength_;
    std::string textEncoding_;
};

// An HTTP response: the status and the header fields. Repeated fields of one name are joined with
// ", " in the order received.
class HTTPURLResponse : public URLResponse {
  public:
    // MIME type, length and encoding are taken from the header fields.
    HTTPURLResponse(std::string URL, long statusCode, std::string HTTPVersion, HTTPHeaderFields headerFields);

    long statusCode() const { return statusCode_; }
    // "HTTP/1.1", "HTTP/2".
    const std::string& HTTPVersion() const { return httpVersion_; }
    const HTTPHeaderFields& allHeaderFields() const { return headers_; }
    // Looked up in any case.
    std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;

  private:
    long statusCode_;
    std::string httpVersion_;
    HTTPHeaderFields headers_;
};

}  // namespace bdx::net
