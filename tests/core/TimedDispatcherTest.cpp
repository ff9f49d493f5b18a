#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/BDXTimedDispatcher.h"
#include "foundation/Date.h"
#include "tests/core/CoreTestSupport.h"

namespace {

class BDXTimedDispatcherTest : public bdx::testing::CoreTest {
  protected:
    void SetUp() override {
        CoreTest::SetUp();
        dispatcher = BDXTimedDispatcher::sharedDispatcher();
    }
    // Notes what ran and when, in milliseconds after the start of the test.
    void record(const std::string& what) {
        ran.push_back(
            what + "@" +
            std::to_string(std::lround(
                (bdx::Date::now().timeIntervalSince1970() - bdx::testing::VirtualClock::kStartDate) * 1000)));
    }
    static bdx::DispatchTime in(double seconds) {
        return bdx::dispatchTime(bdx::kDispatchTimeNow, static_cast<std::int64_t>(seconds * 1e9));
    }

    std::vector<std::string> ran;
    std::shared_ptr<BDXTimedDispatcher> dispatcher;
};

}  // namespace

TEST_F(BDXTimedDispatcherTest, SecondBlockWithThePendingIdentifierIsDropped) {
    const std::string kCarousel = "com.Brindlex.bugVC.attachmentsView.stopCarousel";
    const auto main = bdx::DispatchQueue::main();
    dispatcher->dispatchAfter(in(0.3), main, kCarousel, [&] { record("first"); });
    clock->advance(0.1);
    dispatcher->dispatchAfter(in(0.05), main, kCarousel, [&] { record("second"); });
    dispatcher->dispatchAfter(in(0.05), main, "toastViewDismiss 1", [&] { record("other"); });
    clock->advance(1);
    EXPECT_EQ(ran, (std::vector<std::string>{"other@150", "first@300"}));

    // Once the first ran, the identifier is free again.
    dispatcher->dispatchAfter(in(0.3), main, kCarousel, [&] { record("third"); });
    clock->advance(1);
    EXPECT_EQ(ran.back(), "third@1400");
}

TEST_F(BDXTimedDispatcherTest, SameIdentifierFromInsideTheBlockIsDroppedToo) {
    const auto queue = bdx::DispatchQueue::create("timed dispatch test");
    dispatcher->dispatchAfter(in(1), queue, "toastViewDismiss 7", [&] {
        record("outer");
        dispatcher->dispatchAfter(in(1), queue, "toastViewDismiss 7", [&] { record("inner"); });
        dispatcher->dispatchAfter(in(1), queue, "toastViewDismiss 8", [&] { record("neighbour"); });
    });
    clock->advance(5);
    EXPECT_EQ(ran, (std::vector<std::string>{"outer@1000", "neighbour@2000"}));
}

TEST_F(BDXTimedDispatcherTest, AbsentQueueOrBlockChangesNothing) {
    dispatcher->dispatchAfter(in(1), nullptr, "toastViewDismiss 3", [&] { record("lost"); });
    dispatcher->dispatchAfter(in(1), bdx::DispatchQueue::main(), "toastViewDismiss 3", nullptr);
    dispatcher->dispatchAfter(in(1), bdx::DispatchQueue::main(), "toastViewDismiss 3",
                              [&] { record("kept"); });
    clock->advance(2);
    EXPECT_EQ(ran, std::vector<std::string>{"kept@1000"});
}
