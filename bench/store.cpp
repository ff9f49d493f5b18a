// The object store under a logger's load: 10,000 log lines written through a data service's
// writeASync until the last completion ran, against the same rows put in by plain SQLite with one
// transaction per row in WAL mode, in the same run (the ratio is ours over plain, in rows per second);
// and the fetch of the newest 1,000 of 100,000 lines of one session, as a report loads them.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>

#include "foundation/Date.h"
#include "foundation/RunLoop.h"
#include "foundation/Sandbox.h"
#include "persistence/BDXCoreDataPersistenceManager.h"
#include "persistence/BDXDALService.h"
#include "persistence/BDXLog.h"
#include "persistence/BDXLogLoggerContextProvider.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kRows = 10000;

const fs::path& benchRoot() {
    static const fs::path root = [] {
        auto path = fs::temp_directory_path() / "bdx-bench-store";
        fs::remove_all(path);
        fs::create_directories(path);
        bdx::Sandbox::setRoot(path);
        bdx::RunLoop::startEmbeddedMainThread();
        return path;
    }();
    return root;
}

// A store manager over an empty store, added and ready.
std::shared_ptr<BDXCoreDataPersistenceManager> freshStore() {
    benchRoot();
    BDXCoreDataPersistenceManager::destroy();
    auto manager = BDXCoreDataPersistenceManager::sharedManager();
    bdx::store::PersistentStoreCoordinator::destroyPersistentStoreAtURL(manager->storeURL());
    manager->initializeCoreData();
    while (!manager->hasAddedPersistentStore())
        std::this_thread::yield();
    return manager;
}

void insertLine(bdx::store::ManagedObjectContext& context, int n, double date) {
    auto log =
        std::dynamic_pointer_cast<BDXLog>(context.insertNewObjectForEntityForName(BDXLog::entityName()));
    log->setDate(bdx::Date(date));
    log->setLevel("d");
    log->setMessage("line " + std::to_string(n) + " of the host's console, as long as a usual one");
    log->setSessionId("session");
}

// `synchronous` as the pragma takes it: FULL, SQLite's default (a flush per commit), or NORMAL.
double plainSQLiteSeconds(const std::string& path, const std::string& synchronous) {
    fs::remove(path);
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    sqlite3_exec(db, ("PRAGMA synchronous=" + synchronous).c_str(), nullptr, nullptr, nullptr);
    sqlite3_exec(db,
                 "CREATE TABLE BrindlexLog (pk INTEGER PRIMARY KEY, date REAL, level TEXT, message TEXT, "
                 "sessionId TEXT)",
                 nullptr, nullptr, nullptr);
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO BrindlexLog (date, level, message, sessionId) VALUES (?, ?, ?, ?)",
                       -1, &insert, nullptr);
    const auto start = Clock::now();
    for (int n = 0; n < kRows; ++n) {
        const std::string message =
            "line " + std::to_string(n) + " of the host's console, as long as a usual one";
        sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
        sqlite3_bind_double(insert, 1, n);
        sqlite3_bind_text(insert, 2, "d", -1, SQLITE_STATIC);
        sqlite3_bind_text(insert, 3, message.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 4, "session", -1, SQLITE_STATIC);
        sqlite3_step(insert);
        sqlite3_reset(insert);
        sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    sqlite3_finalize(insert);
    sqlite3_close(db);
    return seconds;
}

void WriteASyncAgainstPlainSQLite(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto manager = freshStore();
        auto service =
            BDXDALService::initWithContextProvider(std::make_shared<BDXLogLoggerContextProvider>());
        std::mutex mutex;
        std::condition_variable condition;
        int completed = 0;
        state.ResumeTiming();
        const auto start = Clock::now();
        for (int n = 0; n < kRows; ++n) {
            service->writeASync([n](const auto& context) { insertLine(*context, n, n); },
                                [&](const bdx::Error&) {
                                    std::lock_guard lock(mutex);
                                    if (++completed == kRows)
                                        condition.notify_one();
                                });
        }
        {
            std::unique_lock lock(mutex);
            condition.wait(lock, [&] { return completed == kRows; });
        }
        const double ours = std::chrono::duration<double>(Clock::now() - start).count();
        state.PauseTiming();
        const double plain = plainSQLiteSeconds((benchRoot() / "plain.sqlite").string(), "FULL");
        const double plainUnflushed = plainSQLiteSeconds((benchRoot() / "plain.sqlite").string(), "NORMAL");
        state.counters["ours_rows_per_s"] = kRows / ours;
        state.counters["plain_rows_per_s"] = kRows / plain;
        state.counters["ratio"] = plain / ours;
        // The same with commits that do not wait for the disk, as a lower bound on what the ratio hides.
        state.counters["plain_normal_rows_per_s"] = kRows / plainUnflushed;
        state.counters["ratio_normal"] = plainUnflushed / ours;
        state.ResumeTiming();
    }
}

// 100,000 lines of one session, saved once.
std::shared_ptr<BDXCoreDataPersistenceManager> storeWithLines() {
    auto manager = freshStore();
    auto context = manager->privateContext();
    context->performBlockAndWait([&] {
        for (int n = 0; n < 100000; ++n)
            insertLine(*context, n, 1700000000.0 + n);
        context->save();
    });
    return manager;
}

void FetchNewestThousandOfHundredThousand(benchmark::State& state) {
    auto manager = storeWithLines();
    auto service = BDXDALService::initWithContextProvider(std::make_shared<BDXLogLoggerContextProvider>());
    for (auto _ : state) {
        std::size_t fetched = 0;
        // A report's synchronous load: a fresh context over the private one.
        service->readSync([&](const auto& context) {
            for (const auto& object :
                 context->executeFetchRequest(BDXLog::logsFetchRequestWithMaxCount(1000, "session"))) {
                benchmark::DoNotOptimize(object->stringForKey("message"));
                ++fetched;
            }
        });
        if (fetched != 1000)
            state.SkipWithError("the fetch did not return 1000 lines");
    }
}

BENCHMARK(WriteASyncAgainstPlainSQLite)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(FetchNewestThousandOfHundredThousand)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
