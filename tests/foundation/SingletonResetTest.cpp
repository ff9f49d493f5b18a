#include "foundation/SingletonReset.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "testing/ConsoleCapture.h"

TEST(SingletonReset, RunsTheMostRecentFirstAndEachRegistrationOnce) {
    std::vector<std::string> order;
    bdx::registerSingletonReset([&] { order.push_back("made first"); });
    bdx::registerSingletonReset([&] { order.push_back("made second"); });
    bdx::resetAllSingletons();
    EXPECT_EQ(order, (std::vector<std::string>{"made second", "made first"}));
    bdx::resetAllSingletons();
    EXPECT_EQ(order.size(), 2u);
}

TEST(SingletonReset, ARegistrationMadeDuringAResetWaitsForTheNextOne) {
    int later = 0;
    bdx::registerSingletonReset([&] { bdx::registerSingletonReset([&] { ++later; }); });
    bdx::resetAllSingletons();
    EXPECT_EQ(later, 0);
    bdx::resetAllSingletons();
    EXPECT_EQ(later, 1);
}

TEST(SingletonReset, AFailingResetIsLoggedAndTheOthersStillRun) {
    bdx::testing::ConsoleCapture capture;
    bool ran = false;
    bdx::registerSingletonReset([&] { ran = true; });
    bdx::registerSingletonReset([] { throw std::runtime_error("cannot drop"); });
    bdx::resetAllSingletons();
    EXPECT_TRUE(ran);
    EXPECT_TRUE(capture.contains(bdx::Console::Channel::Fault, "cannot drop"));
}
