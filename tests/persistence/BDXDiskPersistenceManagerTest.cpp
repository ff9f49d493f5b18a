#include "persistence/BDXDiskPersistenceManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "foundation/Clock.h"
#include "foundation/DispatchQueue.h"
#include "foundation/FileURL.h"
#include "foundation/Sandbox.h"
#include "foundation/TimeZone.h"
#include "foundation/UserDefaults.h"
#include "persistence/BDXDiskIOManager.h"
#include "platform/gfx/ImageContext.h"
#include "testing/ConsoleCapture.h"
#include "testing/FileContents.h"
#include "testing/SandboxTest.h"
#include "testing/VirtualClock.h"

namespace fs = std::filesystem;
using bdx::Console;
using bdx::testing::readFile;
using bdx::testing::writeFile;

namespace {

// 2024-03-05 15:04:05.625 UTC, in the afternoon: the twelve-hour clock writes the hour as 03.
constexpr double kAfternoon = 1709651045.625;
constexpr const char* kAfternoonName = "20240305030405625";

class DiskStore : public bdx::testing::SandboxTest {
  protected:
    // The verbose lines of the SDK log are printed.
    void SetUp() override {
        SandboxTest::SetUp();
        BDXSDKDebugInfoLogger::setLevel(0);
        BDXInspector::overrideDebuggerAttached(true);
    }
    void TearDown() override {
        bdx::Clock::install(nullptr);
        bdx::gfx::setMainScreenScale(1);
        SandboxTest::TearDown();
    }
    static std::shared_ptr<bdx::testing::VirtualClock> fixTime(double now) {
        bdx::TimeZone::setDefaultTimeZone(bdx::TimeZone::utc());
        auto clock = std::make_shared<bdx::testing::VirtualClock>(now);
        bdx::Clock::install(clock);
        return clock;
    }

    static std::shared_ptr<BDXDiskPersistenceManager> store() {
        return BDXDiskPersistenceManager::getInstance();
    }
    static std::string library() { return bdx::Sandbox::current().library().string(); }
    static std::string documents() { return bdx::Sandbox::current().documents().string(); }
    // Every write queued so far has landed once a read returns.
    static void drainWrites() { BDXDiskIOManager::getInstance()->readFileAtPath("/"); }

    static bdx::Data bytes(const std::string& text) { return bdx::Data(text.begin(), text.end()); }
};

TEST_F(DiskStore, LocationsAndRecordingFolders) {
    auto s = store();
    EXPECT_EQ(library() + "/BDXCache/", s->cacheDirectory());
    EXPECT_EQ(library() + "/BDXTemp/", s->tempDirectory());
    EXPECT_TRUE(fs::is_directory(s->cacheDirectory()) && fs::is_directory(s->tempDirectory()));
    EXPECT_EQ(library() + "/BDXLog/", s->getUserLogDirectory());
    EXPECT_EQ(library() + "/BrindlexDataModel.sqlite", s->getCoreDataFilePath());
    s->clearViewHierarchyTempDirectory();
    EXPECT_EQ(library() + "/BDXTemp/BDXViewHierarchyTemp/", s->getViewHierarchyTempDirectory());
    EXPECT_TRUE(fs::is_directory(library() + "/BDXTemp/BDXViewHierarchyTemp/"));

    const std::string first = s->screenshotsRecordingIdentifier();
    EXPECT_EQ(library() + "/BDXCache/BDXAutoScreenRecordingTemp/" + first + "/",
              s->screenshotsRecordingDirectory());
    EXPECT_TRUE(fs::is_directory(s->screenshotsRecordingDirectory()));
    const std::string second = s->newVideoIdentifier();
    EXPECT_NE(first, second);
    EXPECT_TRUE(fs::is_directory(s->getAutoScreenRecordingDirectory() + second));
    std::vector<std::string> both{first, second};
    std::sort(both.begin(), both.end());
    EXPECT_EQ(both, s->getAutoScreenRecordingContainingDirectories());
    s->clearAutoScreenRecordingAtIdentifier(first);
    EXPECT_EQ(std::vector<std::string>{second}, s->getAutoScreenRecordingContainingDirectories());
}

TEST_F(DiskStore, TemporaryDirectoryIsEmptiedAtEachStartAndTheCacheSurvives) {
    auto s = store();
    EXPECT_FALSE(s->hasCachedData());
    const std::string body = s->persistDataAsTextInTempDirectory(bytes("request body"));
    const std::string cached = s->persistString("kept across launches");
    drainWrites();
    ASSERT_EQ("request body", readFile(body));
    s.reset();

    relaunch();
    s = store();
    EXPECT_FALSE(fs::exists(body));
    EXPECT_TRUE(fs::is_directory(s->tempDirectory()) && fs::is_empty(s->tempDirectory()));
    EXPECT_EQ("kept across launches", readFile(s->cacheDirectory() + cached));
    EXPECT_TRUE(s->hasCachedData());
}

TEST_F(DiskStore, NamesAreTheTwelveHourTimeAndANumber) {
    auto clock = fixTime(kAfternoon);
    auto s = store();
    const std::regex shape(std::string(kAfternoonName) + "([1-9][0-9]{0,4})");
    std::set<long> numbers;
    for (int i = 0; i < 2000; ++i) {
        std::smatch match;
        const std::string name = s->randomName();
        ASSERT_TRUE(std::regex_match(name, match, shape)) << name;
        EXPECT_LE(std::stol(match[1]), 99999);
        numbers.insert(std::stol(match[1]));
    }
    EXPECT_GT(numbers.size(), 1900u) << "the numbers should vary";
    // Twelve hours earlier, in the morning, the date part is the same.
    clock->shiftWallClock(-12 * 3600);
    EXPECT_EQ(0u, s->randomName().rfind(kAfternoonName, 0));

    const std::string digits = std::string(kAfternoonName) + "[0-9]+";
    EXPECT_TRUE(std::regex_match(s->randomNameWithExtension(""), std::regex(digits)));
    EXPECT_TRUE(std::regex_match(s->randomNameWithExtension("txt"), std::regex(digits + "\\.txt")));
    EXPECT_TRUE(std::regex_match(s->getRandomAudioFileName(), std::regex(digits + "\\.m4a")));
    EXPECT_TRUE(std::regex_match(s->getRandomVideoFileName(), std::regex(digits + "\\.mp4")));
    EXPECT_TRUE(std::regex_match(s->getRandomZipFileName(), std::regex(digits + "\\.zip")));
}

TEST_F(DiskStore, CopiesTakeTheFirstFreeNumberedNameAndMovesNeverReplace) {
    auto s = store();
    writeFile(documents() + "/a.txt", "host file");
    writeFile(documents() + "/notes", "no extension");
    EXPECT_EQ("a.txt", s->persistDuplicateOfFileAtPath(documents() + "/a.txt"));
    EXPECT_EQ("a-1.txt", s->persistDuplicateOfFileAtPath(documents() + "/a.txt"));
    EXPECT_EQ("a-2.txt", s->persistDuplicateOfFileAtPath(documents() + "/a.txt"));
    EXPECT_EQ("host file", readFile(s->cacheDirectory() + "a-2.txt"));
    EXPECT_EQ("notes", s->persistDuplicateOfFileAtPath(documents() + "/notes"));
    EXPECT_EQ("notes-1", s->persistDuplicateOfFileAtPath(documents() + "/notes"));
    EXPECT_EQ(std::nullopt, s->persistDuplicateOfFileAtPath(documents() + "/missing.pdf"));
    EXPECT_FALSE(fs::exists(s->cacheDirectory() + "missing.pdf"));

    writeFile(documents() + "/clip.mp4", "video");
    EXPECT_EQ(s->cacheDirectory() + "clip.mp4",
              s->moveFileToCacheWithURL("file://" + documents() + "/clip.mp4"));
    EXPECT_EQ("video", readFile(s->cacheDirectory() + "clip.mp4"));
    EXPECT_EQ(documents() + "/none.mp4", s->moveFileToCacheWithURL(documents() + "/none.mp4"));
    writeFile(documents() + "/clip.mp4", "another");
    EXPECT_EQ(documents() + "/clip.mp4", s->moveFileToCacheWithURL(documents() + "/clip.mp4"));
    EXPECT_EQ("video", readFile(s->cacheDirectory() + "clip.mp4"));
}

TEST_F(DiskStore, AFileURLWithEscapesMovesTheFileItNames) {
    auto s = store();
    const std::string named = documents() + "/clip one #1.mp4";
    writeFile(named, "video");
    EXPECT_EQ(s->cacheDirectory() + "clip one #1.mp4",
              s->moveFileToCacheWithURL("file://localhost" + documents() + "/clip%20one%20%231.mp4"));
    EXPECT_FALSE(fs::exists(named));
    EXPECT_EQ("video", readFile(s->cacheDirectory() + "clip one #1.mp4"));

    writeFile(documents() + "/clip one.mp4", "second");
    EXPECT_EQ(s->cacheDirectory() + "clip one.mp4",
              s->moveFileToCacheWithURL(bdx::fileURLWithPath(documents() + "/clip one.mp4")));
    EXPECT_EQ("second", readFile(s->cacheDirectory() + "clip one.mp4"));
}

TEST_F(DiskStore, PersistOperationsReturnWhatTheirCallersRelyOn) {
    auto s = store();
    std::promise<std::pair<bool, std::string>> written;
    const std::string body = s->persistDataInTempDirectory(bytes("{\"a\":1}"), [&](bool success) {
        written.set_value({success, bdx::DispatchQueue::currentLabel()});
    });
    ASSERT_EQ(0u, body.rfind(s->tempDirectory(), 0));
    EXPECT_EQ(std::string::npos, body.find('.', s->tempDirectory().size())) << "no extension: " << body;
    EXPECT_EQ(std::make_pair(true, std::string("com.bdx.diskIOQueue")), written.get_future().get());
    EXPECT_EQ("{\"a\":1}", readFile(body));

    const std::string text = s->persistDataAsTextInTempDirectory(bytes("attachment"));
    EXPECT_EQ(s->tempDirectory() + fs::path(text).filename().string(), text);
    EXPECT_EQ("attachment", readFile(text));  // on disk on return, without draining
    EXPECT_EQ(10, s->fileSizeAtLocation(text));

    const std::string name = s->persistString("caf\xC3\xA9");
    drainWrites();
    EXPECT_EQ("caf\xC3\xA9", readFile(s->cacheDirectory() + name));

    EXPECT_EQ(-1, s->fileSizeAtLocation(library() + "/missing"));
    EXPECT_EQ(-1, s->fileSizeAtLocation(library()));
    writeFile(library() + "/empty", "");
    EXPECT_EQ(0, s->fileSizeAtLocation(library() + "/empty"));

    EXPECT_EQ(std::nullopt, s->userAttributes());
    s->persistUserAttributes(bdx::Value{{"plan", "pro"}});
    EXPECT_EQ((bdx::Value{{"plan", "pro"}}), s->userAttributes());
    EXPECT_TRUE(fs::exists(library() + "/BDXLog/BDXUserAttribute.txt"));
}

TEST_F(DiskStore, ClearAllCacheRemovesFilesAndEveryBDXPreference) {
    auto defaults = bdx::UserDefaults::standardUserDefaults();
    defaults->setString("token", "BDXAppToken");
    defaults->setBool(true, "hostBDXFlag");
    defaults->setString("mine", "hostSetting");
    defaults->setString("lower case", "bdxLowerCase");
    auto s = store();
    s->persistString("cached");
    s->persistUserAttributes(bdx::Value{{"a", "b"}});
    writeFile(s->getCoreDataFilePath(), "store");
    writeFile(s->getCoreDataFilePath() + "-wal", "journal");
    drainWrites();

    s->clearAllCache();
    for (const char* gone : {"/BDXTemp", "/BDXCache", "/BDXLog", "/BrindlexDataModel.sqlite"}) {
        EXPECT_FALSE(fs::exists(library() + gone)) << gone;
    }
    EXPECT_TRUE(fs::exists(s->getCoreDataFilePath() + "-wal"));

    // The kept path points at nothing until the directory is asked for again.
    bdx::testing::ConsoleCapture console;
    const std::string lost = s->persistString("lost");
    drainWrites();
    EXPECT_FALSE(fs::exists(s->cacheDirectory() + lost));
    EXPECT_TRUE(console.contains(Console::Channel::StandardOutput,
                                 "[Brindlex] Faild to write file to the disk error:"));
    EXPECT_EQ(s->cacheDirectory(), s->getCacheDirectory());
    const std::string kept = s->persistString("kept");
    drainWrites();
    EXPECT_EQ("kept", readFile(s->cacheDirectory() + kept));

    // The preferences were written through: a relaunch reads the same.
    defaults.reset();
    s.reset();
    relaunch();
    defaults = bdx::UserDefaults::standardUserDefaults();
    EXPECT_TRUE(defaults->objectForKey("BDXAppToken").is_null());
    EXPECT_TRUE(defaults->objectForKey("hostBDXFlag").is_null());
    EXPECT_EQ("mine", defaults->stringForKey("hostSetting"));
    EXPECT_EQ("lower case", defaults->stringForKey("bdxLowerCase"));
}

TEST_F(DiskStore, ClearingTheRecordingUnderWayMakesItsNextFrameFail) {
    bdx::testing::ConsoleCapture console;
    auto s = store();
    const auto frame = bdx::gfx::Image::filled(8, 8, 0xFF0000FF);
    auto name = s->persistImageForAutoScreenRecording(frame);
    const std::string folder = s->screenshotsRecordingDirectory();
    drainWrites();
    ASSERT_TRUE(name.has_value());
    EXPECT_TRUE(fs::is_regular_file(folder + *name));
    EXPECT_TRUE(
        console.contains(Console::Channel::StandardOutput, "[Brindlex] >>> filepath " + folder + *name));

    s->clearAutoScreenRecordingAtIdentifier(s->screenshotsRecordingIdentifier());
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_TRUE(
        console.contains(Console::Channel::StandardOutput, "[Brindlex] *** screenshots removed from path"));
    EXPECT_TRUE(s->persistImageForAutoScreenRecording(frame).has_value());
    drainWrites();
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_TRUE(console.contains(Console::Channel::StandardOutput,
                                 "[Brindlex] Faild to write file to the disk error:"));
}

// Width, height and the centre pixel's colour of a JPEG, as djpeg decodes it.
std::array<int, 5> decodeWithDjpeg(const std::string& path) {
    if (std::system(("djpeg -pnm -outfile '" + path + ".ppm' '" + path + "'").c_str()) != 0) {
        return {};
    }
    std::ifstream in(path + ".ppm", std::ios::binary);
    std::string magic;
    int width = 0, height = 0, maximum = 0;
    in >> magic >> width >> height >> maximum;
    in.get();
    std::string pixels((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::size_t centre = (static_cast<std::size_t>(height / 2) * width + width / 2) * 3;
    if (magic != "P6" || pixels.size() < centre + 3) {
        return {};
    }
    auto channel = [&](std::size_t i) {
        return static_cast<int>(static_cast<unsigned char>(pixels[centre + i]));
    };
    return {width, height, channel(0), channel(1), channel(2)};
}

TEST_F(DiskStore, ImagesOfDoubleDensityAreHalvedBeforeEncoding) {
    bdx::gfx::setMainScreenScale(2);
    auto s = store();
    struct Case {
        int width, height;
        double scale;
        int expectedWidth, expectedHeight;
    };
    // 200x100 pixels at scale 2 is 100x50 points; half of that at the screen's scale 2 is 100x50 pixels.
    for (const Case& c :
         {Case{200, 100, 2.0, 100, 50}, Case{300, 150, 3.0, 100, 50}, Case{150, 90, 1.5, 150, 90}}) {
        SCOPED_TRACE(c.scale);
        auto name = s->persistImage(bdx::gfx::Image::filled(c.width, c.height, 0xFF00C000, c.scale), 0.8);
        ASSERT_TRUE(name.has_value());
        drainWrites();
        auto decoded = decodeWithDjpeg(s->cacheDirectory() + *name);
        EXPECT_EQ(c.expectedWidth, decoded[0]);
        EXPECT_EQ(c.expectedHeight, decoded[1]);
        EXPECT_NEAR(0, decoded[2], 8);
        EXPECT_NEAR(0xC0, decoded[3], 8);
        EXPECT_NEAR(0, decoded[4], 8);
    }
    EXPECT_EQ(std::nullopt, s->persistImage(bdx::gfx::Image(), 1.0));

    // A file of the bare new name in the working directory counts as taken: nothing is written. The next
    // number of the process's generator is known once it is seeded.
    fixTime(kAfternoon);
    std::srand(77);
    const std::string next = kAfternoonName + std::to_string(std::rand() % 99999 + 1) + ".jpg";
    std::srand(77);
    const auto previous = fs::current_path();
    fs::current_path(sandboxRoot());
    writeFile(next, "");
    auto name = s->persistImage(bdx::gfx::Image::filled(4, 4, 0xFFFFFFFF), 1.0);
    fs::current_path(previous);
    EXPECT_EQ(std::nullopt, name);
    drainWrites();
    EXPECT_FALSE(fs::exists(s->cacheDirectory() + next));
}

}  // namespace
