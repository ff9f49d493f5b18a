#include "platform/net/URLRequest.h"

#include <algorithm>

namespace bdx::net {

namespace {
char lower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}
}  // namespace

bool CaseInsensitiveLess::operator()(std::string_view a, std::string_view b) const {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [](char x, char y) { return lower(x) < lower(y); });
}

URLRequest::URLRequest(std::string URL, URLRequestCachePolicy cachePolicy, double timeoutInterval)
    : url_(std::move(URL)), cachePolicy_(cachePolicy) {
    if (timeoutInterval != DefaultTimeoutInterval) {
        setTimeoutInterval(timeoutInterval);
    }
}

void URLRequest::setHTTPMethod(std::string method) {
    method_ = method.empty() ? "GET" : std::move(method);
}

void URLRequest::setValueForHTTPHeaderField(std::optional<std::string> value, std::string_view field) {
    auto existing = headers_.find(field);
    if (!value) {
        if (existing != headers_.end()) {
            headers_.erase(existing);
        }
        return;
    }
    if (existing != headers_.end()) {
        existing->second = std::move(*value);
    } else {
        headers_.emplace(std::string(field), std::move(*value));
    }
}

void URLRequest::addValueForHTTPHeaderField(const std::string& value, std::string_view field) {
    auto existing = headers_.find(field);
    if (existing == headers_.end()) {
        headers_.emplace(std::string(field), value);
    } else {
        existing->second += ", " + value;
    }
}

std::optional<std::string> URLRequest::valueForHTTPHeaderField(std::string_view field) const {
    auto existing = headers_.find(field);
    if (existing == headers_.end()) {
        return std::nullopt;
    }
    return existing->second;
}

void URLRequest::setTimeoutInterval(double seconds) {
    // A zero or negative interval would fail every transfer at once; the platform treats it as the
    // default, and so does this.
    timeout_ = seconds > 0 ? seconds : DefaultTimeoutInterval;
    timeoutSet_ = seconds > 0;
}

}  // namespace bdx::net
