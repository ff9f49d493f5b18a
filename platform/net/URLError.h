#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/Error.h"

namespace bdx::net {

// Codes of errors in Error::URLErrorDomain, with the platform's values, so that code written against
// those values (a cancelled task is -999) reads the same on every implementation of the seam.
namespace URLErrorCode {
inline constexpr std::int64_t unknown = -1;
inline constexpr std::int64_t cancelled = -999;
inline constexpr std::int64_t badURL = -1000;
inline constexpr std::int64_t timedOut = -1001;
inline constexpr std::int64_t unsupportedURL = -1002;
inline constexpr std::int64_t cannotFindHost = -1003;
inline constexpr std::int64_t cannotConnectToHost = -1004;
inline constexpr std::int64_t networkConnectionLost = -1005;
inline constexpr std::int64_t httpTooManyRedirects = -1007;
inline constexpr std::int64_t badServerResponse = -1011;
inline constexpr std::int64_t cannotDecodeContentData = -1016;
inline constexpr std::int64_t requestBodyStreamExhausted = -1021;
inline constexpr std::int64_t fileDoesNotExist = -1100;
inline constexpr std::int64_t noPermissionsToReadFile = -1102;
inline constexpr std::int64_t secureConnectionFailed = -1200;
inline constexpr std::int64_t serverCertificateHasBadDate = -1201;
inline constexpr std::int64_t serverCertificateUntrusted = -1202;
inline constexpr std::int64_t serverCertificateHasUnknownRoot = -1203;
inline constexpr std::int64_t serverCertificateNotYetValid = -1204;
inline constexpr std::int64_t cannotCreateFile = -3000;
}  // namespace URLErrorCode

// User-info keys the platform puts on URL errors.
inline constexpr std::string_view ErrorFailingURLStringKey = "NSErrorFailingURLStringKey";

// The platform's sentence for a URL error code ("The request timed out."); a generic one for codes
// it has none for.
std::string localizedDescriptionForURLErrorCode(std::int64_t code);

// An error in Error::URLErrorDomain with the description of its code, the failing URL and, when
// given, the transport's own words as the failure reason.
Error makeURLError(std::int64_t code, std::string_view failingURL, std::string_view reason = {});

}  // namespace bdx::net
