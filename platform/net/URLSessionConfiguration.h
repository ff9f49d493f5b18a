#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/net/URLRequest.h"

namespace bdx::net {

class HTTPCookieStorage;

// How a session's tasks behave. A plain value, copied into the session when it is made.
//
// TLS: a server's certificate is always verified against the system's trusted authorities and its
// name checked against the host; there is no way to switch that off. A host that talks to a service
// whose certificate comes from an authority of its own adds that authority (a PEM file) to what is
// trusted, either on one configuration (setTrustedCertificateAuthorityFile) or for the whole process
// (setDefaultTrustedCertificateAuthorityFile, or else the environment variable BRINDLEX_CA_FILE). The file is
// read at the start of each transfer; one that cannot be read makes every TLS connection of the session fail
// rather than fall back to less.
class URLSessionConfiguration {
  public:
    static constexpr double DefaultTimeoutIntervalForRequest = 60.0;
    static constexpr double DefaultTimeoutIntervalForResource = 7 * 24 * 3600.0;
    static constexpr int DefaultHTTPMaximumConnectionsPerHost = 6;

    static URLSessionConfiguration defaultSessionConfiguration();
    // A configuration for transfers that go on in the background. On Linux a process keeps running
    // while the host is in the background, so it behaves as the default one; the identifier is kept
    // to name the session.
    static URLSessionConfiguration backgroundSessionConfigurationWithIdentifier(std::string identifier);

    // Empty for a default configuration.
    const std::string& identifier() const { return identifier_; }

    // How long a transfer may stay idle before it fails with a timeout, for requests whose own
    // interval was not set.
    double timeoutIntervalForRequest() const { return timeoutForRequest_; }
    void setTimeoutIntervalForRequest(double seconds);
    // The longest a whole transfer may take.
    double timeoutIntervalForResource() const { return timeoutForResource_; }
    void setTimeoutIntervalForResource(double seconds);

    // Sent with every request that does not set a field of the same name itself.
    const HTTPHeaderFields& HTTPAdditionalHeaders() const { return additionalHeaders_; }
    void setHTTPAdditionalHeaders(HTTPHeaderFields headers) { additionalHeaders_ = std::move(headers); }

    // Connections held at once to one host; further tasks wait for a free one. The transfer thread
    // applies the largest value among the sessions it serves.
    int HTTPMaximumConnectionsPerHost() const { return maximumConnectionsPerHost_; }
    void setHTTPMaximumConnectionsPerHost(int count);

    // The cookie jar the session's transfers read the "Cookie" field from and store "Set-Cookie" fields in:
    // the process's shared jar unless another was set. A request that sets its own "Cookie" field is sent
    // with that alone.
    std::shared_ptr<HTTPCookieStorage> cookieStorage() const;
    void setCookieStorage(std::shared_ptr<HTTPCookieStorage> storage) { cookieStorage_ = std::move(storage); }
    // False: the session neither sends nor stores cookies. True by default.
    bool HTTPShouldSetCookies() const { return shouldSetCookies_; }
    void setHTTPShouldSetCookies(bool should) { shouldSetCookies_ = should; }

    // A PEM file of certificate authorities trusted by this session's transfers in addition to the
    // system's. Empty: the process-wide default below.
    const std::string& trustedCertificateAuthorityFile() const { return caFile_; }
    void setTrustedCertificateAuthorityFile(std::string path) { caFile_ = std::move(path); }

    // The authority file every configuration without one of its own uses: the path set here, or
    // when none is (or an empty one was) set, the environment variable BRINDLEX_CA_FILE, read each
    // time a transfer starts. Empty when neither is. Safe from any thread.
    static std::string defaultTrustedCertificateAuthorityFile();
    static void setDefaultTrustedCertificateAuthorityFile(std::string path);

    // The file this configuration's transfers use: its own, or the process-wide default.
    std::string effectiveTrustedCertificateAuthorityFile() const;

  private:
    std::string identifier_;
    double timeoutForRequest_ = DefaultTimeoutIntervalForRequest;
    double timeoutForResource_ = DefaultTimeoutIntervalForResource;
    HTTPHeaderFields additionalHeaders_;
    int maximumConnectionsPerHost_ = DefaultHTTPMaximumConnectionsPerHost;
    std::string caFile_;
    std::shared_ptr<HTTPCookieStorage> cookieStorage_;
    bool shouldSetCookies_ = true;
};

}  // namespace bdx::net
