#include "persistence/BDXCache.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "persistence/BDXCacheDecoder.h"
#include "persistence/BDXDiskIOManager.h"
#include "persistence/BDXDiskPersistenceManager.h"
#include "testing/ConsoleCapture.h"
#include "testing/DispatchTesting.h"
#include "testing/SandboxTest.h"
#include "tests/persistence/CacheTestSupport.h"

namespace fs = std::filesystem;
using bdx::testing::identifiers;
using bdx::testing::NoteCache;
using bdx::testing::NoteModel;
using bdx::testing::SendJournal;

namespace {

class Caches : public bdx::testing::SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        bdx::ClassRegistry::registerClass<NoteModel>();
        SendJournal::clear();
    }
    void TearDown() override {
        bdx::ClassRegistry::unregisterClass("NoteModel");
        SandboxTest::TearDown();
    }

    static std::string readText(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    static void writeText(const std::string& path, const std::string& text) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    }
    // The identity of the file's current version: every atomic write puts a new inode in place.
    static ino_t inodeOf(const std::string& path) {
        struct stat info {};
        return ::stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
    }
    static std::string record(const std::string& className, const std::string& identifier) {
        return "{\"" + className + "\":{\"" + className + "identifier\":\"" + identifier + "\"}}";
    }
};

}  // namespace

TEST_F(Caches, DeferringCacheWritesOnceASecondWithTheStateAtTheMomentOfTheWrite) {
    auto clock = bdx::testing::installVirtualClock();
    auto cache = std::make_shared<NoteCache>();
    const std::string path = cache->cacheDiskPath();

    cache->append({NoteModel::make("a")});
    cache->persistAll();
    EXPECT_TRUE(cache->shouldWriteToDisk());
    cache->append({NoteModel::make("b")});
    cache->persistAll();
    // Comes after both calls, while the write waits: it must be in that write too.
    cache->append({NoteModel::make("c")});
    clock->advance(0.5);
    bdx::testing::waitUntilIdle();
    EXPECT_FALSE(fs::exists(path)) << "nothing is written before the second is over";

    clock->advance(0.5);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ((std::vector<std::string>{"a", "b", "c"}), identifiers(cache->getCache()));
    EXPECT_FALSE(cache->shouldWriteToDisk());
    const ino_t firstWrite = inodeOf(path);
    clock->advance(5);
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(firstWrite, inodeOf(path)) << "two calls within the second make one write";

    // The next change schedules a write of its own.
    cache->remove({NoteModel::make("x", "a")});
    cache->persistAll();
    clock->advance(1);
    EXPECT_EQ((std::vector<std::string>{"b", "c"}), identifiers(cache->getCache()));
}

TEST_F(Caches, ForceWritingCacheHasTheBytesOnDiskOnReturn) {
    auto cache = std::make_shared<NoteCache>(true);
    cache->append({NoteModel::make("crash")});
    cache->persistAll();
    EXPECT_FALSE(cache->shouldWriteToDisk());
    // Read beside the disk queue, not through it: nothing queued may be what made the file.
    const bdx::Value stored = bdx::Value::parse(readText(cache->cacheDiskPath()), nullptr, false);
    ASSERT_TRUE(stored.is_array());
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ("crash", stored[0]["NoteModel"]["NoteModelidentifier"]);
}

TEST_F(Caches, FileIsAnArrayOfClassNamedRecordsAndDatesAndBytesKeepTheirType) {
    auto cache = std::make_shared<NoteCache>(true);
    const bdx::Date date = bdx::Date::dateWithTimeIntervalSince1970(1709283600.25);
    const bdx::Data bytes{0, 1, 0xfe, 0xff};
    cache->append({std::make_shared<NoteModel>("n1", "first", date, bytes), NoteModel::make("n2")});
    cache->persistAll();

    const bdx::Value stored = bdx::Value::parse(readText(cache->cacheDiskPath()));
    ASSERT_EQ(2u, stored.size());
    for (const auto& element : stored) {
        EXPECT_EQ(1u, element.size()) << "one entry per element";
        EXPECT_EQ("NoteModel", element.begin().key());
    }
    EXPECT_EQ("cachedModels", fs::path(cache->cacheDiskPath()).parent_path().filename());
    EXPECT_EQ("NoteCache", fs::path(cache->cacheDiskPath()).filename());

    auto restored = std::make_shared<NoteCache>()->getCache();
    ASSERT_EQ(2u, restored.size());
    auto first = std::dynamic_pointer_cast<NoteModel>(restored[0]);
    ASSERT_TRUE(first);
    EXPECT_EQ("first", first->text());
    EXPECT_EQ(date.timeIntervalSince1970(), first->date().timeIntervalSince1970());
    EXPECT_EQ(bytes, first->bytes());
}

TEST_F(Caches, RelaunchRestoresBehindModelsMadeBeforeTheReadAndSendsEachOnce) {
    {
        auto cache = std::make_shared<NoteCache>(true);
        cache->append({NoteModel::make("saved-1"), NoteModel::make("saved-2")});
        cache->persistAll();
    }
    relaunch();

    auto cache = std::make_shared<NoteCache>(true);
    cache->append({NoteModel::make("made-before-read")});
    cache->unpersistAll();
    cache->unpersistAll();
    EXPECT_TRUE(cache->isUnPresisted());
    EXPECT_EQ((std::vector<std::string>{"made-before-read", "saved-1", "saved-2"}),
              identifiers(cache->getAllObjects()));

    cache->sendAll();
    cache->sendAll();
    EXPECT_EQ((std::vector<std::string>{"made-before-read", "saved-1", "saved-2"}), SendJournal::sent());

    // Once sent in this process, a cleared cache sends nothing, and clearing leaves the file alone.
    auto other = std::make_shared<NoteCache>(true);
    other->unpersistAll();
    other->clearAll();
    other->sendAll();
    EXPECT_EQ(3u, SendJournal::sent().size());
    EXPECT_EQ(2u, other->getCache().size());
}

TEST_F(Caches, RemoveTakesTheLastEqualModelAndContainsUsesEquality) {
    auto cache = std::make_shared<NoteCache>();
    auto early = NoteModel::make("early", "same");
    auto late = NoteModel::make("late", "same");
    cache->append({early, NoteModel::make("other"), late});
    EXPECT_TRUE(cache->contains(NoteModel::make("probe", "same")));
    cache->remove({NoteModel::make("probe", "same")});
    EXPECT_EQ((std::vector<std::string>{"early", "other"}), identifiers(cache->getAllObjects()));
    EXPECT_EQ("other", cache->getLastObject()->identifier());
    cache->remove({NoteModel::make("probe", "absent")});
    EXPECT_EQ(2u, cache->getAllObjects().size());
}

TEST_F(Caches, DamagedFilesGiveWhatCanBeReadAndNeverCrash) {
    BDXSDKDebugInfoLogger::setLevel(0);
    BDXInspector::overrideDebuggerAttached(true);
    const std::string complete = "[" + record("NoteModel", "one") + "," + record("NoteModel", "two") + "]";
    struct Case {
        const char* name;
        std::string contents;
        std::vector<std::string> models;
        const char* logged;  // a fragment of the error line, or nullptr for none
    };
    const std::vector<Case> cases = {
        {"third element not a dictionary",
         "[" + record("NoteModel", "one") + "," + record("NoteModel", "two") + ",7," +
             record("NoteModel", "four") + "]",
         {"one", "two"},
         "not a dictionary"},
        {"unknown class skipped",
         "[" + record("NoSuchModel", "x") + "," + record("NoteModel", "one") + "]",
         {"one"},
         "unknown class NoSuchModel"},
        {"record refused by its class",
         "[{\"NoteModel\":{}}," + record("NoteModel", "two") + "]",
         {"two"},
         nullptr},
        {"truncated", complete.substr(0, complete.size() / 2), {}, "cannot be read"},
        {"garbage", std::string("\x00\x9f\xff binary junk", 16), {}, "cannot be read"},
        {"not an array", "{\"NoteModel\":{}}", {}, "cannot be read"},
        {"empty file", "", {}, nullptr},
        {"empty array", "[]", {}, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        bdx::testing::ConsoleCapture console;
        auto cache = std::make_shared<NoteCache>();
        writeText(cache->cacheDiskPath(), c.contents);
        cache->unpersistAll();
        EXPECT_EQ(c.models, identifiers(cache->getAllObjects()));
        if (c.logged != nullptr) {
            EXPECT_TRUE(console.contains(bdx::Console::Channel::StandardOutput, c.logged));
        }
    }
    // A missing file is an empty cache too.
    fs::remove(std::make_shared<NoteCache>()->cacheDiskPath());
    EXPECT_TRUE(std::make_shared<NoteCache>()->getCache().empty());
}

TEST_F(Caches, KilledWriterNeverLeavesAFileThatLosesThePreviousWrite) {
    // Made before the fork, so that the child never builds a singleton while other threads may hold locks.
    BDXDiskIOManager::getInstance();
    BDXDiskPersistenceManager::getInstance();
    const std::string path = std::make_shared<NoteCache>(true)->cacheDiskPath();
    std::random_device seed;
    const unsigned seedValue = seed();
    SCOPED_TRACE("seed " + std::to_string(seedValue));
    std::mt19937 random(seedValue);

    for (int round = 0; round < 10; ++round) {
        fs::remove(path);
        int acks[2];
        ASSERT_EQ(0, ::pipe(acks));
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(acks[0]);
            auto cache = std::make_shared<NoteCache>(true);
            // Each write holds every note so far; each ack says that write returned.
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
        const std::uint32_t killAfter = std::uniform_int_distribution<std::uint32_t>(1, 40)(random);
        std::uint32_t acknowledged = 0;
        while (acknowledged < killAfter) {
            ASSERT_EQ(static_cast<ssize_t>(sizeof acknowledged),
                      ::read(acks[0], &acknowledged, sizeof acknowledged))
                << "the writer ended early";
        }
        // A random stretch past the ack, so that the kill lands anywhere in the next write.
        const int yields = std::uniform_int_distribution<int>(0, 3000)(random);
        for (int i = 0; i < yields; ++i) {
            ::sched_yield();
        }
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        // Acks written before the kill are still in the pipe.
        std::uint32_t later = 0;
        while (::read(acks[0], &later, sizeof later) == static_cast<ssize_t>(sizeof later)) {
            acknowledged = later;
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

TEST_F(Caches, DecoderRoundTripsModelsInOrderAndIgnoresNonArrays) {
    const BDXCache::Models models = {NoteModel::make("a"), NoteModel::make("b")};
    EXPECT_EQ((std::vector<std::string>{"a", "b"}),
              identifiers(BDXCacheDecoder::getModelsFrom(BDXCacheDecoder::getDicationaryFromModels(models))));
    EXPECT_TRUE(BDXCacheDecoder::getModelsFrom(bdx::Value::object()).empty());
    EXPECT_TRUE(BDXCacheDecoder::getModelsFrom(bdx::Value("text")).empty());
}
