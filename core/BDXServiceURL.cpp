#include "core/BDXServiceURL.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "foundation/Console.h"

namespace {

struct URLParts {
    std::string scheme;
    std::string_view authority;
    std::string_view rest;  // path, query and fragment
};

std::optional<URLParts> split(std::string_view url) {
    std::size_t schemeEnd = url.find("://");
    if (schemeEnd == std::string_view::npos || schemeEnd == 0) {
        return std::nullopt;
    }
    URLParts parts;
    parts.scheme = std::string(url.substr(0, schemeEnd));
    std::transform(parts.scheme.begin(), parts.scheme.end(), parts.scheme.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    std::string_view afterScheme = url.substr(schemeEnd + 3);
    std::size_t authorityEnd = afterScheme.find_first_of("/?#");
    parts.authority = afterScheme.substr(0, authorityEnd);
    parts.rest =
        authorityEnd == std::string_view::npos ? std::string_view() : afterScheme.substr(authorityEnd);
    return parts;
}

std::string hostOfAuthority(std::string_view authority) {
    if (std::size_t at = authority.rfind('@'); at != std::string_view::npos) {
        authority = authority.substr(at + 1);
    }
    if (!authority.empty() && authority.front() == '[') {
        std::size_t close = authority.find(']');
        return close == std::string_view::npos ? std::string() : std::string(authority.substr(1, close - 1));
    }
    return std::string(authority.substr(0, authority.find(':')));
}

}  // namespace

std::string BDXServiceURL::defaultBaseURL() {
    // Appended in place: gcc 12 warns of a false overflow on a chain of string temporaries here.
    std::string url = "https://";
    url += kDefaultHost;
    url += kBasePath;
    return url;
}

std::optional<std::string> BDXServiceURL::normalizedBaseURL(std::string_view text) {
    auto parts = split(text);
    if (!parts || (parts->scheme != "http" && parts->scheme != "https") ||
        hostOfAuthority(parts->authority).empty() ||
        text.find_first_of(" \t\r\n") != std::string_view::npos) {
        bdx::Console::logFault("[Brindlex] ignoring the service address \"" + std::string(text) +
                               "\": it must be an http or https URL with a host");
        return std::nullopt;
    }
    std::string url(text);
    if (parts->rest.empty() || parts->rest == "/") {
        url = parts->scheme + "://" + std::string(parts->authority) + kBasePath;
    }
    while (url.size() > 1 && url.back() == '/') {
        url.pop_back();
    }
    return url;
}

std::optional<std::string> BDXServiceURL::environmentBaseURL() {
    const char* value = std::getenv(kEnvironmentVariable);
    if (value == nullptr || *value == '\0') {
        return std::nullopt;
    }
    return normalizedBaseURL(value);
}

std::string BDXServiceURL::hostOfURL(std::string_view url) {
    auto parts = split(url);
    return parts ? hostOfAuthority(parts->authority) : std::string();
}
