#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/Data.h"

namespace bdx::net {

// Orders header names without regard to ASCII case, as HTTP compares them.
struct CaseInsensitiveLess {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const;
};

// Header fields of a request or a response: looked up in any case, kept in the spelling of the first
// setter of a name.
using HTTPHeaderFields = std::map<std::string, std::string, CaseInsensitiveLess>;

// The platform's cache policies, with its values. Linux keeps no URL cache, so every policy loads
// from the network; the value travels with the request for those that read it back.
enum class URLRequestCachePolicy {
    UseProtocolCachePolicy = 0,
    ReloadIgnoringLocalCacheData = 1,
    ReturnCacheDataElseLoad = 2,
    ReturnCacheDataDontLoad = 3,
    ReloadIgnoringLocalAndRemoteCacheData = 4,
    ReloadRevalidatingCacheData = 5,
};

// A mutable URL request: the address, the method, the header fields, an optional body held in memory
// and the idle timeout. A plain value: copy it freely.
class URLRequest {
  public:
    static constexpr double DefaultTimeoutInterval = 60.0;

    URLRequest() = default;
    explicit URLRequest(std::string URL,
                        URLRequestCachePolicy cachePolicy = URLRequestCachePolicy::UseProtocolCachePolicy,
                        double timeoutInterval = DefaultTimeoutInterval);

    const std::string& URL() const { return url_; }
    void setURL(std::string URL) { url_ = std::move(URL); }

    // "GET" until set.
    const std::string& HTTPMethod() const { return method_; }
    // An empty method leaves "GET".
    void setHTTPMethod(std::string method);

    const HTTPHeaderFields& allHTTPHeaderFields() const { return headers_; }
    // Replaces every header field.
    void setAllHTTPHeaderFields(HTTPHeaderFields fields) { headers_ = std::move(fields); }
    // Sets one field, replacing a value under the same name in any case; nullopt removes it.
    void setValueForHTTPHeaderField(std::optional<std::string> value, std::string_view field);
    // Appends to a field, joining with ", " as HTTP folds repeated fields.
    void addValueForHTTPHeaderField(const std::string& value, std::string_view field);
    std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;

    // The body sent by a data task. An upload task takes its body from the file or bytes it was
    // made with and ignores this one.
    const std::optional<Data>& HTTPBody() const { return body_; }
    void setHTTPBody(std::optional<Data> body) { body_ = std::move(body); }

    // The longest the transfer may stay idle (nothing sent, nothing received) before it fails with a
    // timeout. A request whose interval was never set takes the session's timeoutIntervalForRequest.
    double timeoutInterval() const { return timeout_; }
    void setTimeoutInterval(double seconds);
    bool hasExplicitTimeoutInterval() const { return timeoutSet_; }

    URLRequestCachePolicy cachePolicy() const { return cachePolicy_; }
    void setCachePolicy(URLRequestCachePolicy policy) { cachePolicy_ = policy; }

  private:
    std::string url_;
    std::string method_ = "GET";
    HTTPHeaderFields headers_;
    std::optional<Data> body_;
    double timeout_ = DefaultTimeoutInterval;
    bool timeoutSet_ = false;
    URLRequestCachePolicy cachePolicy_ = URLRequestCachePolicy::UseProtocolCachePolicy;
};

}  // namespace bdx::net
