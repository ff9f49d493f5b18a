#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "foundation/StringWithFormat.h"

// The SDK's own diagnostics, printed for the developer who is debugging the host app: only while a
// debugger is attached, each line as "[Brindlex] <message>" on standard output, and only at or above the
// level in force.
class BDXSDKDebugInfoLogger {
  public:
    // 0 verbose, 1 debug, 2 error (the level at start), 3 none.
    static std::int64_t level();
    static void setLevel(std::int64_t level);

    // Prints the formatted message when a debugger is attached; lines of different threads never mix.
    static void log(std::string_view message);
    // Hands the formatted message to the library's internal log, debugger or not, at any level.
    static void internalLog(std::string_view message);
    // Held while a line is printed; recursive, so a diagnostic printed from inside a print still goes.
    static std::recursive_mutex& lock();
};

namespace bdx_sdk_log_detail {
inline bool levelAllows(std::int64_t lowestLevelInForce) {
    return BDXSDKDebugInfoLogger::level() <= lowestLevelInForce;
}
}  // namespace bdx_sdk_log_detail

template <class... Args>
void BDXSDKLogVerbose(std::string_view format, const Args&... arguments) {
    if (bdx_sdk_log_detail::levelAllows(0)) {
        BDXSDKDebugInfoLogger::log(bdx::stringWithFormat(format, arguments...));
    }
}

template <class... Args>
void BDXSDKLogDebug(std::string_view format, const Args&... arguments) {
    if (bdx_sdk_log_detail::levelAllows(1)) {
        BDXSDKDebugInfoLogger::log(bdx::stringWithFormat(format, arguments...));
    }
}

template <class... Args>
void BDXSDKLogError(std::string_view format, const Args&... arguments) {
    if (bdx_sdk_log_detail::levelAllows(2)) {
        BDXSDKDebugInfoLogger::log(bdx::stringWithFormat(format, arguments...));
    }
}

// The library's own errors: never printed, always kept in the internal log (BDXSDKInternalLogManager).
template <class... Args>
void BDXSDKLogInternalError(std::string_view format, const Args&... arguments) {
    BDXSDKDebugInfoLogger::internalLog(bdx::stringWithFormat(format, arguments...));
}
