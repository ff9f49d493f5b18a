#pragma once

#include <optional>
#include <string>
#include <string_view>

// Where the back-end service lives. The setting itself is `baseURL` of BDXDefaults; this is the text
// work around it: the default, the environment override, and reading the host out of a URL.
class BDXServiceURL {
  public:
    // The service's own host, used unless the host application or the environment names another.
    static constexpr const char* kDefaultHost = "api.brindlex.com";
    // Every request path hangs under this path of the base URL.
    static constexpr const char* kBasePath = "/api/sdk/v3";
    // Overrides whatever the host application set (the demo and the integration tests point the
    // library at a service on the loopback address this way).
    static constexpr const char* kEnvironmentVariable = "BRINDLEX_BASE_URL";

    // "https://" + kDefaultHost + kBasePath.
    static std::string defaultBaseURL();

    // A base URL as given by the host or the environment, checked: an http or https URL with a host.
    // One that names only the service ("http://127.0.0.1:8080" or with a bare "/") gets kBasePath;
    // a trailing slash is dropped so that request paths append cleanly. Nothing, logged, otherwise.
    static std::optional<std::string> normalizedBaseURL(std::string_view text);

    // The base URL named by the environment variable, checked; nothing when unset or invalid.
    static std::optional<std::string> environmentBaseURL();

    // The host of an http or https URL, without user information, port or the brackets of an IPv6
    // literal; "" when there is none.
    static std::string hostOfURL(std::string_view url);
};
