#include "foundation/Console.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/SingletonReset.h"
#include "testing/ConsoleCapture.h"

using bdx::Console;

TEST(ConsoleOutput, PutsWritesALineToStandardOutputAndToTheSinks) {
    std::vector<Console::Line> seen;
    Console::addSink([&](const Console::Line& line) { seen.push_back(line); });
    ::testing::internal::CaptureStdout();
    Console::puts("2024-07-01 12:05:30.123 Host[42:7] hello");
    std::fflush(stdout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "2024-07-01 12:05:30.123 Host[42:7] hello\n");
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].channel, Console::Channel::StandardOutput);
    EXPECT_EQ(seen[0].text, "2024-07-01 12:05:30.123 Host[42:7] hello");
}

TEST(ConsoleOutput, FaultsGoToStandardErrorAndTheSystemLog) {
    std::vector<Console::Line> seen;
    Console::addSink([&](const Console::Line& line) { seen.push_back(line); });
    ::testing::internal::CaptureStderr();
    Console::logFault("cannot write the cache");
    Console::systemLog("[Brindlex] started", Console::LogType::Info);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "BrindlexCore: cannot write the cache\n");
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].channel, Console::Channel::Fault);
    EXPECT_EQ(seen[1].channel, Console::Channel::SystemLog);
    EXPECT_EQ(seen[1].type, Console::LogType::Info);
    EXPECT_EQ(seen[1].text, "[Brindlex] started");
}

TEST(ConsoleOutput, ASinkThatWritesDoesNotHearItself) {
    int calls = 0;
    Console::addSink([&](const Console::Line&) {
        ++calls;
        Console::systemLog("written from a sink");
    });
    bdx::testing::ConsoleCapture capture;  // silences the process streams
    Console::puts("one");
    // The sink saw "one" only; the capture (added later) saw "one" as well, and not the sink's own line.
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(capture.lines().size(), 1u);
}

TEST(ConsoleOutput, RemovedAndResetSinksHearNothing) {
    int removed = 0;
    int reset = 0;
    auto token = Console::addSink([&](const Console::Line&) { ++removed; });
    Console::addSink([&](const Console::Line&) { ++reset; });
    Console::setProcessOutputEnabled(false);
    Console::removeSink(token);
    Console::puts("first");
    bdx::resetAllSingletons();
    EXPECT_TRUE(Console::isProcessOutputEnabled());
    ::testing::internal::CaptureStdout();
    Console::puts("second");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "second\n");
    EXPECT_EQ(removed, 0);
    EXPECT_EQ(reset, 1);
}

TEST(ConsoleOutput, TurnedOffTheProcessStreamsStaySilent) {
    bdx::testing::ConsoleCapture capture;
    ::testing::internal::CaptureStdout();
    Console::puts("quiet");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(capture.lines(Console::Channel::StandardOutput), std::vector<std::string>{"quiet"});
}
