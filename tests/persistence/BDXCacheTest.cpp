#include "persistence/BDXCache.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "persistence/BDXDiskIOManager.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "testing/ConsoleCapture.h"
#include "testing/DispatchTesting.h"
#include "testing/FileContents.h"
#include "tests/persistence/CacheTestSupport.h"

namespace fs = std::filesystem;
using bdx::testing::identifiers;
using bdx::testing::NoteCache;
using bdx::testing::NoteModel;
using Names = std::vector<std::string>;

namespace {

using Caches = bdx::testing::CacheTest;

// Every atomic write puts a new inode in place.
ino_t inodeOf(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

std::string note(const std::string& className, const std::string& identifier) {
    return "{\"" + className + "\":{\"" + className + "identifier\":\"" + identifier + "\"}}";
}

}  // namespace

TEST_F(Caches, DeferringCacheWritesOnceASecondWithTheStateAtTheMomentOfTheWrite) {
    auto clock = bdx::testing::installVirtualClock();
    auto cache = std::make_shared<NoteCache>();
    const std::string path = cache->cacheDiskPath();
    cache->append({NoteModel::make("a")});
    cache->persistAll();
    cache->append({NoteModel::make("b")});
    cache->persistAll();
    cache->append({NoteModel::make("c")});  // after both calls, while the write waits
    clock->advance(0.9);
    bdx::testing::waitUntilIdle();
    EXPECT_FALSE(fs::exists(path));
    clock->advance(0.1);
    EXPECT_EQ((Names{"a", "b", "c"}), identifiers(cache->getCache()));
    const ino_t written = inodeOf(path);
    clock->advance(5);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(written, inodeOf(path)) << "two calls within the second make one write";

    cache->remove({NoteModel::make("x", "a")});
    cache->persistAll();
    clock->advance(1);
    EXPECT_EQ((Names{"b", "c"}), identifiers(cache->getCache())) << "a later change writes again";
}

TEST_F(Caches, ForceWriteIsOnDiskOnReturnAsClassNamedRecordsWithTypedDatesAndBytes) {
    auto cache = std::make_shared<NoteCache>(true);
    const auto date = bdx::Date::dateWithTimeIntervalSince1970(1709283600.25);
    const bdx::Data bytes{0, 1, 0xfe, 0xff};
    cache->append({std::make_shared<NoteModel>("n1", "first", date, bytes), NoteModel::make("n2")});
    cache->persistAll();
    // Read beside the disk queue: nothing queued may be what made the file.
    const bdx::Value stored =
        bdx::Value::parse(bdx::testing::readFile(cache->cacheDiskPath()), nullptr, false);
    ASSERT_EQ(2u, stored.size());
    EXPECT_EQ(bdx::Value::parse(R"({"NoteModel": {"NoteModelidentifier": "n2", "NoteModeltext": "n2",
        "NoteModeldate": {"$date": 0.0}, "NoteModelbytes": {"$data": ""}}})"),
              stored[1]);
    EXPECT_EQ("cachedModels/NoteCache",
              fs::path(cache->cacheDiskPath())
                  .lexically_relative(BDXDiskPersistenceManager::getInstance()->getCacheDirectory()));

    auto first = std::dynamic_pointer_cast<NoteModel>(std::make_shared<NoteCache>()->getCache().at(0));
    ASSERT_TRUE(first);
    EXPECT_EQ("first", first->text_);
    EXPECT_EQ(date.timeIntervalSince1970(), first->date_.timeIntervalSince1970());
    EXPECT_EQ(bytes, first->bytes_);
}

TEST_F(Caches, RelaunchRestoresBehindModelsMadeBeforeTheReadAndSendsEachOnce) {
    auto saved = std::make_shared<NoteCache>(true);
    saved->append({NoteModel::make("saved-1"), NoteModel::make("saved-2")});
    saved->persistAll();
    relaunch();

    auto cache = std::make_shared<NoteCache>(true);
    cache->append({NoteModel::make("made-before-read")});
    cache->unpersistAll();
    cache->unpersistAll();
    EXPECT_EQ((Names{"made-before-read", "saved-1", "saved-2"}), identifiers(cache->getAllObjects()));
    cache->sendAll();
    cache->sendAll();
    EXPECT_EQ((Names{"made-before-read", "saved-1", "saved-2"}), bdx::testing::sentNotes());

    // Cleared before its first send: nothing is sent, and the file stays as it was.
    auto cleared = std::make_shared<NoteCache>(true);
    cleared->unpersistAll();
    cleared->clearAll();
    cleared->sendAll();
    EXPECT_EQ(3u, bdx::testing::sentNotes().size());
    EXPECT_EQ(2u, cleared->getCache().size());
}

TEST_F(Caches, RemoveTakesTheLastEqualModel) {
    auto cache = std::make_shared<NoteCache>();
    cache->append(
        {NoteModel::make("early", "same"), NoteModel::make("other"), NoteModel::make("late", "same")});
    EXPECT_TRUE(cache->contains(NoteModel::make("probe", "same")));
    cache->remove({NoteModel::make("probe", "same"), NoteModel::make("probe", "absent")});
    EXPECT_EQ((Names{"early", "other"}), identifiers(cache->getAllObjects()));
}

TEST_F(Caches, DamagedFilesGiveWhatCanBeReadAndNeverCrash) {
    BDXSDKDebugInfoLogger::setLevel(0);
    BDXInspector::overrideDebuggerAttached(true);
    const std::string two = note("NoteModel", "one") + "," + note("NoteModel", "two");
    const struct {
        std::string contents;
        Names models;
        std::string logged;  // empty: nothing asked of the log
    } cases[] = {
        {"[" + two + ",7," + note("NoteModel", "four") + "]", {"one", "two"}, "not a dictionary"},
        {"[" + note("NoSuchModel", "x") + "," + two + "]", {"one", "two"}, "unknown class NoSuchModel"},
        {"[{\"NoteModel\":{}}," + two + "]", {"one", "two"}, "cannot be read"},
        {"[{\"NoteModel\":{\"NoteModelidentifier\":5}}]", {}, "cannot be read"},
        {("[" + two + "]").substr(0, two.size() / 2), {}, "cannot be read"},
        {std::string("\x00\x9f\xff junk", 8), {}, "cannot be read"},
        {"{}", {}, "cannot be read"},
        {"", {}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.contents);
        bdx::testing::ConsoleCapture console;
        auto cache = std::make_shared<NoteCache>();
        std::ofstream(cache->cacheDiskPath(), std::ios::binary | std::ios::trunc) << c.contents;
        cache->unpersistAll();
        EXPECT_EQ(c.models, identifiers(cache->getAllObjects()));
        EXPECT_TRUE(c.logged.empty() || console.contains(bdx::Console::Channel::StandardOutput, c.logged));
    }
    fs::remove(std::make_shared<NoteCache>()->cacheDiskPath());
    EXPECT_TRUE(std::make_shared<NoteCache>()->getCache().empty());
}

TEST_F(Caches, KilledWriterNeverLeavesAFileThatLosesThePreviousWrite) {
    // Made before the fork, so that the child never builds a singleton while other threads may hold locks.
    BDXDiskIOManager::getInstance();
    const std::string path = std::make_shared<NoteCache>(true)->cacheDiskPath();
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);

    for (int round = 0; round < 10; ++round) {
        fs::remove(path);
        int acks[2];
        ASSERT_EQ(0, ::pipe(acks));
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            // Each write holds every note so far; each ack says that write returned.
            auto cache = std::make_shared<NoteCache>(true);
            for (std::uint32_t written = 1; written < 100000; ++written) {
                cache->append({NoteModel::make("note-" + std::to_string(written), std::string(512, 'x'))});
                cache->persistAll();
                if (::write(acks[1], &written, sizeof written) != sizeof written) {
                    ::_exit(2);
                }
            }
            ::_exit(0);
        }
        ::close(acks[1]);
        const auto killAfter = std::uniform_int_distribution<std::uint32_t>(1, 40)(random);
        std::uint32_t acknowledged = 0;
        while (acknowledged < killAfter) {
            ASSERT_EQ(4, ::read(acks[0], &acknowledged, 4)) << "the writer ended early";
        }
        // A random stretch past the ack, so that the kill lands anywhere in the next write.
        for (int i = std::uniform_int_distribution<int>(0, 3000)(random); i > 0; --i) {
            ::sched_yield();
        }
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        for (std::uint32_t later = 0; ::read(acks[0], &later, 4) == 4;) {
            acknowledged = later;  // acks written before the kill are still in the pipe
        }
        ::close(acks[0]);

        const auto models = std::make_shared<NoteCache>(true)->getCache();
        ASSERT_GE(models.size(), acknowledged) << "round " << round << ": a finished write was lost";
        ASSERT_LE(models.size(), acknowledged + 1) << "round " << round;
        for (std::size_t i = 0; i < models.size(); ++i) {
            ASSERT_EQ("note-" + std::to_string(i + 1), models[i]->identifier());
        }
    }
}
