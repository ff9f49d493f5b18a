#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "foundation/Sandbox.h"
#include "testing/SandboxTest.h"

using bdx::Sandbox;

using SandboxDirectories = bdx::testing::SandboxTest;

TEST_F(SandboxDirectories, TheAppsFoldersAreMadeUnderTheRootOnDemand) {
    const Sandbox sandbox = Sandbox::current();
    EXPECT_EQ(sandbox.root(), sandboxRoot());
    EXPECT_FALSE(std::filesystem::exists(sandboxRoot() / "Library"));

    EXPECT_EQ(sandbox.library(), sandboxRoot() / "Library");
    EXPECT_EQ(sandbox.caches(), sandboxRoot() / "Library" / "Caches");
    EXPECT_EQ(sandbox.preferences(), sandboxRoot() / "Library" / "Preferences");
    EXPECT_EQ(sandbox.documents(), sandboxRoot() / "Documents");
    EXPECT_EQ(sandbox.temporary(), sandboxRoot() / "tmp");
    for (const char* folder : {"Library/Caches", "Library/Preferences", "Documents", "tmp"}) {
        EXPECT_TRUE(std::filesystem::is_directory(sandboxRoot() / folder)) << folder;
    }
}

TEST_F(SandboxDirectories, ACopyKeepsItsRootWhenTheHostMovesIt) {
    const Sandbox before = Sandbox::current();
    const auto elsewhere = sandboxRoot() / "elsewhere";
    Sandbox::setRoot(elsewhere);
    EXPECT_EQ(Sandbox::current().library(), elsewhere / "Library");
    EXPECT_EQ(before.root(), sandboxRoot());
}

TEST(SandboxDefaults, TheDefaultRootIsAFolderPerProgramInTheUsersDataHome) {
    const char* saved = std::getenv("XDG_DATA_HOME");
    const std::string previous = saved ? saved : "";
    setenv("XDG_DATA_HOME", "/srv/data", 1);
    EXPECT_EQ(Sandbox::defaultRoot(), std::filesystem::path("/srv/data/BrindlexCore/tests_foundation"));
    setenv("XDG_DATA_HOME", "relative/not/allowed", 1);
    const auto fallback = Sandbox::defaultRoot();
    EXPECT_TRUE(fallback.is_absolute());
    EXPECT_EQ(fallback.filename(), "tests_foundation");
    if (saved) {
        setenv("XDG_DATA_HOME", previous.c_str(), 1);
    } else {
        unsetenv("XDG_DATA_HOME");
    }
}
