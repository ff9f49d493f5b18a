// Costs of the foundation's data types on the paths the library takes often: formatting log lines, naming
// files by date, counting days, posting notifications and storing preferences.
#include <benchmark/benchmark.h>

#include <unistd.h>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "foundation/Calendar.h"
#include "foundation/DateFormatter.h"
#include "foundation/NotificationCenter.h"
#include "foundation/StringWithFormat.h"
#include "foundation/UserDefaults.h"

namespace {

constexpr double kMoment = 1719835530.123;

void BM_StringWithFormatLogLine(benchmark::State& state) {
    const std::string time = "2024-07-01 12:05:30.123";
    const std::string app = "Host";
    const std::string message = "Saved network log for request: https://api.example.test/items?page=2";
    for (auto _ : state) {
        benchmark::DoNotOptimize(bdx::stringWithFormat("%@ %@[%ld:%ld] %@", time, app, 4242L, 77L, message));
    }
}
BENCHMARK(BM_StringWithFormatLogLine);

// The same line with the C library alone, as the floor to compare with.
void BM_SnprintfLogLine(benchmark::State& state) {
    const std::string time = "2024-07-01 12:05:30.123";
    const std::string app = "Host";
    const std::string message = "Saved network log for request: https://api.example.test/items?page=2";
    char buffer[256];
    for (auto _ : state) {
        const int n = std::snprintf(buffer, sizeof buffer, "%s %s[%ld:%ld] %s", time.c_str(), app.c_str(),
                                    4242L, 77L, message.c_str());
        benchmark::DoNotOptimize(std::string(buffer, static_cast<size_t>(n)));
    }
}
BENCHMARK(BM_SnprintfLogLine);

void BM_StringWithFormatHexDigest(benchmark::State& state) {
    unsigned char digest[16];
    for (int i = 0; i < 16; ++i) {
        digest[i] = static_cast<unsigned char>(i * 17);
    }
    for (auto _ : state) {
        std::string hex;
        for (unsigned char byte : digest) {
            hex += bdx::stringWithFormat("%02x", byte);
        }
        benchmark::DoNotOptimize(hex);
    }
}
BENCHMARK(BM_StringWithFormatHexDigest);

void BM_DateFormatterFileName(benchmark::State& state) {
    bdx::DateFormatter formatter("yyyyMMddhhmmssSSS", *bdx::TimeZone::named("Europe/Berlin"));
    double seconds = kMoment;
    for (auto _ : state) {
        benchmark::DoNotOptimize(formatter.stringFromDate(bdx::Date(seconds)));
        seconds += 0.001;
    }
}
BENCHMARK(BM_DateFormatterFileName);

void BM_DateFormatterParseRemote(benchmark::State& state) {
    bdx::DateFormatter formatter("yyyy-MM-dd'T'HH:mm:ss.SSSZ", bdx::TimeZone::utc());
    for (auto _ : state) {
        benchmark::DoNotOptimize(formatter.dateFromString("2024-07-01T14:05:30.123+0200"));
    }
}
BENCHMARK(BM_DateFormatterParseRemote);

// A fresh formatter per call, as the console line printer makes one.
void BM_DateFormatterFreshEachTime(benchmark::State& state) {
    for (auto _ : state) {
        bdx::DateFormatter formatter("yyyy-MM-dd HH:mm:ss.SSS");
        benchmark::DoNotOptimize(formatter.stringFromDate(bdx::Date(kMoment)));
    }
}
BENCHMARK(BM_DateFormatterFreshEachTime);

void BM_CalendarDaysBetween(benchmark::State& state) {
    const bdx::Calendar calendar(*bdx::TimeZone::named("America/New_York"));
    for (auto _ : state) {
        benchmark::DoNotOptimize(calendar.daysFromDate(bdx::Date(kMoment), bdx::Date(kMoment + 3 * 86400.0)));
    }
}
BENCHMARK(BM_CalendarDaysBetween);

void BM_NotificationPost(benchmark::State& state) {
    bdx::NotificationCenter center;
    for (int i = 0; i < state.range(0); ++i) {
        center.addObserver(i % 2 ? "UIWindowDidBecomeKeyNotification" : "Other", nullptr,
                           [](const bdx::Notification& n) { benchmark::DoNotOptimize(n.name.size()); });
    }
    for (auto _ : state) {
        center.post("UIWindowDidBecomeKeyNotification");
    }
}
BENCHMARK(BM_NotificationPost)->Arg(1)->Arg(16)->Arg(128);

std::filesystem::path benchFile(const char* name) {
    return std::filesystem::temp_directory_path() /
           ("bdx-bench-" + std::to_string(::getpid()) + "-" + name + ".json");
}

// A setting written and synchronised, as every persisted setting of the library is.
void BM_UserDefaultsSetAndSynchronize(benchmark::State& state) {
    const auto file = benchFile("sync");
    {
        bdx::UserDefaults defaults(file);
        for (int i = 0; i < state.range(0); ++i) {
            defaults.setInteger(i, "BDXFiller" + std::to_string(i));
        }
        std::int64_t n = 0;
        for (auto _ : state) {
            defaults.setInteger(++n, "BDXSessionNumber");
            defaults.synchronize();
        }
    }
    std::filesystem::remove(file);
}
BENCHMARK(BM_UserDefaultsSetAndSynchronize)->Arg(10)->Arg(1000)->Unit(benchmark::kMicrosecond);

// Writes without waiting: the cost the calling thread pays.
void BM_UserDefaultsSetOnly(benchmark::State& state) {
    const auto file = benchFile("set");
    {
        bdx::UserDefaults defaults(file);
        std::int64_t n = 0;
        for (auto _ : state) {
            defaults.setInteger(++n, "BDXSessionNumber");
        }
    }
    std::filesystem::remove(file);
}
BENCHMARK(BM_UserDefaultsSetOnly);

}  // namespace

BENCHMARK_MAIN();
