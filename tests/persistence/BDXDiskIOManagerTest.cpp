#include "persistence/BDXDiskIOManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "foundation/DispatchQueue.h"
#include "testing/ConsoleCapture.h"
#include "testing/FileContents.h"
#include "testing/SandboxTest.h"

namespace fs = std::filesystem;

namespace {

class DiskIO : public bdx::testing::SandboxTest {
  protected:
    std::string path(const std::string& name) const { return (sandboxRoot() / name).string(); }

    static bdx::Data bytes(const std::string& text) { return bdx::Data(text.begin(), text.end()); }

    static std::vector<std::string> entries(const fs::path& directory) {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }
};

// A payload that is whole only if every byte of it is the same: a torn or mixed file shows at once.
bdx::Data uniform(std::uint8_t value, std::size_t size) {
    return bdx::Data(size, value);
}

bool isWholePayload(const bdx::Data& data, std::size_t size) {
    return data.size() == size && std::all_of(data.begin(), data.end(), [&](auto b) { return b == data[0]; });
}

TEST_F(DiskIO, QueuedWriteIsSeenByTheNextReadAndCompletesOnTheDiskQueue) {
    auto io = BDXDiskIOManager::getInstance();
    std::promise<std::string> completedOn;
    bool succeeded = false;
    io->writeData(bytes("first"), path("a.txt"), [&](bool success, const bdx::Error* error) {
        succeeded = success && error == nullptr;
        completedOn.set_value(bdx::DispatchQueue::currentLabel());
    });
    // Overwriting replaces the whole file.
    io->writeData(bytes("second, longer"), path("a.txt"));
    bdx::Error error;
    auto read = io->readFileAtPath(path("a.txt"), &error);
    ASSERT_TRUE(read.has_value()) << error.description();
    EXPECT_EQ(bytes("second, longer"), *read);
    EXPECT_EQ("com.bdx.diskIOQueue", completedOn.get_future().get());
    EXPECT_TRUE(succeeded);
    // Nothing but the target is left in the directory.
    EXPECT_EQ(std::vector<std::string>{"a.txt"}, entries(sandboxRoot()));
}

TEST_F(DiskIO, ForceWriteIsOnDiskOnReturnAndAMissingFileReadsAsNothing) {
    auto io = BDXDiskIOManager::getInstance();
    io->forceWriteData(bytes("crash record"), path("forced.txt"));
    EXPECT_EQ("crash record", bdx::testing::readFile(path("forced.txt")));
    // Failure is silent, and no directory is made.
    io->forceWriteData(bytes("x"), path("gone/forced.txt"));
    EXPECT_FALSE(fs::exists(path("gone")));

    bdx::Error error;
    EXPECT_FALSE(io->readFileAtPath(path("missing"), &error).has_value());
    EXPECT_EQ(bdx::Error::POSIXErrorDomain, error.domain());
    EXPECT_EQ(ENOENT, error.code());
}

TEST_F(DiskIO, FailedWriteIsLoggedAndReportedAndLeavesNothingBehind) {
    BDXSDKDebugInfoLogger::setLevel(0);
    BDXInspector::overrideDebuggerAttached(true);
    bdx::testing::ConsoleCapture console;
    auto io = BDXDiskIOManager::getInstance();

    // The directory is never made for the caller.
    std::promise<std::pair<bool, std::int64_t>> missingDirectory;
    io->writeData(bytes("x"), path("no/such/dir/file.txt"), [&](bool success, const bdx::Error* error) {
        missingDirectory.set_value({success, error ? error->code() : 0});
    });
    EXPECT_EQ(std::make_pair(false, std::int64_t{ENOENT}), missingDirectory.get_future().get());
    EXPECT_FALSE(fs::exists(path("no")));

    // A target that cannot be replaced: the temporary file written beside it is removed again.
    fs::create_directories(path("taken/inner"));
    std::promise<bool> overDirectory;
    io->writeData(bytes("x"), path("taken"),
                  [&](bool success, const bdx::Error* error) { overDirectory.set_value(success || !error); });
    EXPECT_FALSE(overDirectory.get_future().get());
    EXPECT_EQ(std::vector<std::string>{"taken"}, entries(sandboxRoot()));
    EXPECT_TRUE(fs::is_directory(path("taken/inner")));

    EXPECT_TRUE(console.contains(
        bdx::Console::Channel::StandardOutput,
        "[Brindlex] Faild to write file to the disk error:Error Domain=NSPOSIXErrorDomain Code=2"));
}

// Several threads write and read at once: each read sees every write its thread queued before it, a file
// shared by all is always one whole payload, and a file replaced past the queue is never seen torn.
TEST_F(DiskIO, ReadsSeeEarlierWritesFromManyThreads) {
    auto io = BDXDiskIOManager::getInstance();
    constexpr int kThreads = 4;
    constexpr int kRounds = 30;
    constexpr std::size_t kSize = 32 * 1024;
    std::atomic<int> completions{0};
    std::atomic<int> failures{0};
    std::atomic<bool> stopForcing{false};

    io->forceWriteData(uniform(0, kSize), path("forced"));
    std::thread forcer([&] {
        for (std::uint8_t round = 1; !stopForcing.load(); ++round) {
            io->forceWriteData(uniform(round, kSize), path("forced"));
        }
    });

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                const auto mine = static_cast<std::uint8_t>(t * kRounds + i + 1);
                const std::string own = path("t" + std::to_string(t) + "-" + std::to_string(i % 3));
                io->writeData(uniform(mine, kSize + static_cast<std::size_t>(i)), own,
                              [&](bool success, const bdx::Error*) { success ? ++completions : ++failures; });
                io->writeData(uniform(mine, kSize), path("shared"),
                              [&](bool success, const bdx::Error*) { success ? ++completions : ++failures; });
                auto back = io->readFileAtPath(own);
                if (!back || *back != uniform(mine, kSize + static_cast<std::size_t>(i))) {
                    ++failures;
                }
                auto shared = io->readFileAtPath(path("shared"));
                if (!shared || !isWholePayload(*shared, kSize)) {
                    ++failures;
                }
                auto forced = io->readFileAtPath(path("forced"));
                if (!forced || !isWholePayload(*forced, kSize)) {
                    ++failures;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    stopForcing = true;
    forcer.join();

    EXPECT_EQ(0, failures.load());
    // Every thread's last read came after its last write, so every completion has run.
    EXPECT_EQ(kThreads * kRounds * 2, completions.load());
    for (const auto& name : entries(sandboxRoot())) {
        EXPECT_EQ(std::string::npos, name.find(".tmp-")) << name;
    }
}

}  // namespace
