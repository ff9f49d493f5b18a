#include "platform/net/URLSessionConfiguration.h"

#include <cstdlib>
#include <mutex>

#include "platform/net/HTTPCookieStorage.h"

namespace bdx::net {

namespace {

struct DefaultAuthority {
    std::mutex mutex;
    std::string path;
};

DefaultAuthority& defaultAuthority() {
    static DefaultAuthority authority;
    return authority;
}

}  // namespace

URLSessionConfiguration URLSessionConfiguration::defaultSessionConfiguration() {
    return {};
}

URLSessionConfiguration URLSessionConfiguration::backgroundSessionConfigurationWithIdentifier(
    std::string identifier) {
    URLSessionConfiguration configuration;
    configuration.identifier_ = std::move(identifier);
    return configuration;
}

std::shared_ptr<HTTPCookieStorage> URLSessionConfiguration::cookieStorage() const {
    return cookieStorage_ ? cookieStorage_ : HTTPCookieStorage::sharedHTTPCookieStorage();
}

void URLSessionConfiguration::setTimeoutIntervalForRequest(double seconds) {
    timeoutForRequest_ = seconds > 0 ? seconds : DefaultTimeoutIntervalForRequest;
}

void URLSessionConfiguration::setTimeoutIntervalForResource(double seconds) {
    timeoutForResource_ = seconds > 0 ? seconds : DefaultTimeoutIntervalForResource;
}

void URLSessionConfiguration::setHTTPMaximumConnectionsPerHost(int count) {
    maximumConnectionsPerHost_ = count > 0 ? count : DefaultHTTPMaximumConnectionsPerHost;
}

std::string URLSessionConfiguration::defaultTrustedCertificateAuthorityFile() {
    auto& authority = defaultAuthority();
    {
        std::lock_guard lock(authority.mutex);
        if (!authority.path.empty()) {
            return authority.path;
        }
    }
    const char* environment = std::getenv("BRINDLEX_CA_FILE");
    return environment ? environment : "";
}

void URLSessionConfiguration::setDefaultTrustedCertificateAuthorityFile(std::string path) {
    auto& authority = defaultAuthority();
    std::lock_guard lock(authority.mutex);
    authority.path = std::move(path);
}

std::string URLSessionConfiguration::effectiveTrustedCertificateAuthorityFile() const {
    return caFile_.empty() ? defaultTrustedCertificateAuthorityFile() : caFile_;
}

}  // namespace bdx::net
