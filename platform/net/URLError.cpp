#include "platform/net/URLError.h"

#include <nlohmann/json.hpp>

namespace bdx::net {

std::string localizedDescriptionForURLErrorCode(std::int64_t code) {
    switch (code) {
        case URLErrorCode::cancelled:
            return "cancelled";
        case URLErrorCode::badURL:
            return "unsupported URL";
        case URLErrorCode::timedOut:
            return "The request timed out.";
        case URLErrorCode::unsupportedURL:
            return "unsupported URL";
        case URLErrorCode::cannotFindHost:
            return "A server with the specified hostname could not be found.";
        case URLErrorCode::cannotConnectToHost:
            return "Could not connect to the server.";
        case URLErrorCode::networkConnectionLost:
            return "The network connection was lost.";
        case URLErrorCode::httpTooManyRedirects:
            return "too many HTTP redirects";
        case URLErrorCode::badServerResponse:
            return "bad server response";
        case URLErrorCode::cannotDecodeContentData:
            return "cannot decode content data";
        case URLErrorCode::requestBodyStreamExhausted:
            return "request body stream exhausted";
        case URLErrorCode::fileDoesNotExist:
            return "The requested URL was not found on this server.";
        case URLErrorCode::noPermissionsToReadFile:
            return "The file could not be read because you don't have permission to view it.";
        case URLErrorCode::secureConnectionFailed:
            return "An SSL error has occurred and a secure connection to the server cannot be made.";
        case URLErrorCode::serverCertificateHasBadDate:
        case URLErrorCode::serverCertificateUntrusted:
        case URLErrorCode::serverCertificateHasUnknownRoot:
        case URLErrorCode::serverCertificateNotYetValid:
            return "The certificate for this server is invalid. You might be connecting to a server that is "
                   "pretending to be the server, which could put your confidential information at risk.";
        case URLErrorCode::cannotCreateFile:
            return "cannot create file";
        default:
            return "An unknown error occurred.";
    }
}

Error makeURLError(std::int64_t code, std::string_view failingURL, std::string_view reason) {
    Value userInfo = Value::object();
    userInfo[std::string(Error::LocalizedDescriptionKey)] = localizedDescriptionForURLErrorCode(code);
    userInfo[std::string(ErrorFailingURLStringKey)] = std::string(failingURL);
    if (!reason.empty()) {
        userInfo[std::string(Error::LocalizedFailureReasonKey)] = std::string(reason);
    }
    return Error(std::string(Error::URLErrorDomain), code, userInfo);
}

}  // namespace bdx::net
