#pragma once

#include <cstdint>

// Levels of the host's log lines, as the host gives them to BDXNSLog.
enum BDXLogLevel : std::int64_t {
    BDXLogLevelDefault = 0,
    BDXLogLevelTrace = 1,
    BDXLogLevelInfo = 2,
    BDXLogLevelWarning = 3,
    BDXLogLevelError = 4,
    BDXLogLevelFatal = 5,
};

// Levels of the SDK's own diagnostics; the level in force starts at Error.
enum BDXSDKLogLevel : std::int64_t {
    BDXSDKLogLevelVerbose = 0,
    BDXSDKLogLevelDebug = 1,
    BDXSDKLogLevelError = 2,
    BDXSDKLogLevelNone = 3,
};
