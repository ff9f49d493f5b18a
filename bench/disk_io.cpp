// Whole-file writes through the disk queue: the cost of one atomic write (temporary file, data flushed to
// the disk, rename) of a screenshot-sized body, queued and waited for, or written on the caller's thread;
// and the time the caller's thread spends handing a write to the queue.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "persistence/BDXDiskIOManager.h"

namespace {

std::string benchDirectory() {
    static const std::string directory = [] {
        auto path = std::filesystem::temp_directory_path() / "bdx-bench-disk-io";
        std::filesystem::create_directories(path);
        return path.string();
    }();
    return directory;
}

void QueuedWriteUntilOnDisk(benchmark::State& state) {
    auto io = BDXDiskIOManager::getInstance();
    const bdx::Data body(static_cast<std::size_t>(state.range(0)), 0x5a);
    const std::string path = benchDirectory() + "/queued";
    for (auto _ : state) {
        io->writeData(body, path);
        // A read waits for every write queued before it.
        benchmark::DoNotOptimize(io->readFileAtPath("/"));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void ForceWrite(benchmark::State& state) {
    auto io = BDXDiskIOManager::getInstance();
    const bdx::Data body(static_cast<std::size_t>(state.range(0)), 0x5a);
    const std::string path = benchDirectory() + "/forced";
    for (auto _ : state) {
        io->forceWriteData(body, path);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

// What the caller (often the main thread, while capturing) pays: queuing only.
void QueueingCostOnTheCaller(benchmark::State& state) {
    auto io = BDXDiskIOManager::getInstance();
    const bdx::Data body(static_cast<std::size_t>(state.range(0)), 0x5a);
    const std::string path = benchDirectory() + "/handed";
    int written = 0;
    for (auto _ : state) {
        io->writeData(body, path);
        if (++written % 64 == 0) {
            state.PauseTiming();
            io->readFileAtPath("/");
            state.ResumeTiming();
        }
    }
    io->readFileAtPath("/");
}

BENCHMARK(QueuedWriteUntilOnDisk)->Arg(100 << 10)->Arg(1 << 20)->Unit(benchmark::kMicrosecond);
BENCHMARK(ForceWrite)->Arg(100 << 10)->Arg(1 << 20)->Unit(benchmark::kMicrosecond);
BENCHMARK(QueueingCostOnTheCaller)->Arg(100 << 10)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
