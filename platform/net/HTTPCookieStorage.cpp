#include "platform/net/HTTPCookieStorage.h"

#include <algorithm>

#include "foundation/Date.h"
#include "foundation/Singleton.h"

namespace bdx::net {

namespace {

double now() {
    return Date::now().timeIntervalSince1970();
}

}  // namespace

std::shared_ptr<HTTPCookieStorage> HTTPCookieStorage::sharedHTTPCookieStorage() {
    return Singleton<HTTPCookieStorage>::holder().get([] { return std::make_shared<HTTPCookieStorage>(); });
}

void HTTPCookieStorage::setCookie(const HTTPCookie& cookie) {
    std::lock_guard lock(mutex_);
    auto existing = std::find_if(cookies_.begin(), cookies_.end(),
                                 [&](const HTTPCookie& kept) { return kept.isSameCookieAs(cookie); });
    if (cookie.isExpiredAt(now())) {
        if (existing != cookies_.end()) {
            cookies_.erase(existing);
        }
        return;
    }
    if (existing == cookies_.end()) {
        cookies_.push_back(cookie);
        return;
    }
    const double creation = existing->creation_;
    *existing = cookie;
    existing->creation_ = creation;
}

void HTTPCookieStorage::setCookiesFromSetCookieHeaders(const std::vector<std::string>& setCookieValues,
                                                       std::string_view URL) {
    const double at = now();
    for (const auto& value : setCookieValues) {
        if (auto cookie = HTTPCookie::cookieWithSetCookieHeader(value, URL, at)) {
            setCookie(*cookie);
        }
    }
}

void HTTPCookieStorage::deleteCookie(const HTTPCookie& cookie) {
    std::lock_guard lock(mutex_);
    std::erase_if(cookies_, [&](const HTTPCookie& kept) { return kept.isSameCookieAs(cookie); });
}

void HTTPCookieStorage::removeAllCookies() {
    std::lock_guard lock(mutex_);
    cookies_.clear();
}

std::vector<HTTPCookie> HTTPCookieStorage::cookies() const {
    const double at = now();
    std::lock_guard lock(mutex_);
    std::vector<HTTPCookie> live;
    std::copy_if(cookies_.begin(), cookies_.end(), std::back_inserter(live),
                 [at](const HTTPCookie& cookie) { return !cookie.isExpiredAt(at); });
    return live;
}

std::vector<HTTPCookie> HTTPCookieStorage::cookiesForURL(std::string_view URL) const {
    const auto url = CookieURL::parse(URL);
    if (!url) {
        return {};
    }
    const double at = now();
    std::vector<HTTPCookie> matching;
    {
        std::lock_guard lock(mutex_);
        std::copy_if(cookies_.begin(), cookies_.end(), std::back_inserter(matching),
                     [&](const HTTPCookie& cookie) { return cookie.shouldBeSentTo(*url, at); });
    }
    std::stable_sort(matching.begin(), matching.end(), [](const HTTPCookie& a, const HTTPCookie& b) {
        if (a.path_.size() != b.path_.size()) {
            return a.path_.size() > b.path_.size();
        }
        return a.creation_ < b.creation_;
    });
    return matching;
}

HTTPHeaderFields HTTPCookieStorage::requestHeaderFieldsWithCookies(const std::vector<HTTPCookie>& cookies) {
    if (cookies.empty()) {
        return {};
    }
    std::string header;
    for (const auto& cookie : cookies) {
        if (!header.empty()) {
            header += "; ";
        }
        header += cookie.name() + "=" + cookie.value();
    }
    return {{"Cookie", header}};
}

}  // namespace bdx::net
