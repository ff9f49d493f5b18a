#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Logging/BDXInspector.h"
#include "Logging/BDXLogLevel.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "Logging/BDXSDKInternalLogManager.h"
#include "core/BDXEnumNamers.h"
#include "foundation/StringWithFormat.h"
#include "platform/host/Info.h"
#include "testing/ConsoleCapture.h"

namespace {

using bdx::Console;

TEST(SDKLogLevelNames, NameEachLevelTypedWithTheOneLevelWord) {
    struct Case {
        std::int64_t level;
        const char* hostName;
        const char* sdkName;
    };
    for (const Case& c : {Case{0, "default", "Verbose"}, Case{1, "trace", "Debug"}, Case{2, "info", "Error"},
                          Case{3, "warning", "None"}, Case{4, "error", ""}, Case{5, "fatal", ""},
                          Case{6, "", ""}, Case{-1, "", ""}}) {
        EXPECT_EQ(std::string("BDXType-BDXSDKLogsLevel:") + c.hostName, NSStringFromBDXLogLevel(c.level))
            << c.level;
        EXPECT_EQ(std::string("BDXType-BDXSDKLogsLevel:") + c.sdkName, NSStringFromBDXSDKLogLevel(c.level))
            << c.level;
    }
}

TEST(SDKLogLevels, StartAtErrorAndPrintOnlyAtOrAboveTheLevelInForceWithADebugger) {
    EXPECT_EQ(BDXSDKLogLevelError, BDXSDKDebugInfoLogger::level());
    BDXInspector::overrideDebuggerAttached(true);
    bdx::testing::ConsoleCapture capture;
    // Which of verbose, debug and error print at each level in force.
    struct Case {
        std::int64_t level;
        std::vector<std::string> printed;
    };
    for (const Case& c :
         {Case{BDXSDKLogLevelVerbose, {"[Brindlex] verbose 0", "[Brindlex] debug 0", "[Brindlex] error 0"}},
          Case{BDXSDKLogLevelDebug, {"[Brindlex] debug 1", "[Brindlex] error 1"}},
          Case{BDXSDKLogLevelError, {"[Brindlex] error 2"}}, Case{BDXSDKLogLevelNone, {}}}) {
        BDXSDKDebugInfoLogger::setLevel(c.level);
        const std::size_t before = capture.lines(Console::Channel::StandardOutput).size();
        BDXSDKLogVerbose("verbose %lld", static_cast<long long>(c.level));
        BDXSDKLogDebug("debug %lld", static_cast<long long>(c.level));
        BDXSDKLogError("error %lld", static_cast<long long>(c.level));
        const auto lines = capture.lines(Console::Channel::StandardOutput);
        EXPECT_EQ(c.printed, std::vector<std::string>(lines.begin() + static_cast<long>(before), lines.end()))
            << "level " << c.level;
    }
}

TEST(SDKLogLevels, WithoutADebuggerNothingPrintsAtAnyLevel) {
    BDXInspector::overrideDebuggerAttached(false);
    bdx::testing::ConsoleCapture capture;
    for (std::int64_t level : {0, 1, 2, 3}) {
        BDXSDKDebugInfoLogger::setLevel(level);
        BDXSDKLogVerbose("verbose");
        BDXSDKLogDebug("debug");
        BDXSDKLogError("error");
        BDXSDKLogInternalError("internal %d", 7);
    }
    EXPECT_TRUE(capture.lines(Console::Channel::StandardOutput).empty());
    // The internal line is kept whatever the level and the debugger.
    const auto logs = BDXSDKInternalLogManager::sharedManager()->internalLogs();
    ASSERT_EQ(5u, logs.size());
    for (std::size_t index = 1; index < logs.size(); ++index) {
        EXPECT_EQ("internal 7", logs[index].message());
    }
}

TEST(SDKInternalLog, StartsWithTheVersionLineAndKeepsTheLast100) {
    BDXInspector::overrideDebuggerAttached(true);
    bdx::testing::ConsoleCapture capture;
    const std::string version = bdx::stringWithFormat("SDK V%@ (%@)", BDXInspector::getSDKVersion(),
                                                      BDXInspector::getSDKBuildNumber());
    for (int line = 1; line <= 99; ++line) {
        BDXSDKLogInternalError("internal %d", line);
    }
    auto logs = BDXSDKInternalLogManager::sharedManager()->internalLogs();
    ASSERT_EQ(100u, logs.size());
    EXPECT_EQ(version, logs.front().message());
    BDXSDKLogInternalError("internal %d", 100);
    logs = BDXSDKInternalLogManager::sharedManager()->internalLogs();
    ASSERT_EQ(100u, logs.size());
    EXPECT_EQ("internal 1", logs.front().message()) << "the 101st line removes the version line";
    EXPECT_EQ("internal 100", logs.back().message());
    EXPECT_TRUE(capture.lines(Console::Channel::StandardOutput).empty())
        << "internal lines are never printed";
}

}  // namespace
