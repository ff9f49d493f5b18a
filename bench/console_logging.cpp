// What a host pays for a log line on its own thread, and how fast lines reach their destination:
// - console lines (BDXInspector::BDXNSLog): the caller's cost, p50 and p99 in ns; the system log gets them
//   as syslog datagrams on a socket of the benchmark's own, read by a thread that counts them;
// - stored log lines (BDXLogLogger::addBDXLogWithFormat): the caller's cost, and lines per second until the
//   store file holds them (the count of a logger rises only after the full save);
// - a plain syslog() call in the same run, and the library's syslog writer alone on the same socket.
// On a machine without /dev/log a plain syslog() finds no service and only tries to connect.

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "Logging/BDXInspector.h"
#include "Logging/BDXLogLogger.h"
#include "foundation/DispatchQueue.h"
#include "foundation/RunLoop.h"
#include "foundation/Sandbox.h"
#include "foundation/SystemLog.h"
#include "persistence/BDXCoreDataPersistenceManager.h"

namespace {

using Clock = std::chrono::steady_clock;

// A syslog service of the benchmark's own: a datagram socket and a thread that reads and counts.
class SyslogSink {
  public:
    SyslogSink() {
        root_ = std::filesystem::temp_directory_path() / ("bdx-bench-console-" + std::to_string(::getpid()));
        std::filesystem::create_directories(root_);
        path_ = (root_ / "log.sock").string();
        fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path_.c_str(), sizeof address.sun_path - 1);
        ::bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        int size = 8 << 20;
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
        reader_ = std::thread([this] {
            char buffer[2048];
            while (::recv(fd_, buffer, sizeof buffer, 0) > 0) {
                ++received_;
            }
        });
        bdx::Sandbox::setRoot(root_ / "sandbox");
        bdx::SystemLog::setSocketPath(path_);
    }
    ~SyslogSink() {
        ::shutdown(fd_, SHUT_RDWR);
        reader_.join();
        ::close(fd_);
        std::filesystem::remove_all(root_);
    }
    long received() const { return received_.load(); }
    const std::filesystem::path& root() const { return root_; }

  private:
    std::filesystem::path root_;
    std::string path_;
    int fd_ = -1;
    std::thread reader_;
    std::atomic<long> received_{0};
};

// Never destroyed: queued lines may still go to it while the process ends. Its folder goes at exit.
SyslogSink& sink() {
    static SyslogSink* const made = [] {
        auto* service = new SyslogSink();
        std::atexit([] { std::filesystem::remove_all(sink().root()); });
        return service;
    }();
    return *made;
}

// Times each call on its own and reports the median and the 99th percentile.
template <typename Call>
void timeEachCall(benchmark::State& state, Call&& call) {
    std::vector<double> nanoseconds;
    nanoseconds.reserve(1 << 20);
    for (auto _ : state) {
        const auto start = Clock::now();
        call();
        nanoseconds.push_back(std::chrono::duration<double, std::nano>(Clock::now() - start).count());
    }
    std::sort(nanoseconds.begin(), nanoseconds.end());
    if (!nanoseconds.empty()) {
        state.counters["p50_ns"] = nanoseconds[nanoseconds.size() / 2];
        state.counters["p99_ns"] = nanoseconds[nanoseconds.size() * 99 / 100];
    }
}

void ConsoleLineOnTheCaller(benchmark::State& state) {
    sink();
    const std::string line = "console line of a typical length, with a number 12345 in it";
    timeEachCall(state, [&] { BDXInspector::BDXNSLog(line, 2); });
    const auto start = Clock::now();
    BDXInspector::inspectorQueue()->sync([] {});
    state.counters["drain_ms"] = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    BDXInspector::clearConsoleLog();
}

void PlainSyslogOnTheCaller(benchmark::State& state) {
    const std::string line = "console line of a typical length, with a number 12345 in it";
    timeEachCall(state, [&] { ::syslog(LOG_USER | LOG_INFO, "%s", line.c_str()); });
    state.counters["dev_log"] = std::filesystem::exists("/dev/log") ? 1 : 0;
}

void LibrarySyslogWriterOnTheCaller(benchmark::State& state) {
    sink();
    const std::string line = "console line of a typical length, with a number 12345 in it";
    timeEachCall(state, [&] { bdx::SystemLog::send(LOG_INFO, line); });
}

// Console lines per second until the system log service has read them.
void ConsoleLinesUntilTheSystemLogHasThem(benchmark::State& state) {
    auto& service = sink();
    constexpr long kLines = 20000;
    double seconds = 0;
    for (auto _ : state) {
        const long before = service.received();
        const auto start = Clock::now();
        for (long index = 0; index < kLines; ++index) {
            BDXInspector::BDXNSLog("console line " + std::to_string(index), 2);
        }
        while (service.received() - before < kLines) {
            std::this_thread::yield();
        }
        seconds += std::chrono::duration<double>(Clock::now() - start).count();
        BDXInspector::clearConsoleLog();
    }
    state.counters["lines_per_s"] = static_cast<double>(kLines * state.iterations()) / seconds;
}

std::shared_ptr<BDXLogLogger> openedLogger() {
    sink();
    static const bool opened = [] {
        bdx::RunLoop::startEmbeddedMainThread();
        auto manager = BDXCoreDataPersistenceManager::sharedManager();
        manager->initializeCoreData();
        while (!manager->hasAddedPersistentStore()) {
            std::this_thread::yield();
        }
        return true;
    }();
    benchmark::DoNotOptimize(opened);
    return BDXLogLogger::init();
}

void StoredLineOnTheCaller(benchmark::State& state) {
    auto logger = openedLogger();
    const std::string line = "stored line of a typical length, with a number 12345 in it";
    timeEachCall(state, [&] { logger->addBDXLogWithFormat(line, std::nullopt, "d"); });
    // Let the queued writes end before the next benchmark.
    while (logger->logsCount() < std::min<std::int64_t>(999, static_cast<std::int64_t>(state.iterations()))) {
        std::this_thread::yield();
    }
    logger->clearAllLogs();
}

// Lines per second from the first add until the store file holds the batch. Batches stay below the 1000
// lines that start a purge, so the count rises by one per line saved.
void StoredLinesUntilInTheStore(benchmark::State& state) {
    constexpr int kBatch = 900;
    double seconds = 0;
    for (auto _ : state) {
        auto logger = openedLogger();
        const auto start = Clock::now();
        for (int index = 0; index < kBatch; ++index) {
            logger->addBDXLogWithFormat("stored line %d", std::nullopt, "d");
        }
        while (logger->logsCount() < kBatch) {
            std::this_thread::yield();
        }
        seconds += std::chrono::duration<double>(Clock::now() - start).count();
        logger->clearAllLogs();
    }
    state.counters["lines_per_s"] = static_cast<double>(kBatch * state.iterations()) / seconds;
}

}  // namespace

BENCHMARK(ConsoleLineOnTheCaller)->Iterations(200000);
BENCHMARK(PlainSyslogOnTheCaller)->Iterations(200000);
BENCHMARK(LibrarySyslogWriterOnTheCaller)->Iterations(200000);
BENCHMARK(ConsoleLinesUntilTheSystemLogHasThem)->Iterations(5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(StoredLineOnTheCaller)->Iterations(2000);
BENCHMARK(StoredLinesUntilInTheStore)->Iterations(5)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
