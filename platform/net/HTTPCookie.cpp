#include "platform/net/HTTPCookie.h"

#include <arpa/inet.h>
#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>

namespace bdx::net {

namespace {

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

std::string lowercased(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

bool isIPAddress(std::string_view host) {
    std::string text(host);
    if (text.size() > 2 && text.front() == '[' && text.back() == ']') {
        text = text.substr(1, text.size() - 2);
    }
    unsigned char address[sizeof(struct in6_addr)];
    return inet_pton(AF_INET, text.c_str(), address) == 1 || inet_pton(AF_INET6, text.c_str(), address) == 1;
}

// The folder of a request path, the default path of a cookie set without one.
std::string defaultPath(std::string_view requestPath) {
    if (requestPath.empty() || requestPath.front() != '/') {
        return "/";
    }
    const auto slash = requestPath.rfind('/');
    return slash == 0 ? "/" : std::string(requestPath.substr(0, slash));
}

std::optional<double> parseMaxAge(std::string_view text) {
    long long seconds = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (failure != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return static_cast<double>(seconds);
}

}  // namespace

std::optional<CookieURL> CookieURL::parse(std::string_view URL) {
    CURLU* handle = curl_url();
    if (!handle) {
        return std::nullopt;
    }
    std::optional<CookieURL> parsed;
    const std::string text(URL);
    if (curl_url_set(handle, CURLUPART_URL, text.c_str(), 0) == CURLUE_OK) {
        char* scheme = nullptr;
        char* host = nullptr;
        char* path = nullptr;
        if (curl_url_get(handle, CURLUPART_SCHEME, &scheme, 0) == CURLUE_OK &&
            curl_url_get(handle, CURLUPART_HOST, &host, 0) == CURLUE_OK) {
            curl_url_get(handle, CURLUPART_PATH, &path, 0);
            parsed = CookieURL{lowercased(scheme), lowercased(host), path && *path ? path : "/"};
        }
        curl_free(scheme);
        curl_free(host);
        curl_free(path);
    }
    curl_url_cleanup(handle);
    return parsed;
}

bool cookieDomainMatches(std::string_view host, std::string_view domain) {
    if (host == domain) {
        return true;
    }
    return !isIPAddress(host) && host.size() > domain.size() && host.ends_with(domain) &&
           host[host.size() - domain.size() - 1] == '.';
}

bool cookiePathMatches(std::string_view requestPath, std::string_view cookiePath) {
    if (!requestPath.starts_with(cookiePath)) {
        return false;
    }
    return requestPath.size() == cookiePath.size() || cookiePath.ends_with('/') ||
           requestPath[cookiePath.size()] == '/';
}

std::optional<HTTPCookie> HTTPCookie::cookieWithSetCookieHeader(std::string_view header, std::string_view URL,
                                                                double now) {
    const auto url = CookieURL::parse(URL);
    if (!url) {
        return std::nullopt;
    }
    std::string_view rest = header;
    const auto firstSemicolon = rest.find(';');
    const std::string_view pair = rest.substr(0, firstSemicolon);
    rest = firstSemicolon == std::string_view::npos ? std::string_view{} : rest.substr(firstSemicolon + 1);
    const auto equals = pair.find('=');
    if (equals == std::string_view::npos) {
        return std::nullopt;
    }
    HTTPCookie cookie;
    cookie.name_ = std::string(trimmed(pair.substr(0, equals)));
    cookie.value_ = std::string(trimmed(pair.substr(equals + 1)));
    if (cookie.name_.empty()) {
        return std::nullopt;
    }
    cookie.creation_ = now;

    std::optional<double> maxAge;
    std::optional<double> expires;
    std::optional<std::string> domain;
    std::optional<std::string> path;
    while (!rest.empty()) {
        const auto semicolon = rest.find(';');
        const std::string_view attribute = rest.substr(0, semicolon);
        rest = semicolon == std::string_view::npos ? std::string_view{} : rest.substr(semicolon + 1);
        const auto attributeEquals = attribute.find('=');
        const std::string key = lowercased(trimmed(attribute.substr(0, attributeEquals)));
        const std::string_view value = attributeEquals == std::string_view::npos
                                           ? std::string_view{}
                                           : trimmed(attribute.substr(attributeEquals + 1));
        if (key == "expires") {
            const std::string date(value);
            const time_t parsed = curl_getdate(date.c_str(), nullptr);
            if (parsed != -1) {
                expires = static_cast<double>(parsed);
            }
        } else if (key == "max-age") {
            if (auto seconds = parseMaxAge(value)) {
                // Zero or less: gone at once.
                maxAge = *seconds <= 0 ? -std::numeric_limits<double>::infinity() : now + *seconds;
            }
        } else if (key == "domain" && !value.empty()) {
            std::string_view name = value;
            if (name.front() == '.') {
                name.remove_prefix(1);
            }
            domain = lowercased(name);
        } else if (key == "path") {
            path = std::string(value);
        } else if (key == "secure") {
            cookie.secure_ = true;
        } else if (key == "httponly") {
            cookie.httpOnly_ = true;
        }
    }

    if (domain && !domain->empty()) {
        // A server sets cookies for itself or a domain above it, never for a neighbour, and never for a
        // whole top-level domain ("com").
        if (!cookieDomainMatches(url->host, *domain) ||
            (*domain != url->host && domain->find('.') == std::string::npos)) {
            return std::nullopt;
        }
        cookie.domain_ = *domain;
        cookie.hostOnly_ = false;
    } else {
        cookie.domain_ = url->host;
    }
    cookie.path_ = path && !path->empty() && path->front() == '/' ? *path : defaultPath(url->path);
    // Max-Age wins over Expires.
    cookie.expires_ = maxAge ? maxAge : expires;
    return cookie;
}

bool HTTPCookie::shouldBeSentTo(const CookieURL& url, double now) const {
    if (isExpiredAt(now) || (secure_ && !url.isSecure())) {
        return false;
    }
    const bool domainMatches = hostOnly_ ? url.host == domain_ : cookieDomainMatches(url.host, domain_);
    return domainMatches && cookiePathMatches(url.path, path_);
}

}  // namespace bdx::net
