#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/net/HTTPCookie.h"
#include "platform/net/URLRequest.h"

namespace bdx::net {

// A cookie jar. The process's shared one is filled by every URL session from the "Set-Cookie" fields of
// the responses it receives, and read for the "Cookie" field of the requests it sends (see
// URLSessionConfiguration::cookieStorage). Times are read from bdx::Clock, so expiry follows the clock in
// force. Safe from any thread.
class HTTPCookieStorage {
  public:
    // The jar of the process, made on first use.
    static std::shared_ptr<HTTPCookieStorage> sharedHTTPCookieStorage();

    // Stores `cookie`, replacing one of the same name, domain and path (whose creation time it keeps); an
    // expired one only removes that.
    void setCookie(const HTTPCookie& cookie);
    // Stores every cookie the "Set-Cookie" field values of a response from `URL` set; others are ignored.
    void setCookiesFromSetCookieHeaders(const std::vector<std::string>& setCookieValues,
                                        std::string_view URL);
    void deleteCookie(const HTTPCookie& cookie);
    void removeAllCookies();

    // Every cookie not yet expired.
    std::vector<HTTPCookie> cookies() const;
    // The cookies a request to `URL` carries: longer paths first, then the older first.
    std::vector<HTTPCookie> cookiesForURL(std::string_view URL) const;

    // {"Cookie": "a=1; b=2"} for these cookies; empty for none.
    static HTTPHeaderFields requestHeaderFieldsWithCookies(const std::vector<HTTPCookie>& cookies);

  private:
    mutable std::mutex mutex_;
    std::vector<HTTPCookie> cookies_;
};

}  // namespace bdx::net
