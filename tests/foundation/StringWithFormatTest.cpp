#include "foundation/StringWithFormat.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Date.h"
#include "foundation/Error.h"
#include "foundation/Object.h"
#include "testing/ConsoleCapture.h"

using bdx::Console;
using bdx::stringWithFormat;
using bdx::testing::ConsoleCapture;

namespace {

class Described : public bdx::Object {
  public:
    std::string description() const override { return "<Described 7>"; }
};

}  // namespace

TEST(StringWithFormatIntegers, SignedUnsignedAndLengthModifiersKeepCsMeaning) {
    EXPECT_EQ(stringWithFormat("BDX-%d", 42), "BDX-42");
    EXPECT_EQ(stringWithFormat("%i", -7), "-7");
    EXPECT_EQ(stringWithFormat("%ld", 4294967297LL), "4294967297");
    // Without a length modifier a conversion reads 32 bits, as in C.
    EXPECT_EQ(stringWithFormat("%d", 4294967297LL), "1");
    EXPECT_EQ(stringWithFormat("%lu", static_cast<std::size_t>(18446744073709551615ULL)),
              "18446744073709551615");
    EXPECT_EQ(stringWithFormat("%lld", -9000000000LL), "-9000000000");
    EXPECT_EQ(stringWithFormat("%td %@", static_cast<std::ptrdiff_t>(404), "https://x.test/a"),
              "404 https://x.test/a");
    EXPECT_EQ(stringWithFormat("%x|%lx|%hhx", -1, -1L, 0x1ff), "ffffffff|ffffffffffffffff|ff");
    // Two hex digits a byte, the way digests are spelt.
    EXPECT_EQ(stringWithFormat("%02x%02x%02x", std::uint8_t{0x00}, std::uint8_t{0x0a}, std::uint8_t{0xff}),
              "000aff");
    EXPECT_EQ(stringWithFormat("%5d|%-5d|%05d|%+d", 42, 42, 42, 42), "   42|42   |00042|+42");
    EXPECT_EQ(stringWithFormat("%*d", 4, 7), "   7");
    EXPECT_EQ(stringWithFormat("%c%c", 'O', 'K'), "OK");
    EXPECT_EQ(stringWithFormat("%d", true), "1");
    const int local = 0;
    EXPECT_EQ(stringWithFormat("%p", &local), stringWithFormat("%@", static_cast<const void*>(&local)));
    EXPECT_EQ(stringWithFormat("%p", nullptr), "0x0");
}

TEST(StringWithFormatFloating, PrecisionWidthAndRounding) {
    EXPECT_EQ(stringWithFormat("%f", 1.5), "1.500000");
    EXPECT_EQ(stringWithFormat("multiplier(%.02f) constant(%.02f)", 1.0, 3.14159),
              "multiplier(1.00) constant(3.14)");
    EXPECT_EQ(stringWithFormat("%0.0f", 1719835530123.0), "1719835530123");
    EXPECT_EQ(stringWithFormat("%0.0f", 2.7), "3");
    EXPECT_EQ(stringWithFormat("%.03f", 1536.0 * 0.0009765625), "1.500");
    EXPECT_EQ(stringWithFormat("%.1f", 0.25), "0.2");  // halfway cases go to even, as in C
    EXPECT_EQ(stringWithFormat("%.0fx%.0f", 375.0, 812.0), "375x812");
    EXPECT_EQ(stringWithFormat("R:%f G:%f B:%f A:%f", 1.0, 0.5, 0.0, 1.0),
              "R:1.000000 G:0.500000 B:0.000000 A:1.000000");
    // A number is a number: an integer given to a floating conversion prints as that value.
    EXPECT_EQ(stringWithFormat("%.2f", 3), "3.00");
    EXPECT_EQ(stringWithFormat("%d", 2.9), "2");
}

TEST(StringWithFormatText, PercentAndStrings) {
    EXPECT_EQ(stringWithFormat("%ld%%, %@", 87L, "Charging"), "87%, Charging");
    EXPECT_EQ(stringWithFormat("100%%"), "100%");
    const char* none = nullptr;
    std::string owned = "owned";
    EXPECT_EQ(stringWithFormat("%s|%s|%s", "plain", owned, none), "plain|owned|(null)");
    EXPECT_EQ(stringWithFormat("[%-6s][%6s][%.3s]", "ab", "ab", "abcdef"), "[ab    ][    ab][abc]");
    EXPECT_EQ(
        stringWithFormat(
            "Version %@ of Brindlex is available! Please update to the latest version of the SDK "
            "to get all the features.",
            std::string("3.2.1")),
        "Version 3.2.1 of Brindlex is available! Please update to the latest version of the SDK to get all "
        "the features.");
    EXPECT_EQ(stringWithFormat("%2$@ %1$@", "world", "hello"), "hello world");
}

TEST(StringWithFormatObjects, DescriptionsOfEveryKindOfArgument) {
    EXPECT_EQ(stringWithFormat("%@", 42), "42");
    EXPECT_EQ(stringWithFormat("%@", 0.1), "0.1");
    EXPECT_EQ(stringWithFormat("%@", 3.0), "3");
    EXPECT_EQ(stringWithFormat("%@", false), "0");
    EXPECT_EQ(stringWithFormat("%@", bdx::Value("text")), "text");
    EXPECT_EQ(stringWithFormat("%@", bdx::Value{{"a", 1}, {"b", {true, nullptr}}}),
              R"({"a":1,"b":[true,null]})");
    EXPECT_EQ(stringWithFormat("%@", bdx::Data{0x01, 0x02, 0xfe}), "{length = 3, bytes = 0x0102fe}");
    EXPECT_EQ(stringWithFormat("%@", std::vector<std::string>{"a", "b"}), "(\n    a,\n    b\n)");
    EXPECT_EQ(stringWithFormat("%@", bdx::Date(0)), "1970-01-01 00:00:00 +0000");
    EXPECT_EQ(stringWithFormat("%@", bdx::Error("attachment", 203)),
              "Error Domain=attachment Code=203 \"(null)\"");

    auto object = std::make_shared<Described>();
    const bdx::Object* raw = object.get();
    std::weak_ptr<Described> weak = object;
    EXPECT_EQ(stringWithFormat("%@ %@ %@ %@", object, *object, raw, weak),
              "<Described 7> <Described 7> <Described 7> <Described 7>");
}

TEST(StringWithFormatObjects, NothingPrintsNull) {
    std::shared_ptr<Described> none;
    std::weak_ptr<Described> gone;
    const bdx::Object* nowhere = nullptr;
    std::optional<std::string> absent;
    EXPECT_EQ(stringWithFormat("%@|%@|%@|%@|%@|%@", nullptr, none, gone, nowhere, absent, bdx::Value()),
              "(null)|(null)|(null)|(null)|(null)|(null)");
    EXPECT_EQ(stringWithFormat("%@", std::optional<int>(5)), "5");
}

TEST(StringWithFormatMistakes, AreLoggedAndRenderedWithoutCrashing) {
    ConsoleCapture capture;
    EXPECT_EQ(stringWithFormat("%@ and %@", "one"), "one and (null)");
    EXPECT_TRUE(capture.contains(Console::Channel::Fault, "missing argument"));

    EXPECT_EQ(stringWithFormat("code %d", "abc"), "code abc");
    EXPECT_TRUE(capture.contains(Console::Channel::Fault, "non-number argument"));

    EXPECT_EQ(stringWithFormat("only %@", "a", "b"), "only a");
    EXPECT_TRUE(capture.contains(Console::Channel::Fault, "more arguments"));

    EXPECT_EQ(stringWithFormat("odd %k end", 1), "odd %k end");
    EXPECT_TRUE(capture.contains(Console::Channel::Fault, "unknown conversion"));

    EXPECT_EQ(stringWithFormat("trailing %"), "trailing %");
    EXPECT_EQ(stringWithFormat("%5.2", 1.0), "%5.2");
    EXPECT_EQ(stringWithFormat("%3$@", "x"), "(null)");
}
