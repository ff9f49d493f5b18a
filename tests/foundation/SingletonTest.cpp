#include "foundation/Singleton.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "foundation/SingletonReset.h"

namespace {

using bdx::Singleton;

struct Made {
    static inline std::atomic<int> count{0};
    Made() { ++count; }
};

struct Concurrent;
struct Reset;
struct Empty;
struct Installed;

TEST(Singleton, ConcurrentFirstUsesMakeOneInstanceThatEveryoneSees) {
    auto& holder = Singleton<Made, Concurrent>::holder();
    Made::count = 0;
    std::vector<std::shared_ptr<Made>> seen(8);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] { seen[i] = holder.get(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Made::count.load(), 1);
    for (const auto& instance : seen) {
        EXPECT_EQ(instance, seen.front());
    }
    EXPECT_EQ(&holder, &(Singleton<Made, Concurrent>::holder()));
}

TEST(Singleton, DestroyAndTheTestResetMakeTheNextUseFreshWhileHoldersKeepTheOld) {
    auto& holder = Singleton<Made, Reset>::holder();
    auto first = holder.get();
    holder.destroy();
    EXPECT_EQ(holder.existing(), nullptr);
    auto second = holder.get();
    EXPECT_NE(second, first);
    EXPECT_EQ(first.use_count(), 1);  // the old one is still the test's to use

    bdx::resetAllSingletons();
    EXPECT_EQ(holder.existing(), nullptr);
    auto third = holder.get();
    EXPECT_NE(third, second);
    bdx::resetAllSingletons();
    EXPECT_EQ(holder.existing(), nullptr);  // a fresh instance registers its own reset
}

TEST(Singleton, AMakeThatGivesNothingIsTriedAgainOnTheNextUse) {
    auto& holder = Singleton<Made, Empty>::holder();
    int attempts = 0;
    auto nothing = [&] {
        ++attempts;
        return std::shared_ptr<Made>();
    };
    EXPECT_EQ(holder.get(nothing), nullptr);
    EXPECT_EQ(holder.get(nothing), nullptr);
    EXPECT_EQ(attempts, 2);
    EXPECT_NE(holder.get(), nullptr);
}

TEST(Singleton, AnInstalledInstanceIsUsedUntilItIsTakenAway) {
    auto& holder = Singleton<Made, Installed>::holder();
    auto installed = std::make_shared<Made>();
    holder.replace(installed);
    EXPECT_EQ(holder.get(), installed);
    holder.replace(nullptr);
    auto made = holder.get();
    EXPECT_NE(made, nullptr);
    EXPECT_NE(made, installed);
    holder.replace(installed);
    bdx::resetAllSingletons();
    EXPECT_EQ(holder.existing(), nullptr);
}

}  // namespace
