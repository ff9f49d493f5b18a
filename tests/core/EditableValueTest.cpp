#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <thread>

#include "core/BDXEditableValue.h"

TEST(BDXEditableValue, DefaultIsComputedAtEachReadUntilSet) {
    std::string language = "en";
    int calls = 0;
    BDXEditableValue text([&] {
        ++calls;
        return bdx::Value("hello-" + language);
    });
    EXPECT_FALSE(text.isSet());
    EXPECT_EQ(text.value(), "hello-en");
    language = "fr";
    EXPECT_EQ(text.value(), "hello-fr");
    EXPECT_EQ(calls, 2);

    text.setValue("custom");
    language = "de";
    EXPECT_TRUE(text.isSet());
    EXPECT_EQ(text.value(), "custom");
    EXPECT_EQ(calls, 2) << "a set value never asks the default";
}

TEST(BDXEditableValue, ValueSetToNothingHidesTheDefault) {
    BDXEditableValue flag([] { return bdx::Value(false); });
    flag.setValue(bdx::Value());
    EXPECT_TRUE(flag.isSet());
    EXPECT_TRUE(flag.value().is_null());

    flag.setValue(true);
    EXPECT_EQ(flag.value(), true);
    EXPECT_TRUE(BDXEditableValue(nullptr).value().is_null());
}

TEST(BDXEditableValue, DescriptionShowsValueAndFlag) {
    BDXEditableValue text([] { return bdx::Value("Report a bug"); });
    EXPECT_EQ(text.description(), "Current value: Report a bug - is set: NO");
    text.setValue(bdx::Value());
    EXPECT_EQ(text.description(), "Current value: (null) - is set: YES");
    text.setValue(false);
    EXPECT_EQ(text.description(), "Current value: false - is set: YES");
}

TEST(BDXEditableValue, ReadersOnOtherThreadsSeeTheDefaultOrTheWholeSetValue) {
    BDXEditableValue flag([] { return bdx::Value("default"); });
    const bdx::Value chosen = bdx::Value{{"chosen", std::string(64, 'x')}};
    std::atomic<bool> sawOther{false};
    std::thread reader([&] {
        for (int i = 0; i < 2000; ++i) {
            const bdx::Value seen = flag.value();
            if (seen != "default" && seen != chosen) {
                sawOther = true;
            }
        }
    });
    for (int i = 0; i < 2000; ++i) {
        flag.setValue(chosen);
    }
    reader.join();
    EXPECT_FALSE(sawOther);
    EXPECT_EQ(flag.value(), chosen);
}
