#include "foundation/KeyValueObservable.h"

#include <gtest/gtest.h>

#include <any>
#include <string>
#include <thread>
#include <vector>

namespace {

using bdx::KeyValueChange;
using bdx::KeyValueObservable;

// A settings-like object with two observable keys.
class Theme : public KeyValueObservable {
  public:
    std::any valueForKey(const std::string& key) const override {
        if (key == "primaryColor") {
            return color;
        }
        if (key == "sessionProfiler") {
            return profiler;
        }
        return KeyValueObservable::valueForKey(key);
    }
    void setPrimaryColor(std::string value) {
        willChangeValueForKey("primaryColor");
        color = std::move(value);
        didChangeValueForKey("primaryColor");
    }
    std::string color = "blue";
    bool profiler = false;
};

std::string text(const std::any& value) {
    return value.has_value() ? std::any_cast<std::string>(value) : std::string("<none>");
}

TEST(KeyValueObservableTest, ObserversOfAKeyGetTheOldAndNewValueInRegistrationOrder) {
    Theme theme;
    std::vector<std::string> seen;
    theme.addObserver("primaryColor", [&](const KeyValueChange& change) {
        seen.push_back("first " + change.key + " " + text(change.oldValue) + "->" + text(change.newValue));
    });
    theme.addObserver("primaryColor", [&](const KeyValueChange& change) {
        seen.push_back("second " + text(change.newValue));
    });
    theme.addObserver("sessionProfiler", [&](const KeyValueChange&) { seen.push_back("wrong key"); });
    theme.setPrimaryColor("red");
    EXPECT_EQ(seen, (std::vector<std::string>{"first primaryColor blue->red", "second red"}));
}

TEST(KeyValueObservableTest, NestedChangesOfDifferentKeysKeepTheirOwnOldValues) {
    Theme theme;
    std::vector<std::string> seen;
    theme.addObserver("primaryColor", [&](const KeyValueChange& c) {
        seen.push_back(text(c.oldValue) + "->" + text(c.newValue));
    });
    theme.addObserver("sessionProfiler", [&](const KeyValueChange& c) {
        seen.push_back(std::string(std::any_cast<bool>(c.oldValue) ? "on" : "off") + "->" +
                       (std::any_cast<bool>(c.newValue) ? "on" : "off"));
    });
    theme.willChangeValueForKey("sessionProfiler");
    theme.setPrimaryColor("green");
    theme.profiler = true;
    theme.didChangeValueForKey("sessionProfiler");
    EXPECT_EQ(seen, (std::vector<std::string>{"blue->green", "off->on"}));
}

TEST(KeyValueObservableTest, RemovedObserversAreNotCalledEvenWhenRemovedDuringADelivery) {
    Theme theme;
    std::vector<std::string> seen;
    KeyValueObservable::ObservationToken second = 0;
    KeyValueObservable::ObservationToken first =
        theme.addObserver("primaryColor", [&](const KeyValueChange&) {
            seen.push_back("first");
            theme.removeObserver(second);
        });
    second = theme.addObserver("primaryColor", [&](const KeyValueChange&) { seen.push_back("second"); });
    theme.setPrimaryColor("red");
    EXPECT_EQ(seen, (std::vector<std::string>{"first"}));
    theme.removeObserver(first);
    theme.setPrimaryColor("black");
    EXPECT_EQ(seen.size(), 1u);
    EXPECT_EQ(theme.observerCount("primaryColor"), 0u);
}

TEST(KeyValueObservableTest, DeliveryHappensOnTheThreadThatMakesTheChange) {
    Theme theme;
    std::thread::id deliveredOn;
    theme.addObserver("primaryColor",
                      [&](const KeyValueChange&) { deliveredOn = std::this_thread::get_id(); });
    std::thread::id changer;
    std::thread worker([&] {
        changer = std::this_thread::get_id();
        theme.setPrimaryColor("white");
    });
    worker.join();
    EXPECT_EQ(deliveredOn, changer);
}

TEST(KeyValueObservableTest, AThrowingObserverDoesNotStopTheOthers) {
    Theme theme;
    bool secondCalled = false;
    theme.addObserver("primaryColor",
                      [](const KeyValueChange&) { throw std::runtime_error("observer failed"); });
    theme.addObserver("primaryColor", [&](const KeyValueChange&) { secondCalled = true; });
    ::testing::internal::CaptureStderr();
    theme.setPrimaryColor("grey");
    std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_TRUE(secondCalled);
    EXPECT_NE(log.find("observer failed"), std::string::npos) << log;
}

}  // namespace
