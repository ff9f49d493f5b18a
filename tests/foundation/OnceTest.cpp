#include "foundation/Once.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

// The singleton shape of the library: made once under the guard, dropped by destroy.
struct Store {
    static std::shared_ptr<Store> getInstance() {
        guard().call([] {
            ++made;
            instance() = std::make_shared<Store>();
        });
        return instance();
    }
    static void destroy() {
        instance().reset();
        guard().reset();
    }
    static bdx::Once& guard() {
        static bdx::Once once;
        return once;
    }
    static std::shared_ptr<Store>& instance() {
        static std::shared_ptr<Store> shared;
        return shared;
    }
    static inline std::atomic<int> made{0};
};

TEST(OnceTest, ConcurrentFirstCallsBuildOneObjectThatEveryCallerSees) {
    Store::destroy();
    Store::made = 0;
    std::vector<std::shared_ptr<Store>> seen(8);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&seen, i] { seen[i] = Store::getInstance(); });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(Store::made.load(), 1);
    for (const auto& s : seen) {
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s, seen[0]);
    }
}

TEST(OnceTest, DestroyResetsTheGuardSoTheNextAccessBuildsAFreshObject) {
    Store::destroy();
    Store::made = 0;
    auto first = Store::getInstance();
    EXPECT_EQ(Store::getInstance(), first);
    Store::destroy();
    EXPECT_FALSE(Store::guard().hasRun());
    auto second = Store::getInstance();
    EXPECT_NE(second, first);
    EXPECT_EQ(Store::made.load(), 2);
}

TEST(OnceTest, AFunctionThatThrowsLeavesTheGuardArmed) {
    bdx::Once once;
    EXPECT_THROW(once.call([] { throw std::runtime_error("no store"); }), std::runtime_error);
    EXPECT_FALSE(once.hasRun());
    int runs = 0;
    once.call([&] { ++runs; });
    once.call([&] { ++runs; });
    EXPECT_EQ(runs, 1);
}

}  // namespace
