#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <thread>
#include <vector>

#include "core/BDXArrayMap.h"
#include "core/BDXLineLimitedString.h"
#include "core/BDXNullableMutableDictionary.h"
#include "core/BDXSafeMutableDictionary.h"

TEST(BDXLineLimitedString, KeepsTheNewestLinesJoinedByNewlines) {
    BDXLineLimitedString empty;
    EXPECT_EQ(empty.getString(), "");

    BDXLineLimitedString text;
    for (int i = 1; i <= 101; ++i) {
        text.addLine("line " + std::to_string(i));
    }
    const std::string joined = text.getString();
    EXPECT_EQ(joined.substr(0, 7), "line 2\n");
    EXPECT_EQ(joined.substr(joined.size() - 9), "\nline 101");
    EXPECT_EQ(std::count(joined.begin(), joined.end(), '\n'), 99);

    BDXLineLimitedString two(2);
    two.addLine("a");
    two.addLine("b");
    two.addLine("c");
    EXPECT_EQ(two.getString(), "b\nc");
}

TEST(BDXNullableMutableDictionary, AbsentValuesNeverBecomeEntries) {
    BDXNullableMutableDictionary builder;
    builder.setObject("file.png", "name");
    builder.setObject(bdx::Value(), "url");
    builder.setObject(3, "size");
    builder.setObject(bdx::Value(), "size");
    const bdx::Value dictionary = builder.getDictionary();
    EXPECT_EQ(dictionary, (bdx::Value{{"name", "file.png"}, {"size", 3}}));

    builder.setObject(true, "sent");
    EXPECT_FALSE(dictionary.contains("sent")) << "the dictionary given out is a copy";

    const BDXNullableMutableDictionary seeded(bdx::Value{{"a", 1}, {"b", nullptr}, {"c", "x"}});
    EXPECT_EQ(seeded.getDictionary(), (bdx::Value{{"a", 1}, {"c", "x"}}));
    EXPECT_EQ(BDXNullableMutableDictionary(bdx::Value::array({1, 2})).getDictionary(), bdx::Value::object());
}

TEST(BDXSafeMutableDictionary, ReadsWritesAndRemoves) {
    BDXSafeMutableDictionary<std::string, int> map;
    EXPECT_FALSE(map.objectForKey("a"));
    map.setObject(1, "a");
    map.setObject(2, "a");
    EXPECT_EQ(map.objectForKey("a"), 2);
    map.removeObjectForKey("a");
    map.removeObjectForKey("never there");
    EXPECT_FALSE(map.objectForKey("a"));
}

TEST(BDXSafeMutableDictionary, LosesNoKeyUnderConcurrentWriters) {
    BDXSafeMutableDictionary<int, int> map;
    std::vector<std::thread> writers;
    for (int w = 0; w < 4; ++w) {
        writers.emplace_back([&map, w] {
            for (int i = 0; i < 500; ++i) {
                map.setObject(i, w * 1000 + i);
                map.objectForKey(w * 1000 + i / 2);
            }
        });
    }
    for (auto& writer : writers) {
        writer.join();
    }
    for (int w = 0; w < 4; ++w) {
        for (int i = 0; i < 500; ++i) {
            ASSERT_EQ(map.objectForKey(w * 1000 + i), i);
        }
    }
}

TEST(MapWithBlock, KeepsOrderAndLeavesOutAbsentResults) {
    const std::vector<int> numbers{1, 2, 3, 4, 5};
    const auto evensAsText = mapWithBlock(numbers, [](int n) -> std::optional<std::string> {
        if (n % 2 != 0) {
            return std::nullopt;
        }
        return std::to_string(n * 10);
    });
    EXPECT_EQ(evensAsText, (std::vector<std::string>{"20", "40"}));

    const auto nothing = mapWithBlock(numbers, [](int) -> std::optional<int> { return std::nullopt; });
    EXPECT_TRUE(nothing.empty());
}
