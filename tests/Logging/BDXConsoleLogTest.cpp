#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "Logging/BDXInspector.h"
#include "Logging/BDXLogLevel.h"
#include "foundation/Console.h"
#include "foundation/DispatchQueue.h"
#include "foundation/Sandbox.h"
#include "foundation/SystemLog.h"
#include "platform/host/Info.h"
#include "testing/ConsoleCapture.h"
#include "testing/DispatchTesting.h"

namespace {

using bdx::Console;

// Waits for every line handed to BDXNSLog before it.
void drainInspectorQueue() {
    BDXInspector::inspectorQueue()->sync([] {});
}

// No system log service: lines go to standard output in their printed form.
void withoutSystemLog() {
    bdx::SystemLog::setSocketPath((bdx::Sandbox::current().root() / "no-syslog-here").string());
}

std::vector<std::string> messagesOf(const std::vector<BDXConsoleLog>& logs) {
    std::vector<std::string> messages;
    for (const auto& log : logs) {
        messages.push_back(log.message());
    }
    return messages;
}

TEST(ConsoleRing, IsEmptyBeforeTheFirstLine) {
    EXPECT_TRUE(BDXInspector::getConsoleLog().empty());
}

TEST(ConsoleRing, KeepsTheNewest500LinesOldestFirst) {
    withoutSystemLog();
    bdx::testing::ConsoleCapture capture;
    struct Case {
        int lines;
        std::size_t kept;
        std::string first;
    };
    // The single line comes last: after a full ring, it shows that clearing emptied it.
    for (const Case& c : {Case{500, 500, "line 0"}, Case{501, 500, "line 1"}, Case{1234, 500, "line 734"},
                          Case{1, 1, "line 0"}}) {
        // Clearing is queued behind the lines before it, so each case starts from an empty ring.
        BDXInspector::clearConsoleLog();
        for (int index = 0; index < c.lines; ++index) {
            BDXInspector::BDXNSLog("line " + std::to_string(index), BDXLogLevelInfo);
        }
        const auto messages = messagesOf(BDXInspector::getConsoleLog());
        ASSERT_EQ(c.kept, messages.size()) << c.lines << " lines";
        EXPECT_EQ(c.first, messages.front()) << c.lines << " lines";
        EXPECT_EQ("line " + std::to_string(c.lines - 1), messages.back()) << c.lines << " lines";
    }
}

TEST(ConsoleRing, StampsEachLineWithTheLogTimeOfItsAddition) {
    withoutSystemLog();
    auto clock = bdx::testing::installVirtualClock();
    bdx::testing::ConsoleCapture capture;
    BDXInspector::BDXNSLog("first", BDXLogLevelDefault);
    drainInspectorQueue();
    clock->advance(2.5);
    BDXInspector::BDXNSLog("second", BDXLogLevelDefault);
    const auto logs = BDXInspector::getConsoleLog();
    ASSERT_EQ(2u, logs.size());
    const double start = std::trunc(bdx::testing::VirtualClock::kStartDate * 1000);
    EXPECT_EQ(start, logs[0].timeEpoch());
    EXPECT_EQ(start + 2500, logs[1].timeEpoch());
    EXPECT_EQ((bdx::Value{{"message", "second"}, {"timestamp", start + 2500}}), logs[1].toDictionary());
}

TEST(ConsoleRing, LinesFromEightThreadsAreAllKeptWholeAndInOrderPerThread) {
    withoutSystemLog();
    auto info = bdx::host::Info::shared();
    info->setDisplayName("Demo App");
    bdx::testing::ConsoleCapture capture;
    constexpr int kThreads = 8;
    constexpr int kLinesPerThread = 62;  // 496 lines: below the ring's 500
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < kLinesPerThread; ++line) {
                BDXInspector::BDXNSLog("t" + std::to_string(thread) + " n" + std::to_string(line),
                                       BDXLogLevelWarning);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const auto messages = messagesOf(BDXInspector::getConsoleLog());
    EXPECT_EQ(static_cast<std::size_t>(kThreads * kLinesPerThread), messages.size());

    const std::regex entry(R"(t(\d+) n(\d+))");
    const std::regex printed(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} Demo App\[)" +
                             std::to_string(::getpid()) + R"(:\d+\] (t(\d+) n(\d+)))");
    const auto checkOrder = [&](const std::vector<std::string>& lines, const std::regex& form, int group,
                                const char* what) {
        std::map<int, int> next;
        for (const auto& line : lines) {
            std::smatch match;
            ASSERT_TRUE(std::regex_match(line, match, form)) << what << ": " << line;
            const int thread = std::stoi(match[group]);
            EXPECT_EQ(next[thread]++, std::stoi(match[group + 1])) << what << ": " << line;
        }
        EXPECT_EQ(static_cast<std::size_t>(kThreads), next.size()) << what;
        for (const auto& [thread, count] : next) {
            EXPECT_EQ(kLinesPerThread, count) << what << " of thread " << thread;
        }
    };
    checkOrder(messages, entry, 1, "ring");
    checkOrder(capture.lines(Console::Channel::StandardOutput), printed, 2, "printed");
}

TEST(ConsoleLevels, MapToThePlatformLogTypesAndSyslogPriorities) {
    struct Case {
        std::int64_t level;
        std::int64_t osLogLevel;
        int priority;
    };
    for (const Case& c :
         {Case{0, 0, LOG_NOTICE}, Case{1, 2, LOG_DEBUG}, Case{2, 1, LOG_INFO}, Case{3, 0, LOG_NOTICE},
          Case{4, 16, LOG_ERR}, Case{5, 17, LOG_CRIT}, Case{6, 0, LOG_NOTICE}, Case{-1, 0, LOG_NOTICE}}) {
        EXPECT_EQ(c.osLogLevel, BDXInspector::osLogLevelFromBDXLogLevel(c.level)) << c.level;
        EXPECT_EQ(c.priority, BDXInspector::syslogPriorityFromBDXLogLevel(c.level)) << c.level;
    }
}

// A syslog service of the test's own: a datagram socket in the sandbox that the library is pointed at.
class SyslogReader {
  public:
    SyslogReader() : path_((bdx::Sandbox::current().root() / "log.sock").string()) {
        fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path_.c_str(), sizeof address.sun_path - 1);
        bound_ = fd_ >= 0 && ::bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        bdx::SystemLog::setSocketPath(path_);
    }
    ~SyslogReader() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        ::unlink(path_.c_str());
    }
    bool bound() const { return bound_; }

    // The next datagram, waiting up to ten seconds; empty when none came.
    std::string next() {
        pollfd wanted{fd_, POLLIN, 0};
        if (::poll(&wanted, 1, 10000) != 1) {
            return {};
        }
        char buffer[4096];
        const ssize_t size = ::recv(fd_, buffer, sizeof buffer, 0);
        return size > 0 ? std::string(buffer, static_cast<std::size_t>(size)) : std::string();
    }

  private:
    std::string path_;
    int fd_ = -1;
    bool bound_ = false;
};

TEST(ConsoleSystemLog, AReaderOfTheSyslogSocketFindsEachLineAtItsPriority) {
    SyslogReader reader;
    ASSERT_TRUE(reader.bound());
    std::vector<std::string> printed;
    const auto sink = Console::addSink([&printed](const Console::Line& line) {
        if (line.channel == Console::Channel::StandardOutput) {
            printed.push_back(line.text);
        }
    });
    EXPECT_TRUE(BDXInspector::shouldUseOSLog());
    const std::regex form(R"(<(\d+)>\w{3} [ \d]\d \d\d:\d\d:\d\d [^\[]+\[(\d+)\]: (.*))");
    for (std::int64_t level : {0, 1, 2, 3, 4, 5, 42}) {
        const std::string text = "console line at level " + std::to_string(level);
        BDXInspector::BDXNSLog(text, level);
        const std::string datagram = reader.next();
        std::smatch match;
        ASSERT_TRUE(std::regex_match(datagram, match, form)) << datagram;
        EXPECT_EQ(LOG_USER | BDXInspector::syslogPriorityFromBDXLogLevel(level), std::stoi(match[1])) << text;
        EXPECT_EQ(std::to_string(::getpid()), match[2].str());
        EXPECT_EQ(text, match[3].str());
    }
    drainInspectorQueue();
    Console::removeSink(sink);
    EXPECT_TRUE(printed.empty()) << "with a system log, nothing goes to standard output";
    EXPECT_EQ(7u, BDXInspector::getConsoleLog().size()) << "the ring keeps the lines either way";
}

TEST(ConsoleSystemLog, AServiceOnAStreamSocketGetsEachLineEndedByANul) {
    const std::string path = (bdx::Sandbox::current().root() / "stream.sock").string();
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(0, ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ASSERT_EQ(0, ::listen(listener, 1));
    bdx::SystemLog::setSocketPath(path);
    BDXInspector::BDXNSLog("first", BDXLogLevelFatal);
    BDXInspector::BDXNSLog("second", BDXLogLevelInfo);
    pollfd wanted{listener, POLLIN, 0};
    ASSERT_EQ(1, ::poll(&wanted, 1, 10000));
    const int connection = ::accept(listener, nullptr, nullptr);
    std::string received;
    while (std::count(received.begin(), received.end(), '\0') < 2) {
        pollfd readable{connection, POLLIN, 0};
        char buffer[512];
        ssize_t size = 0;
        ASSERT_EQ(1, ::poll(&readable, 1, 10000));
        ASSERT_GT(size = ::recv(connection, buffer, sizeof buffer, 0), 0);
        received.append(buffer, static_cast<std::size_t>(size));
    }
    ::close(connection);
    ::close(listener);
    const std::regex form(R"(<(\d+)>[^\0]*\]: (first|second))");
    std::vector<std::string> lines;
    for (std::size_t start = 0, end; (end = received.find('\0', start)) != std::string::npos;
         start = end + 1) {
        std::smatch match;
        const std::string line = received.substr(start, end - start);
        ASSERT_TRUE(std::regex_match(line, match, form)) << line;
        lines.push_back(match[1].str() + " " + match[2].str());
    }
    EXPECT_EQ((std::vector<std::string>{std::to_string(LOG_USER | LOG_CRIT) + " first",
                                        std::to_string(LOG_USER | LOG_INFO) + " second"}),
              lines);
}

TEST(ConsoleSystemLog, WithoutAServiceTheLineIsPrintedInstead) {
    withoutSystemLog();
    EXPECT_FALSE(BDXInspector::shouldUseOSLog());
    bdx::host::Info::shared()->setDisplayName("");
    bdx::host::Info::shared()->setBundleName("Bundle Name");
    bdx::testing::ConsoleCapture capture;
    BDXInspector::BDXNSLog("no service", BDXLogLevelError);
    drainInspectorQueue();
    const auto lines = capture.lines(Console::Channel::StandardOutput);
    ASSERT_EQ(1u, lines.size());
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(R"(.{23} Bundle Name\[\d+:\d+\] no service)")))
        << lines[0];
    EXPECT_TRUE(capture.lines(Console::Channel::SystemLog).empty());
}

TEST(ConsoleThreads, ThreadIDIsTheKernelIdOfTheCallingThread) {
    const std::uint64_t main = BDXInspector::threadID();
    EXPECT_EQ(static_cast<std::uint64_t>(::getpid()), main) << "the test runs on the process's first thread";
    std::uint64_t other = 0;
    std::thread([&other] { other = BDXInspector::threadID(); }).join();
    EXPECT_NE(0u, other);
    EXPECT_NE(main, other);
    EXPECT_EQ(::getpid(), BDXInspector::processID());
}

}  // namespace
