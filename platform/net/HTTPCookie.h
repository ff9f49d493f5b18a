#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace bdx::net {

// The parts of a URL that decide which cookies it gets: scheme and host in lower case, the path ("/"
// when the URL has none). Nothing for a URL that does not parse or has no host.
struct CookieURL {
    std::string scheme;
    std::string host;
    std::string path;

    static std::optional<CookieURL> parse(std::string_view URL);
    bool isSecure() const { return scheme == "https"; }
};

// One cookie as a server set it (Netscape rules, as browsers keep them): a name and a value for a domain
// and a path, sent only over HTTPS when secure, until it expires. A plain value.
class HTTPCookie {
  public:
    // The cookie of one "Set-Cookie" field value received from `URL` at `now` (seconds since 1970).
    // Nothing for a field without a name, or whose Domain does not cover the URL's host.
    static std::optional<HTTPCookie> cookieWithSetCookieHeader(std::string_view header, std::string_view URL,
                                                               double now);

    const std::string& name() const { return name_; }
    const std::string& value() const { return value_; }
    // Lower case, without a leading dot.
    const std::string& domain() const { return domain_; }
    const std::string& path() const { return path_; }
    // True when no Domain was given: only the very host that set it gets the cookie back.
    bool isHostOnly() const { return hostOnly_; }
    bool isSecure() const { return secure_; }
    bool isHTTPOnly() const { return httpOnly_; }
    // Seconds since 1970; nothing for a cookie of the session (kept until the process ends).
    std::optional<double> expiresDate() const { return expires_; }
    bool isSessionOnly() const { return !expires_; }

    bool isExpiredAt(double now) const { return expires_ && *expires_ <= now; }
    // Whether a request to `url` at `now` carries this cookie: domain, path, secure and expiry.
    bool shouldBeSentTo(const CookieURL& url, double now) const;

    // Same name, domain and path: a later one replaces an earlier one.
    bool isSameCookieAs(const HTTPCookie& other) const {
        return name_ == other.name_ && domain_ == other.domain_ && path_ == other.path_;
    }

  private:
    friend class HTTPCookieStorage;

    std::string name_;
    std::string value_;
    std::string domain_;
    std::string path_;
    bool hostOnly_ = true;
    bool secure_ = false;
    bool httpOnly_ = false;
    std::optional<double> expires_;
    double creation_ = 0;
};

// Whether `host` lies in `domain` (both lower case): equal, or a name under it. An IP address lies only in
// itself.
bool cookieDomainMatches(std::string_view host, std::string_view domain);
// Whether `requestPath` lies under `cookiePath`: equal, or below it at a "/".
bool cookiePathMatches(std::string_view requestPath, std::string_view cookiePath);

}  // namespace bdx::net
