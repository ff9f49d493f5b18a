#include "foundation/NotificationCenter.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "foundation/SingletonReset.h"
#include "testing/ConsoleCapture.h"
#include "testing/WorkerAtExit.h"

using bdx::Notification;
using bdx::NotificationCenter;

TEST(NotificationDelivery, SynchronousOnThePostingThread) {
    auto center = NotificationCenter::defaultCenter();
    std::thread::id heardOn;
    int heard = 0;
    center->addObserver("UIApplicationDidBecomeActiveNotification", nullptr, [&](const Notification& n) {
        heardOn = std::this_thread::get_id();
        heard += n.name == "UIApplicationDidBecomeActiveNotification" ? 1 : 100;
    });

    std::thread poster([&] {
        center->post("UIApplicationDidBecomeActiveNotification");
        // Delivered before post returns, on this very thread.
        EXPECT_EQ(heard, 1);
        EXPECT_EQ(heardOn, std::this_thread::get_id());
    });
    poster.join();
    center->post("UIApplicationDidBecomeActiveNotification");
    EXPECT_EQ(heard, 2);
    EXPECT_EQ(heardOn, std::this_thread::get_id());
}

TEST(NotificationDelivery, ByNameAndByObject) {
    NotificationCenter center;
    int window = 0;
    int other = 0;
    std::vector<std::string> everything;
    std::vector<std::string> aboutWindow;
    const int windowObject = 0;
    const int otherObject = 0;
    center.addObserver("UIWindowDidBecomeKeyNotification", nullptr, [&](const Notification&) { ++window; });
    center.addObserver("kBDXStatusBarShouldChangeNotification", nullptr,
                       [&](const Notification&) { ++other; });
    center.addObserver("", nullptr, [&](const Notification& n) { everything.push_back(n.name); });
    center.addObserver("", &windowObject, [&](const Notification& n) { aboutWindow.push_back(n.name); });

    center.post("UIWindowDidBecomeKeyNotification", &windowObject);
    center.post("UIWindowDidBecomeKeyNotification", &otherObject);
    center.post("UIWindowDidBecomeKeyNotification");
    center.post("Unrelated", &windowObject);

    EXPECT_EQ(window, 3);
    EXPECT_EQ(other, 0);
    EXPECT_EQ(everything, (std::vector<std::string>{"UIWindowDidBecomeKeyNotification",
                                                    "UIWindowDidBecomeKeyNotification",
                                                    "UIWindowDidBecomeKeyNotification", "Unrelated"}));
    EXPECT_EQ(aboutWindow, (std::vector<std::string>{"UIWindowDidBecomeKeyNotification", "Unrelated"}));
}

TEST(NotificationDelivery, CarriesUserInfoAndKeepsASharedObjectAlive) {
    NotificationCenter center;
    auto session = std::make_shared<std::string>("session-7");
    std::weak_ptr<std::string> watch = session;
    std::string heardObject;
    double heardFrame = 0;
    center.addObserver("UIKeyboardDidChangeFrameNotification", session, [&](const Notification& n) {
        heardObject = *n.object.as<std::string>();
        if (auto frame = n.userInfoValue<double>("UIKeyboardFrameEndUserInfoKey")) {
            heardFrame = *frame;
        }
        EXPECT_EQ(n.userInfoValue<int>("UIKeyboardFrameEndUserInfoKey"), nullptr);
    });
    Notification notification{
        "UIKeyboardDidChangeFrameNotification", session, {{"UIKeyboardFrameEndUserInfoKey", 216.0}}};
    session.reset();
    ASSERT_FALSE(watch.expired());  // the notification holds it
    center.post(notification);
    EXPECT_EQ(heardObject, "session-7");
    EXPECT_EQ(heardFrame, 216.0);
}

TEST(NotificationRemoval, ARemovedObserverHearsNothingMore) {
    NotificationCenter center;
    int heard = 0;
    auto token =
        center.addObserver("kBDXSessionStartNotification", nullptr, [&](const Notification&) { ++heard; });
    center.post("kBDXSessionStartNotification");
    center.removeObserver(token);
    center.post("kBDXSessionStartNotification");
    EXPECT_EQ(heard, 1);
}

TEST(NotificationRemoval, RemovedDuringAPostByAnEarlierObserver) {
    NotificationCenter center;
    std::vector<std::string> calls;
    NotificationCenter::Token second = 0;
    center.addObserver("kBDXSessionEndNotification", nullptr, [&](const Notification&) {
        calls.push_back("first");
        center.removeObserver(second);
    });
    second = center.addObserver("kBDXSessionEndNotification", nullptr,
                                [&](const Notification&) { calls.push_back("second"); });
    center.post("kBDXSessionEndNotification");
    center.post("kBDXSessionEndNotification");
    EXPECT_EQ(calls, (std::vector<std::string>{"first", "first"}));
}

TEST(NotificationRemoval, ObserversChangeTheCenterFromInsideTheirCallbacks) {
    NotificationCenter center;
    int selfRemoving = 0;
    int addedLater = 0;
    NotificationCenter::Token self = 0;
    self = center.addObserver("Ping", nullptr, [&](const Notification&) {
        ++selfRemoving;
        center.removeObserver(self);
        center.addObserver("Ping", nullptr, [&](const Notification&) { ++addedLater; });
        center.post("Pong");  // posting from inside a callback does not deadlock either
    });
    center.post("Ping");
    // The observer added during the post is not part of it; it hears the next one.
    EXPECT_EQ(selfRemoving, 1);
    EXPECT_EQ(addedLater, 0);
    center.post("Ping");
    EXPECT_EQ(selfRemoving, 1);
    EXPECT_EQ(addedLater, 1);
}

TEST(NotificationRemoval, ByObserverIdentityForAllOrOneName) {
    NotificationCenter center;
    const int owner = 0;
    int heardA = 0;
    int heardB = 0;
    center.addObserver(&owner, "A", nullptr, [&](const Notification&) { ++heardA; });
    center.addObserver(&owner, "B", nullptr, [&](const Notification&) { ++heardB; });
    center.removeObserver(&owner, "A");
    center.post("A");
    center.post("B");
    EXPECT_EQ(heardA, 0);
    EXPECT_EQ(heardB, 1);
    center.removeObserver(&owner);
    center.post("B");
    EXPECT_EQ(heardB, 1);
}

TEST(NotificationRobustness, AThrowingObserverDoesNotStopTheOthers) {
    bdx::testing::ConsoleCapture capture;
    NotificationCenter center;
    int after = 0;
    center.addObserver("Crash", nullptr,
                       [](const Notification&) { throw std::runtime_error("observer broke"); });
    center.addObserver("Crash", nullptr, [&](const Notification&) { ++after; });
    center.post("Crash");
    EXPECT_EQ(after, 1);
    EXPECT_TRUE(capture.contains(bdx::Console::Channel::Fault, "observer broke"));
}

TEST(NotificationRobustness, ManyThreadsPostAddAndRemoveWithoutLosingADelivery) {
    NotificationCenter center;
    std::atomic<int> delivered{0};
    center.addObserver("Tick", nullptr, [&](const Notification&) { ++delivered; });
    constexpr int kThreads = 4;
    constexpr int kPosts = 500;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kPosts; ++i) {
                auto token = center.addObserver("Tick", nullptr, [](const Notification&) {});
                center.post("Tick");
                center.removeObserver(token);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(delivered.load(), kThreads * kPosts);
}

// The host's main() returns while a worker of the library still posts: the centre and its observers must
// still be there, and the process must end cleanly.
TEST(NotificationCenterDeathTest, AWorkerStillPostingWhileTheProcessExitsFindsTheCentreAlive) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            bdx::testing::runOnWorkerDuringExit(
                [] { NotificationCenter::defaultCenter()->post("com.bdx.test.exit"); });
            auto watch =
                std::make_shared<bdx::testing::EndsProcessWhenDropped>("the centre was destroyed at exit");
            NotificationCenter::defaultCenter()->addObserver(
                "com.bdx.test.exit", nullptr, [watch](const Notification&) {
                    const char line[] = "delivered during exit\n";
                    [[maybe_unused]] auto written = ::write(2, line, sizeof line - 1);
                });
            watch.reset();
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "delivered during exit");
}
