#include "platform/net/URLResponse.h"

#include <cctype>
#include <charconv>

namespace bdx::net {

namespace {

std::string trimmedLower(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) {
        text.remove_prefix(1);
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
        text.remove_suffix(1);
    }
    std::string out(text);
    for (char& c : out) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return out;
}

std::string headerValue(const HTTPHeaderFields& fields, std::string_view name) {
    auto found = fields.find(name);
    return found == fields.end() ? std::string() : found->second;
}

// "text/html; charset=UTF-8" -> {"text/html", "utf-8"}.
std::pair<std::string, std::string> splitContentType(std::string_view value) {
    const auto semicolon = value.find(';');
    std::string type = trimmedLower(value.substr(0, semicolon));
    std::string charset;
    while (semicolon != std::string_view::npos && semicolon < value.size()) {
        std::string_view rest = value.substr(semicolon + 1);
        for (std::size_t start = 0; start <= rest.size();) {
            const auto end = rest.find(';', start);
            std::string_view parameter =
                rest.substr(start, end == std::string_view::npos ? rest.npos : end - start);
            const auto equals = parameter.find('=');
            if (equals != std::string_view::npos && trimmedLower(parameter.substr(0, equals)) == "charset") {
                charset = trimmedLower(parameter.substr(equals + 1));
                if (charset.size() >= 2 && charset.front() == '"' && charset.back() == '"') {
                    charset = charset.substr(1, charset.size() - 2);
                }
            }
            if (end == std::string_view::npos) {
                break;
            }
            start = end + 1;
        }
        break;
    }
    return {type, charset};
}

std::int64_t contentLength(const HTTPHeaderFields& fields) {
    const std::string value = trimmedLower(headerValue(fields, "Content-Length"));
    std::int64_t length = 0;
    auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), length);
    if (value.empty() || error != std::errc() || end != value.data() + value.size() || length < 0) {
        return URLResponse::UnknownLength;
    }
    return length;
}

}  // namespace

URLResponse::URLResponse(std::string URL, std::string MIMEType, std::int64_t expectedContentLength,
                         std::string textEncodingName)
    : url_(std::move(URL)),
      mimeType_(std::move(MIMEType)),
      expectedLength_(expectedContentLength),
      textEncoding_(std::move(textEncodingName)) {}

URLResponse::~URLResponse() = default;

HTTPURLResponse::HTTPURLResponse(std::string URL, long statusCode, std::string HTTPVersion,
                                 HTTPHeaderFields headerFields)
    : URLResponse(std::move(URL), splitContentType(headerValue(headerFields, "Content-Type")).first,
                  contentLength(headerFields),
                  splitContentType(headerValue(headerFields, "Content-Type")).second),
      statusCode_(statusCode),
      httpVersion_(std::move(HTTPVersion)),
      headers_(std::move(headerFields)) {}

std::optional<std::string> HTTPURLResponse::valueForHTTPHeaderField(std::string_view field) const {
    auto found = headers_.find(field);
    if (found == headers_.end()) {
        return std::nullopt;
    }
    return found->second;
}

}  // namespace bdx::net
