#include "platform/host/Info.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <thread>

#include "platform/host/Md5.h"
#include "testing/TemporaryDirectory.h"

namespace bdx::host {
namespace {

namespace fs = std::filesystem;

class HostInfo : public ::testing::Test {
  protected:
    void SetUp() override { Info::destroy(); }
    void TearDown() override { Info::destroy(); }
    bdx::testing::TemporaryDirectory scratch_;
    const fs::path dir_ = scratch_.path();
};

const std::regex kUpperUUIDv4("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");

TEST(Md5, KnownVectors) {
    for (const auto& [text, digest] : std::vector<std::pair<std::string, std::string>>{
             {"", "d41d8cd98f00b204e9800998ecf8427e"},
             {"abc", "900150983cd24fb0d6963f7d28e17f72"},
             {"The quick brown fox jumps over the lazy dog", "9e107d9d372bb6826bd81d3542a419d6"},
             {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"}}) {
        EXPECT_EQ(hexString(md5(std::string_view(text))), digest) << text.size();
    }
    // Bytes and text of the same content agree, embedded NULs included.
    EXPECT_EQ(md5(Data{'a', 0, 'b'}), md5(std::string_view("a\0b", 3)));
    EXPECT_EQ(hexString(Data{0x00, 0x0f, 0xa0, 0xff}), "000fa0ff");
}

TEST_F(HostInfo, DefaultsComeFromTheRunningSystem) {
    Info info;
    struct utsname u {};
    ASSERT_EQ(::uname(&u), 0);
    EXPECT_EQ(info.model(), u.machine);
    EXPECT_FALSE(info.systemName().empty());
    EXPECT_FALSE(info.systemVersion().empty());
    // The test program itself is the bundle.
    EXPECT_EQ(info.bundleName(), fs::read_symlink("/proc/self/exe").filename().string());
    EXPECT_EQ(info.bundleIdentifier(), "local." + info.bundleName());
    EXPECT_TRUE(info.displayName().empty());
    EXPECT_FALSE(info.hasInfoDictionaryKey("CFBundleDisplayName"));
    EXPECT_EQ(info.libraryVersion(), BDX_VERSION_STRING);
    EXPECT_FALSE(info.libraryBuild().empty());
}

TEST_F(HostInfo, NamedFieldsAndTheInformationDictionaryAreOne) {
    Info info;
    info.setBundleIdentifier("com.example.shop");
    info.setDisplayName("Shop");
    info.setShortVersionString("2.4.1");
    info.setBundleVersion("381");
    EXPECT_EQ(info.stringForInfoDictionaryKey("CFBundleIdentifier"), "com.example.shop");
    EXPECT_EQ(info.stringForInfoDictionaryKey("CFBundleDisplayName"), "Shop");
    EXPECT_EQ(info.stringForInfoDictionaryKey("CFBundleShortVersionString"), "2.4.1");
    info.setObjectForInfoDictionaryKey("CFBundleVersion", "382");
    EXPECT_EQ(info.bundleVersion(), "382");

    EXPECT_FALSE(info.hasInfoDictionaryKey("NSPhotoLibraryUsageDescription"));
    info.setObjectForInfoDictionaryKey("NSPhotoLibraryUsageDescription", "Attach photos to reports");
    info.setObjectForInfoDictionaryKey("UIViewControllerBasedStatusBarAppearance", false);
    info.setObjectForInfoDictionaryKey("UIDeviceFamily", Value::array({1, 2}));
    EXPECT_TRUE(info.hasInfoDictionaryKey("NSPhotoLibraryUsageDescription"));
    EXPECT_EQ(info.boolForInfoDictionaryKey("UIViewControllerBasedStatusBarAppearance"), false);
    EXPECT_EQ(info.boolForInfoDictionaryKey("NSMicrophoneUsageDescription"), std::nullopt);
    EXPECT_EQ(info.objectForInfoDictionaryKey("UIDeviceFamily").dump(), "[1,2]");
    EXPECT_TRUE(info.objectForInfoDictionaryKey("NSMicrophoneUsageDescription").is_null());
    EXPECT_EQ(info.stringForInfoDictionaryKey("UIDeviceFamily"), std::nullopt);
    info.removeObjectForInfoDictionaryKey("NSPhotoLibraryUsageDescription");
    EXPECT_FALSE(info.hasInfoDictionaryKey("NSPhotoLibraryUsageDescription"));
}

TEST_F(HostInfo, VendorIdentifierSurvivesARelaunch) {
    std::string first;
    {
        Info launch;
        launch.setStorageDirectory(dir_ / "Library");
        first = launch.vendorIdentifier();
        EXPECT_TRUE(std::regex_match(first, kUpperUUIDv4)) << first;
        EXPECT_EQ(launch.vendorIdentifier(), first);
    }
    EXPECT_TRUE(fs::exists(dir_ / "Library" / Info::kVendorIdentifierFileName));
    Info relaunch;
    relaunch.setStorageDirectory(dir_ / "Library");
    EXPECT_EQ(relaunch.vendorIdentifier(), first);

    // Another sandbox is another installation.
    Info elsewhere;
    elsewhere.setStorageDirectory(dir_ / "Other");
    EXPECT_NE(elsewhere.vendorIdentifier(), first);
    // Leftover temporary files are not left behind.
    for (const auto& entry : fs::directory_iterator(dir_ / "Library")) {
        EXPECT_EQ(entry.path().filename(), Info::kVendorIdentifierFileName);
    }
}

TEST_F(HostInfo, DamagedIdentifierFileIsReplacedAndUnwritableStorageKeepsItInMemory) {
    fs::create_directories(dir_ / "Library");
    std::ofstream(dir_ / "Library" / Info::kVendorIdentifierFileName) << "not an identifier";
    Info info;
    info.setStorageDirectory(dir_ / "Library");
    const std::string id = info.vendorIdentifier();
    EXPECT_TRUE(std::regex_match(id, kUpperUUIDv4)) << id;
    Info again;
    again.setStorageDirectory(dir_ / "Library");
    EXPECT_EQ(again.vendorIdentifier(), id);

    // Storage under a plain file can never be made, whoever runs the test.
    std::ofstream(dir_ / "plain-file") << "x";
    Info unwritable;
    unwritable.setStorageDirectory(dir_ / "plain-file" / "Library");
    const std::string kept = unwritable.vendorIdentifier();
    EXPECT_TRUE(std::regex_match(kept, kUpperUUIDv4)) << kept;
    EXPECT_EQ(unwritable.vendorIdentifier(), kept);
}

TEST_F(HostInfo, ConcurrentFirstLaunchesAgreeOnOneIdentifier) {
    std::vector<std::string> ids(4);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        threads.emplace_back([&, i] {
            Info info;
            info.setStorageDirectory(dir_ / "Shared");
            ids[i] = info.vendorIdentifier();
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), 1u);
}

TEST(UUIDText, FreshUpperCaseVersionFourEachTime) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string id = makeUUIDString();
        EXPECT_TRUE(std::regex_match(id, kUpperUUIDv4)) << id;
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 100u);
}

}  // namespace
}  // namespace bdx::host
