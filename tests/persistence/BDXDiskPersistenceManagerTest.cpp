#include "persistence/BDXDiskPersistenceManager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "foundation/Clock.h"
#include "foundation/DispatchQueue.h"
#include "foundation/Sandbox.h"
#include "foundation/TimeZone.h"
#include "foundation/UserDefaults.h"
#include "persistence/BDXDiskIOManager.h"
#include "persistence/BDXFileNameSuffix.h"
#include "platform/gfx/ImageContext.h"
#include "testing/ConsoleCapture.h"
#include "testing/SandboxTest.h"

namespace fs = std::filesystem;

namespace {

// Wall time fixed where the test puts it; the monotonic scale stays real, so queues work as usual.
class FixedClock : public bdx::Clock {
  public:
    explicit FixedClock(double now) : now_(now) {}
    double now() const override { return now_; }
    double monotonicNow() const override {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    }

  private:
    double now_;
};

class DiskStore : public bdx::testing::SandboxTest {
  protected:
    void TearDown() override {
        bdx::Clock::install(nullptr);
        bdx::gfx::setMainScreenScale(1);
        SandboxTest::TearDown();
    }

    static std::shared_ptr<BDXDiskPersistenceManager> store() {
        return BDXDiskPersistenceManager::getInstance();
    }
    std::string library() const { return bdx::Sandbox::current().library().string(); }

    // Every write queued so far has landed once a read returns.
    static void drainWrites() { BDXDiskIOManager::getInstance()->readFileAtPath("/"); }

    static std::string contents(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    }
    static void writeFile(const std::string& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }
    static bdx::Data bytes(const std::string& text) { return bdx::Data(text.begin(), text.end()); }
};

TEST_F(DiskStore, LocationsHangFromTheLibraryDirectory) {
    auto s = store();
    EXPECT_EQ(library() + "/BDXCache/", s->cacheDirectory());
    EXPECT_EQ(library() + "/BDXTemp/", s->tempDirectory());
    EXPECT_TRUE(fs::is_directory(s->cacheDirectory()));
    EXPECT_TRUE(fs::is_directory(s->tempDirectory()));
    EXPECT_EQ(library() + "/BDXLog/", s->getUserLogDirectory());
    EXPECT_TRUE(fs::is_directory(library() + "/BDXLog/"));
    EXPECT_EQ(library() + "/BDXTemp/BDXViewHierarchyTemp/", s->getViewHierarchyTempDirectory());
    EXPECT_EQ(library() + "/BDXCache/BDXAutoScreenRecordingTemp/", s->getAutoScreenRecordingDirectory());
    EXPECT_EQ(library() + "/BrindlexDataModel.sqlite", s->getCoreDataFilePath());
    // Made again each time they are asked for and missing.
    s->clearViewHierarchyTempDirectory();
    EXPECT_FALSE(fs::exists(library() + "/BDXTemp/BDXViewHierarchyTemp/"));
    EXPECT_TRUE(fs::is_directory(s->getViewHierarchyTempDirectory()));
}

TEST_F(DiskStore, TemporaryDirectoryIsEmptiedAtEachStartAndTheCacheSurvives) {
    auto s = store();
    const std::string body = s->persistDataAsTextInTempDirectory(bytes("request body"));
    const std::string cached = s->persistString("kept across launches");
    drainWrites();
    ASSERT_EQ("request body", contents(body));
    s.reset();

    relaunch();
    s = store();
    EXPECT_FALSE(fs::exists(body));
    EXPECT_TRUE(fs::is_directory(s->tempDirectory()));
    EXPECT_TRUE(fs::is_empty(s->tempDirectory()));
    EXPECT_EQ("kept across launches", contents(s->cacheDirectory() + cached));
    EXPECT_TRUE(s->hasCachedData());

    // Only the start clears it: a file written now stays while the process lives.
    const std::string later = s->persistDataAsTextInTempDirectory(bytes("later"));
    s.reset();
    EXPECT_TRUE(fs::exists(later));
}

TEST_F(DiskStore, NamesAreTheTwelveHourTimeAndANumber) {
    bdx::TimeZone::setDefaultTimeZone(bdx::TimeZone::utc());
    // 2024-03-05 15:04:05.625 UTC, in the afternoon: the hour is written as 03.
    bdx::Clock::install(std::make_shared<FixedClock>(1709651045.625));
    auto s = store();
    const std::regex shape("20240305030405625([1-9][0-9]{0,4})");
    std::set<long> numbers;
    for (int i = 0; i < 2000; ++i) {
        std::smatch match;
        const std::string name = s->randomName();
        ASSERT_TRUE(std::regex_match(name, match, shape)) << name;
        const long number = std::stol(match[1]);
        EXPECT_LE(number, 99999);
        numbers.insert(number);
    }
    EXPECT_GT(numbers.size(), 1900u) << "the numbers should vary";

    // The same minute of the morning gives the same date part.
    bdx::Clock::install(std::make_shared<FixedClock>(1709651045.625 - 12 * 3600));
    EXPECT_EQ(0u, s->randomName().rfind("20240305030405625", 0));

    EXPECT_TRUE(std::regex_match(s->randomNameWithExtension(""), std::regex("20240305030405625[0-9]+")));
    EXPECT_TRUE(
        std::regex_match(s->randomNameWithExtension("txt"), std::regex("20240305030405625[0-9]+\\.txt")));
    EXPECT_EQ("", s->getDotExtension(""));
    EXPECT_EQ(".png", s->getDotExtension("png"));
    EXPECT_TRUE(std::regex_match(s->getRandomAudioFileName(), std::regex("[0-9]{18,22}\\.m4a")));
    EXPECT_TRUE(std::regex_match(s->getRandomVideoFileName(), std::regex("[0-9]{18,22}\\.mp4")));
    EXPECT_TRUE(std::regex_match(s->getRandomZipFileName(), std::regex("[0-9]{18,22}\\.zip")));
}

TEST(FileNameSuffix, NumberGoesBeforeTheLastExtension) {
    EXPECT_EQ("a-1.txt", bdx_stringByAppendingFileNameSuffix("a.txt", "1"));
    EXPECT_EQ("notes-1", bdx_stringByAppendingFileNameSuffix("notes", "1"));
    EXPECT_EQ("a.tar-2.gz", bdx_stringByAppendingFileNameSuffix("a.tar.gz", "2"));
    EXPECT_EQ(".profile-1", bdx_stringByAppendingFileNameSuffix(".profile", "1"));
}

TEST_F(DiskStore, DuplicatesTakeTheFirstFreeNumberedName) {
    auto s = store();
    const std::string documents = bdx::Sandbox::current().documents().string();
    writeFile(documents + "/a.txt", "host file");
    writeFile(documents + "/notes", "no extension");

    EXPECT_EQ("a.txt", s->persistDuplicateOfFileAtPath(documents + "/a.txt"));
    EXPECT_EQ("a-1.txt", s->persistDuplicateOfFileAtPath(documents + "/a.txt"));
    EXPECT_EQ("a-2.txt", s->persistDuplicateOfFileAtPath(documents + "/a.txt"));
    EXPECT_EQ("host file", contents(s->cacheDirectory() + "a-2.txt"));
    // The host may delete its own file: the copy stays.
    fs::remove(documents + "/a.txt");
    EXPECT_EQ("host file", contents(s->cacheDirectory() + "a.txt"));

    EXPECT_EQ("notes", s->persistDuplicateOfFileAtPath(documents + "/notes"));
    EXPECT_EQ("notes-1", s->persistDuplicateOfFileAtPath(documents + "/notes"));
    EXPECT_EQ("no extension", contents(s->cacheDirectory() + "notes-1"));

    EXPECT_EQ(std::nullopt, s->persistDuplicateOfFileAtPath(documents + "/missing.pdf"));
    EXPECT_EQ(std::nullopt, s->persistDuplicateOfFileAtPath(""));
    EXPECT_FALSE(fs::exists(s->cacheDirectory() + "missing.pdf"));
}

TEST_F(DiskStore, MoveIntoTheCacheGivesTheNewPathOrTheOldOne) {
    auto s = store();
    const std::string documents = bdx::Sandbox::current().documents().string();
    writeFile(documents + "/clip.mp4", "video");
    EXPECT_EQ(s->cacheDirectory() + "clip.mp4",
              s->moveFileToCacheWithURL("file://" + documents + "/clip.mp4"));
    EXPECT_FALSE(fs::exists(documents + "/clip.mp4"));
    EXPECT_EQ("video", contents(s->cacheDirectory() + "clip.mp4"));

    EXPECT_EQ(documents + "/none.mp4", s->moveFileToCacheWithURL(documents + "/none.mp4"));
    // A file of that name is there already: nothing moves, nothing is replaced.
    writeFile(documents + "/clip.mp4", "another");
    EXPECT_EQ(documents + "/clip.mp4", s->moveFileToCacheWithURL(documents + "/clip.mp4"));
    EXPECT_EQ("another", contents(documents + "/clip.mp4"));
    EXPECT_EQ("video", contents(s->cacheDirectory() + "clip.mp4"));
}

TEST_F(DiskStore, PersistOperationsReturnWhatTheirCallersExpect) {
    auto s = store();
    std::promise<std::pair<bool, std::string>> written;
    const std::string body = s->persistDataInTempDirectory(bytes("{\"a\":1}"), [&](bool success) {
        written.set_value({success, bdx::DispatchQueue::currentLabel()});
    });
    EXPECT_EQ(0u, body.rfind(s->tempDirectory(), 0));
    EXPECT_EQ(std::string::npos, body.substr(s->tempDirectory().size()).find('.'))
        << "no extension: " << body;
    EXPECT_EQ(std::make_pair(true, std::string("com.bdx.diskIOQueue")), written.get_future().get());
    EXPECT_EQ("{\"a\":1}", contents(body));

    const std::string text = s->persistDataAsTextInTempDirectory(bytes("attachment"));
    EXPECT_EQ(0u, text.rfind(s->tempDirectory(), 0));
    EXPECT_EQ(".txt", text.substr(text.size() - 4));
    EXPECT_EQ("attachment", contents(text));

    const std::string name = s->persistString("caf\xC3\xA9");
    EXPECT_EQ(std::string::npos, name.find('/'));
    drainWrites();
    EXPECT_EQ("caf\xC3\xA9", contents(s->cacheDirectory() + name));
}

TEST_F(DiskStore, FileSizes) {
    auto s = store();
    EXPECT_EQ(-1, s->fileSizeAtLocation(library() + "/missing"));
    EXPECT_EQ(-1, s->fileSizeAtLocation(""));
    writeFile(library() + "/empty", "");
    EXPECT_EQ(0, s->fileSizeAtLocation(library() + "/empty"));
    writeFile(library() + "/five", "12345");
    EXPECT_EQ(5, s->fileSizeAtLocation(library() + "/five"));
}

TEST_F(DiskStore, UserAttributesRoundTripAndAreAbsentWithoutAFile) {
    auto s = store();
    EXPECT_EQ(std::nullopt, s->userAttributes());
    s->persistUserAttributes(bdx::Value{{"plan", "pro"}, {"age", "42"}});
    auto read = s->userAttributes();
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ("pro", (*read)["plan"]);
    EXPECT_TRUE(fs::exists(library() + "/BDXLog/BDXUserAttribute.txt"));
    s.reset();
    relaunch();
    EXPECT_EQ(read, store()->userAttributes());

    writeFile(library() + "/BDXLog/BDXUserAttribute.txt", "not an archive");
    EXPECT_EQ(std::nullopt, store()->userAttributes());
}

TEST_F(DiskStore, ClearAllCacheRemovesFilesAndEveryBDXPreference) {
    auto defaults = bdx::UserDefaults::standardUserDefaults();
    defaults->setString("token", "BDXAppToken");
    defaults->setBool(true, "hostBDXFlag");
    defaults->setString("mine", "hostSetting");
    defaults->setString("lower case", "bdxLowerCase");
    defaults->synchronize();

    auto s = store();
    const std::string cached = s->persistString("cached");
    s->persistUserAttributes(bdx::Value{{"a", "b"}});
    s->persistDataAsTextInTempDirectory(bytes("temp"));
    writeFile(s->getCoreDataFilePath(), "store");
    writeFile(s->getCoreDataFilePath() + "-wal", "journal");
    drainWrites();

    s->clearAllCache();
    EXPECT_FALSE(fs::exists(library() + "/BDXTemp"));
    EXPECT_FALSE(fs::exists(library() + "/BDXCache"));
    EXPECT_FALSE(fs::exists(library() + "/BDXLog"));
    EXPECT_FALSE(fs::exists(s->getCoreDataFilePath()));
    EXPECT_TRUE(fs::exists(s->getCoreDataFilePath() + "-wal"));

    // Written through at once: a relaunch reads the same.
    defaults.reset();
    relaunch();
    defaults = bdx::UserDefaults::standardUserDefaults();
    EXPECT_TRUE(defaults->objectForKey("BDXAppToken").is_null());
    EXPECT_TRUE(defaults->objectForKey("hostBDXFlag").is_null());
    EXPECT_EQ("mine", defaults->stringForKey("hostSetting"));
    EXPECT_EQ("lower case", defaults->stringForKey("bdxLowerCase"));
}

TEST_F(DiskStore, WritesIntoAClearedCacheFailUntilItIsMadeAgain) {
    bdx::testing::ConsoleCapture console;
    auto s = store();
    s->clearAllCache();
    const std::string lost = s->persistString("lost");
    drainWrites();
    EXPECT_FALSE(fs::exists(s->cacheDirectory() + lost));
    EXPECT_TRUE(console.contains(bdx::Console::Channel::SystemLog, "Faild to write file to the disk error:"));

    EXPECT_EQ(s->cacheDirectory(), s->getCacheDirectory());
    const std::string kept = s->persistString("kept");
    drainWrites();
    EXPECT_EQ("kept", contents(s->cacheDirectory() + kept));
}

TEST_F(DiskStore, RecordingFolders) {
    auto s = store();
    const std::string first = s->screenshotsRecordingIdentifier();
    EXPECT_EQ(s->getAutoScreenRecordingDirectory() + first + "/", s->screenshotsRecordingDirectory());
    EXPECT_TRUE(fs::is_directory(s->screenshotsRecordingDirectory()));
    EXPECT_EQ(first, s->screenshotsRecordingIdentifier());

    const std::string second = s->newVideoIdentifier();
    EXPECT_NE(first, second);
    EXPECT_TRUE(fs::is_directory(s->getAutoScreenRecordingDirectory() + second));
    std::vector<std::string> expected{first, second};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, s->getAutoScreenRecordingContainingDirectories());

    s->clearAutoScreenRecordingAtIdentifier(first);
    EXPECT_EQ(std::vector<std::string>{second}, s->getAutoScreenRecordingContainingDirectories());
}

TEST_F(DiskStore, ClearingTheRecordingUnderWayMakesItsNextFrameFail) {
    bdx::testing::ConsoleCapture console;
    auto s = store();
    const auto frame = bdx::gfx::Image::filled(8, 8, 0xFF0000FF);
    auto name = s->persistImageForAutoScreenRecording(frame);
    ASSERT_TRUE(name.has_value());
    const std::string folder = s->screenshotsRecordingDirectory();
    drainWrites();
    EXPECT_TRUE(fs::is_regular_file(folder + *name));
    EXPECT_TRUE(console.contains(bdx::Console::Channel::SystemLog, ">>> filepath " + folder + *name));

    s->clearAutoScreenRecordingAtIdentifier(s->screenshotsRecordingIdentifier());
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_TRUE(console.contains(bdx::Console::Channel::SystemLog, "*** screenshots removed from path"));

    name = s->persistImageForAutoScreenRecording(frame);
    ASSERT_TRUE(name.has_value());
    drainWrites();
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_TRUE(console.contains(bdx::Console::Channel::SystemLog, "Faild to write file to the disk error:"));
    EXPECT_FALSE(console.contains(bdx::Console::Channel::StandardOutput, "Faild"));
}

// Width, height and the colour of the centre pixel of a JPEG, as djpeg decodes it.
struct Decoded {
    int width = 0;
    int height = 0;
    int red = -1, green = -1, blue = -1;
};

Decoded decodeWithDjpeg(const std::string& path) {
    Decoded decoded;
    const std::string ppm = path + ".ppm";
    if (std::system(("djpeg -pnm -outfile '" + ppm + "' '" + path + "'").c_str()) != 0) {
        return decoded;
    }
    std::ifstream in(ppm, std::ios::binary);
    std::string magic;
    int maximum = 0;
    in >> magic >> decoded.width >> decoded.height >> maximum;
    in.get();
    if (magic != "P6" || maximum != 255) {
        return Decoded{};
    }
    std::string pixels((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::size_t centre =
        (static_cast<std::size_t>(decoded.height / 2) * decoded.width + decoded.width / 2) * 3;
    if (pixels.size() >= centre + 3) {
        decoded.red = static_cast<unsigned char>(pixels[centre]);
        decoded.green = static_cast<unsigned char>(pixels[centre + 1]);
        decoded.blue = static_cast<unsigned char>(pixels[centre + 2]);
    }
    return decoded;
}

TEST_F(DiskStore, ImagesOfDoubleDensityAreHalvedBeforeEncoding) {
    bdx::gfx::setMainScreenScale(2);
    auto s = store();
    const std::uint32_t green = 0xFF00C000;

    struct Case {
        int width, height;
        double scale;
        int expectedWidth, expectedHeight;
    };
    // 200x100 pixels at scale 2 is 100x50 points; half of it at the screen's scale 2 is 100x50 pixels.
    for (const Case& c : {Case{200, 100, 2.0, 100, 50}, Case{300, 150, 3.0, 100, 50},
                          Case{150, 90, 1.5, 150, 90}, Case{64, 32, 1.0, 64, 32}}) {
        SCOPED_TRACE(c.scale);
        auto image = bdx::gfx::Image::filled(c.width, c.height, green, c.scale);
        auto name = s->persistImage(image, 0.8);
        ASSERT_TRUE(name.has_value());
        EXPECT_EQ(".jpg", name->substr(name->size() - 4));
        drainWrites();
        auto decoded = decodeWithDjpeg(s->cacheDirectory() + *name);
        EXPECT_EQ(c.expectedWidth, decoded.width);
        EXPECT_EQ(c.expectedHeight, decoded.height);
        EXPECT_NEAR(0, decoded.red, 8);
        EXPECT_NEAR(0xC0, decoded.green, 8);
        EXPECT_NEAR(0, decoded.blue, 8);
    }
    EXPECT_EQ(std::nullopt, s->persistImage(bdx::gfx::Image(), 1.0));
}

TEST_F(DiskStore, ANameTakenInTheWorkingDirectoryWritesNoImage) {
    bdx::TimeZone::setDefaultTimeZone(bdx::TimeZone::utc());
    bdx::Clock::install(std::make_shared<FixedClock>(1709651045.625));
    auto s = store();
    // The next number of the process's generator is known once it is seeded.
    std::srand(77);
    const std::string next = "20240305030405625" + std::to_string(std::rand() % 99999 + 1) + ".jpg";
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
