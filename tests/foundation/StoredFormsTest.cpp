#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "foundation/AtomicFile.h"
#include "foundation/Base64.h"
#include "foundation/TaggedValue.h"
#include "testing/SandboxTest.h"

using bdx::AtomicFile;
using bdx::Base64;
using bdx::Data;
using bdx::TaggedValue;
using bdx::Value;

TEST(Base64Text, KnownVectorsAndRejectedInput) {
    EXPECT_EQ(Base64::encode(std::string_view("")), "");
    EXPECT_EQ(Base64::encode(std::string_view("M")), "TQ==");
    EXPECT_EQ(Base64::encode(std::string_view("Ma")), "TWE=");
    EXPECT_EQ(Base64::encode(std::string_view("Man")), "TWFu");
    EXPECT_EQ(Base64::encode(Data{0xfb, 0xff}), "+/8=");
    EXPECT_EQ(Base64::decode("TWE="), (Data{'M', 'a'}));
    EXPECT_EQ(Base64::decode(""), Data{});
    EXPECT_FALSE(Base64::decode("TWE"));
    EXPECT_FALSE(Base64::decode("TW=u"));
    EXPECT_FALSE(Base64::decode("TW u"));

    Data every(300);
    for (size_t i = 0; i < every.size(); ++i) {
        every[i] = static_cast<std::uint8_t>(i * 7);
    }
    for (size_t length : {0u, 1u, 2u, 3u, 4u, 299u, 300u}) {
        const Data part(every.begin(), every.begin() + static_cast<long>(length));
        EXPECT_EQ(Base64::decode(Base64::encode(part)), part) << length;
    }
}

TEST(TaggedValues, DatesAndBytesSurviveTheJsonText) {
    const Value record = {{"date", TaggedValue::fromDate(bdx::Date(1719835530.123))},
                          {"bytes", TaggedValue::fromData(Data{0, 1, 254, 255})},
                          {"plain", {{"$date", "not a number"}}},
                          {"crowded", {{"$date", 5}, {"other", 1}}}};
    const Value back = Value::parse(record.dump());
    EXPECT_EQ(TaggedValue::toDate(back["date"])->timeIntervalSince1970(), 1719835530.123);
    EXPECT_EQ(TaggedValue::toData(back["bytes"]), (Data{0, 1, 254, 255}));
    EXPECT_TRUE(TaggedValue::isDate(back["date"]));
    EXPECT_FALSE(TaggedValue::isDate(back["bytes"]));
    EXPECT_FALSE(TaggedValue::toDate(back["plain"]));
    EXPECT_FALSE(TaggedValue::toDate(back["crowded"]));
    EXPECT_FALSE(TaggedValue::toData(back["date"]));
}

using AtomicFiles = bdx::testing::SandboxTest;

TEST_F(AtomicFiles, WritesReplaceWholeFilesAndLeaveNothingBehind) {
    const auto path = sandboxRoot() / "new" / "folder" / "record.json";
    ASSERT_TRUE(AtomicFile::write(path, std::string_view("first")));
    ASSERT_TRUE(AtomicFile::write(path, Data{'s', 'e', 'c', 'o', 'n', 'd'}));
    EXPECT_EQ(AtomicFile::read(path), (Data{'s', 'e', 'c', 'o', 'n', 'd'}));
    int entries = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path.parent_path())) {
        EXPECT_EQ(entry.path().filename(), "record.json");
        ++entries;
    }
    EXPECT_EQ(entries, 1);
}

TEST_F(AtomicFiles, AFailedWriteKeepsTheTargetAndSaysWhy) {
    const auto folder = sandboxRoot() / "occupied";
    std::filesystem::create_directories(folder / "inside");
    bdx::Error error;
    EXPECT_FALSE(AtomicFile::write(folder, std::string_view("bytes"), &error));
    EXPECT_EQ(error.domain(), "NSPOSIXErrorDomain");
    EXPECT_NE(error.code(), 0);
    EXPECT_TRUE(std::filesystem::is_directory(folder / "inside"));

    EXPECT_FALSE(AtomicFile::read(sandboxRoot() / "missing", &error));
    EXPECT_EQ(error.code(), ENOENT);
}
