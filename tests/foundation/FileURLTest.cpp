#include "foundation/FileURL.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "testing/ConsoleCapture.h"

namespace {

using bdx::fileURLWithPath;
using bdx::pathOfFileURL;

struct Pair {
    const char* path;
    const char* url;
};

// Paths and the file URLs that name them, both ways.
constexpr Pair kPairs[] = {
    {"/tmp/clip one.mp4", "file:///tmp/clip%20one.mp4"},
    {"/tmp/100%/a?b#c", "file:///tmp/100%25/a%3Fb%23c"},
    {"/tmp/[x]{y}<z>|\\^`\"", "file:///tmp/%5Bx%5D%7By%7D%3Cz%3E%7C%5C%5E%60%22"},
    {"/tmp/a+b,c;d=e&f$g!h'i(j)k*l:m@n~o_p-q.r", "file:///tmp/a+b,c;d=e&f$g!h'i(j)k*l:m@n~o_p-q.r"},
    {"/tmp/caf\xC3\xA9/\xE6\x97\xA5\xE6\x9C\xAC.txt", "file:///tmp/caf%C3%A9/%E6%97%A5%E6%9C%AC.txt"},
    {"/tmp/tab\there", "file:///tmp/tab%09here"},
    {"/", "file:///"},
};

TEST(FileURL, PathsAndTheirURLsConvertBothWays) {
    for (const auto& [path, url] : kPairs) {
        EXPECT_EQ(fileURLWithPath(path), url) << path;
        EXPECT_EQ(pathOfFileURL(url), path) << url;
    }
}

TEST(FileURL, TheSpellingsOfALocalFileURLNameTheSamePath) {
    struct Case {
        const char* url;
        const char* path;
    };
    constexpr Case kCases[] = {
        {"file://localhost/tmp/clip%20one.mp4", "/tmp/clip one.mp4"},
        {"FILE://LocalHost/tmp/clip%20one.mp4", "/tmp/clip one.mp4"},
        {"file:/tmp/clip%20one.mp4", "/tmp/clip one.mp4"},
        {"file:///tmp/clip%2fone", "/tmp/clip/one"},
        {"file:///tmp/caf%c3%a9", "/tmp/caf\xC3\xA9"},
        {"file:///tmp/clip.mp4?version=2#t=10", "/tmp/clip.mp4"},
        {"file:///tmp/folder/", "/tmp/folder"},
        {"/tmp/clip%20one.mp4", "/tmp/clip%20one.mp4"},  // a plain path is not decoded
        {"relative/name", "relative/name"},
    };
    for (const auto& [url, path] : kCases) {
        EXPECT_EQ(pathOfFileURL(url), path) << url;
    }
}

TEST(FileURL, WhatNamesNoLocalFileIsRefusedAndLogged) {
    constexpr const char* kRefused[] = {
        "https://example.com/clip.mp4",
        "file://server/share/clip.mp4",
        "file:///tmp/clip%2",
        "file:///tmp/clip%zz.mp4",
        "file:///tmp/a%00b",
        "file:relative/clip.mp4",
    };
    for (const char* url : kRefused) {
        bdx::testing::ConsoleCapture capture;
        EXPECT_EQ(pathOfFileURL(url), std::nullopt) << url;
        EXPECT_TRUE(capture.contains(bdx::Console::Channel::SystemLog, url)) << url;
    }
}

TEST(FileURL, ARelativePathBecomesTheURLOfItsAbsolutePath) {
    const std::string cwd = std::filesystem::current_path().string();
    EXPECT_EQ(pathOfFileURL(fileURLWithPath("a b.txt")), cwd + "/a b.txt");
}

TEST(FileURL, TheURLPathOfAnyScheme) {
    EXPECT_EQ(bdx::pathOfURL("https://api.example.com/a%20b/c?x=%20#y"), "/a b/c");
    EXPECT_EQ(bdx::pathOfURL("https://example.com"), "");
    EXPECT_EQ(bdx::pathOfURL("/100%/a%2"), "/100%/a%2");  // not escapes: kept
}

}  // namespace
