#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "core/BDXCountLimitedArray.h"
#include "tests/core/CoreTestSupport.h"

using BDXCountLimitedArrayTest = bdx::testing::CoreTest;

TEST_F(BDXCountLimitedArrayTest, KeepsTheNewestUpToTheMaximum) {
    BDXCountLimitedArray<int> one(1);
    one.addObject(1);
    one.addObject(2);
    EXPECT_EQ(one.objects(), std::vector<int>{2});

    BDXCountLimitedArray<std::string> ring;
    EXPECT_TRUE(ring.objects().empty());
    for (int i = 0; i < 150; ++i) {
        ring.addObject(std::to_string(i));
    }
    const auto kept = ring.objects();
    ASSERT_EQ(kept.size(), 100u);
    EXPECT_EQ(kept.front(), "50");
    EXPECT_EQ(kept.back(), "149");
}

TEST_F(BDXCountLimitedArrayTest, ReadSeesEveryEarlierAddFromEveryThread) {
    auto ring = BDXCountLimitedArray<int>::initWithMaximumCount(1000);
    std::vector<std::thread> writers;
    for (int w = 0; w < 4; ++w) {
        writers.emplace_back([ring, w] {
            for (int i = 0; i < 100; ++i) {
                ring->addObject(w * 100 + i);
            }
        });
    }
    for (auto& writer : writers) {
        writer.join();
    }
    auto all = ring->objects();
    ASSERT_EQ(all.size(), 400u);
    // Each writer's entries keep their order.
    for (int w = 0; w < 4; ++w) {
        int last = -1;
        for (int value : all) {
            if (value / 100 == w) {
                EXPECT_GT(value, last);
                last = value;
            }
        }
    }
}
