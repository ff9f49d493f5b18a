#include <gtest/gtest.h>

#include <any>
#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "platform/ui/Application.h"

namespace bdx::ui {
namespace {

// Background tasks and the activity indicator are driven from the transfer machinery's queues, so
// both are exercised from several threads at once.
TEST(ApplicationTransferStateTest, BackgroundTasksBegunAndEndedFromManyThreads) {
    auto application = std::make_shared<Application>();
    constexpr int kThreads = 8;
    constexpr int kTasksPerThread = 200;
    std::vector<std::vector<BackgroundTaskIdentifier>> begun(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kTasksPerThread; ++i) {
                const auto identifier =
                    application->beginBackgroundTaskWithName("BDX-" + std::to_string(i), [] {});
                begun[t].push_back(identifier);
                if (i % 2 == 0) {
                    application->endBackgroundTask(identifier);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::set<BackgroundTaskIdentifier> unique;
    for (const auto& list : begun) {
        unique.insert(list.begin(), list.end());
    }
    EXPECT_EQ(unique.size(), static_cast<std::size_t>(kThreads * kTasksPerThread));
    EXPECT_FALSE(unique.contains(UIBackgroundTaskInvalid));
    EXPECT_EQ(application->runningBackgroundTasks().size(),
              static_cast<std::size_t>(kThreads * kTasksPerThread / 2));
}

TEST(ApplicationTransferStateTest, TheSharedApplicationIsOneObjectForEveryThread) {
    std::vector<std::shared_ptr<Application>> seen(8);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < seen.size(); ++t) {
        threads.emplace_back([&, t] { seen[t] = Application::sharedApplication(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (const auto& application : seen) {
        EXPECT_EQ(application, seen[0]);
    }
}

TEST(ApplicationTransferStateTest, BackgroundTasksExpireOnlyWhenTheHostSaysSo) {
    auto application = std::make_shared<Application>();
    int expirations = 0;
    BackgroundTaskIdentifier identifier = UIBackgroundTaskInvalid;
    identifier = application->beginBackgroundTaskWithName("BDX-1", [&] {
        ++expirations;
        application->endBackgroundTask(identifier);  // what an expiration handler does
    });
    EXPECT_TRUE(application->isBackgroundTaskRunning(identifier));
    EXPECT_EQ(expirations, 0);

    application->expireBackgroundTasks();
    application->expireBackgroundTasks();
    EXPECT_EQ(expirations, 1);
    EXPECT_FALSE(application->isBackgroundTaskRunning(identifier));
}

TEST(ApplicationTransferStateTest, ObserversHearEachChangeOfTheActivityIndicator) {
    auto application = std::make_shared<Application>();
    std::vector<std::pair<bool, bool>> changes;
    const auto token = application->addObserver(
        Application::kNetworkActivityIndicatorVisibleKey, [&](const KeyValueChange& change) {
            changes.emplace_back(std::any_cast<bool>(change.oldValue), std::any_cast<bool>(change.newValue));
        });
    for (bool visible : {true, true, false, false, true}) {
        application->setNetworkActivityIndicatorVisible(visible);
    }
    EXPECT_EQ(changes, (std::vector<std::pair<bool, bool>>{{false, true}, {true, false}, {false, true}}));
    EXPECT_TRUE(application->isNetworkActivityIndicatorVisible());
    EXPECT_EQ(std::any_cast<bool>(application->valueForKey(Application::kNetworkActivityIndicatorVisibleKey)),
              true);

    application->removeObserver(token);
    application->setNetworkActivityIndicatorVisible(false);
    EXPECT_EQ(changes.size(), 3u);
}

TEST(ApplicationTransferStateTest, IndicatorChangesFromManyThreadsReachObserversInOrder) {
    auto application = std::make_shared<Application>();
    std::mutex mutex;
    std::vector<bool> seen;
    application->addObserver(Application::kNetworkActivityIndicatorVisibleKey,
                             [&](const KeyValueChange& change) {
                                 std::lock_guard lock(mutex);
                                 // Each change starts from the value the one before left.
                                 if (!seen.empty()) {
                                     EXPECT_EQ(std::any_cast<bool>(change.oldValue), seen.back());
                                 }
                                 seen.push_back(std::any_cast<bool>(change.newValue));
                             });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) {
                application->setNetworkActivityIndicatorVisible((i + t) % 2 == 0);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::lock_guard lock(mutex);
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.back(), application->isNetworkActivityIndicatorVisible());
    for (std::size_t i = 1; i < seen.size(); ++i) {
        EXPECT_NE(seen[i], seen[i - 1]) << "a repeated value was reported at " << i;
    }
}

}  // namespace
}  // namespace bdx::ui
