#include "foundation/UserDefaults.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "foundation/Clock.h"
#include "foundation/Sandbox.h"
#include "testing/ConsoleCapture.h"
#include "testing/FileContents.h"
#include "testing/SandboxTest.h"
#include "testing/VirtualClock.h"

using bdx::Console;
using bdx::Date;
using bdx::UserDefaults;
using bdx::Value;

namespace {

// Stops the time at `now`; the test main puts the real clock back after each test.
void stopClockAt(double now) {
    bdx::Clock::install(std::make_shared<bdx::testing::VirtualClock>(now));
}

class UserDefaultsTest : public bdx::testing::SandboxTest {
  protected:
    std::filesystem::path preferencesFile() const {
        return sandboxRoot() / "Library" / "Preferences" / "BrindlexCore.json";
    }
};

}  // namespace

TEST_F(UserDefaultsTest, WhatIsSetAndSynchronisedIsReadBackAfterARelaunch) {
    {
        auto defaults = UserDefaults::standardUserDefaults();
        defaults->setString("0123456789abcdef", "BDXAppToken");
        defaults->setBool(true, "BDXFeatures/sessionProfiler");
        defaults->setInteger(-1, "BDXUnreadMessageCount");
        defaults->setInteger(9007199254740993, "BDXSessionNumber");
        defaults->setDouble(0.25, "BDXRatio");
        defaults->setDate(Date(1719835530.123), "BDXFeaturesLastCheck");
        defaults->setData(bdx::Data{0, 1, 2, 255}, "BDXBlob");
        defaults->setObject(Value::array({"bug", "ui"}), "BDXIssueTags");
        defaults->setObject(Value{{"features", {{"sessionProfiler", true}}}},
                            "BDXFeaturesLatestFeaturesResponse");
        EXPECT_TRUE(defaults->synchronize());
    }
    // The file is where the platform keeps an app's preferences, and it is JSON.
    ASSERT_TRUE(std::filesystem::exists(preferencesFile()));
    const Value onDisk = Value::parse(bdx::testing::readFile(preferencesFile()));
    EXPECT_EQ(onDisk["BDXAppToken"], "0123456789abcdef");

    relaunch();
    auto defaults = UserDefaults::standardUserDefaults();
    EXPECT_EQ(defaults->stringForKey("BDXAppToken"), "0123456789abcdef");
    EXPECT_TRUE(defaults->boolForKey("BDXFeatures/sessionProfiler"));
    EXPECT_EQ(defaults->integerForKey("BDXUnreadMessageCount"), -1);
    EXPECT_EQ(defaults->integerForKey("BDXSessionNumber"), 9007199254740993);
    EXPECT_EQ(defaults->doubleForKey("BDXRatio"), 0.25);
    ASSERT_TRUE(defaults->dateForKey("BDXFeaturesLastCheck").has_value());
    EXPECT_EQ(defaults->dateForKey("BDXFeaturesLastCheck")->timeIntervalSince1970(), 1719835530.123);
    EXPECT_EQ(defaults->dataForKey("BDXBlob"), (bdx::Data{0, 1, 2, 255}));
    EXPECT_EQ(defaults->objectForKey("BDXIssueTags"), Value::array({"bug", "ui"}));
    EXPECT_EQ(defaults->objectForKey("BDXFeaturesLatestFeaturesResponse")["features"]["sessionProfiler"],
              true);

    const Value all = defaults->dictionaryRepresentation();
    EXPECT_EQ(all.size(), 9u);
    EXPECT_TRUE(all.contains("BDXIssueTags"));
}

TEST_F(UserDefaultsTest, ChangesReachTheDiskWithoutAnExplicitSynchronize) {
    UserDefaults::standardUserDefaults()->setString("kept", "BDXEmail");
    // Dropping the store (what a relaunch does) writes what is pending.
    relaunch();
    EXPECT_EQ(UserDefaults::standardUserDefaults()->stringForKey("BDXEmail"), "kept");
}

TEST_F(UserDefaultsTest, SettingNothingRemovesTheKey) {
    auto defaults = UserDefaults::standardUserDefaults();
    defaults->setString("someone@example.com", "BDXEmail");
    defaults->setString("Someone", "BDXName");
    defaults->setString("2.0", "BDXUserDefaultKeyBrindlexSDKVersion");
    defaults->setObject(Value(), "BDXEmail");
    defaults->removeObjectForKey("BDXName");
    defaults->removeObjectForKey("NeverThere");
    EXPECT_TRUE(defaults->objectForKey("BDXEmail").is_null());
    EXPECT_FALSE(defaults->stringForKey("BDXName"));
    ASSERT_TRUE(defaults->synchronize());

    relaunch();
    const Value all = UserDefaults::standardUserDefaults()->dictionaryRepresentation();
    EXPECT_EQ(all, (Value{{"BDXUserDefaultKeyBrindlexSDKVersion", "2.0"}}));
}

TEST_F(UserDefaultsTest, ConcurrentWritersLoseNoKey) {
    constexpr int kThreads = 8;
    constexpr int kKeys = 200;
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([t] {
            auto defaults = UserDefaults::standardUserDefaults();
            for (int i = 0; i < kKeys; ++i) {
                defaults->setInteger(t * 1000 + i, "BDXKey-" + std::to_string(t) + "-" + std::to_string(i));
                if (i % 50 == 0) {
                    defaults->synchronize();
                }
            }
        });
    }
    for (auto& writer : writers) {
        writer.join();
    }
    ASSERT_TRUE(UserDefaults::standardUserDefaults()->synchronize());

    relaunch();
    auto defaults = UserDefaults::standardUserDefaults();
    EXPECT_EQ(defaults->dictionaryRepresentation().size(), static_cast<size_t>(kThreads * kKeys));
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kKeys; ++i) {
            ASSERT_EQ(defaults->integerForKey("BDXKey-" + std::to_string(t) + "-" + std::to_string(i)),
                      t * 1000 + i);
        }
    }
}

TEST_F(UserDefaultsTest, ADamagedFileIsLoggedSetAsideAndReplacedByAnEmptyStore) {
    stopClockAt(1719835530.0);
    std::filesystem::create_directories(preferencesFile().parent_path());
    const std::string damaged = "{\"BDXAppToken\": \"abc\", ";  // cut short, as a bad copy would leave it
    bdx::testing::writeFile(preferencesFile(), damaged);

    bdx::testing::ConsoleCapture capture;
    auto defaults = UserDefaults::standardUserDefaults();
    EXPECT_TRUE(defaults->dictionaryRepresentation().empty());
    EXPECT_TRUE(capture.contains(Console::Channel::Fault, "damaged"));
    const auto aside = std::filesystem::path(preferencesFile().string() + ".corrupt-1719835530");
    ASSERT_TRUE(std::filesystem::exists(aside));
    EXPECT_EQ(bdx::testing::readFile(aside), damaged);

    // The store works as a new one and its file is whole again.
    defaults->setString("fresh", "BDXAppToken");
    ASSERT_TRUE(defaults->synchronize());
    relaunch();
    EXPECT_EQ(UserDefaults::standardUserDefaults()->stringForKey("BDXAppToken"), "fresh");

    // A second damaged file on the same second gets a name of its own.
    relaunch();
    bdx::testing::writeFile(preferencesFile(), "[1, 2, 3]");  // valid JSON, but not a dictionary
    EXPECT_TRUE(UserDefaults::standardUserDefaults()->dictionaryRepresentation().empty());
    EXPECT_TRUE(std::filesystem::exists(preferencesFile().string() + ".corrupt-1719835530-1"));
    EXPECT_EQ(bdx::testing::readFile(aside), damaged);
}

TEST_F(UserDefaultsTest, AFailedWriteIsReportedAndRetriedBySynchronize) {
    bdx::testing::ConsoleCapture capture;
    auto defaults = UserDefaults::standardUserDefaults();
    // A directory where the file should be makes every write fail.
    std::filesystem::create_directories(preferencesFile() / "blocker");
    defaults->setString("pending", "BDXName");
    EXPECT_FALSE(defaults->synchronize());
    EXPECT_TRUE(capture.contains(Console::Channel::Fault, "cannot write the preferences"));
    EXPECT_EQ(defaults->stringForKey("BDXName"), "pending");

    std::filesystem::remove_all(preferencesFile());
    EXPECT_TRUE(defaults->synchronize());
    relaunch();
    EXPECT_EQ(UserDefaults::standardUserDefaults()->stringForKey("BDXName"), "pending");
}
