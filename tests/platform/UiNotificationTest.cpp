#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "foundation/NotificationCenter.h"
#include "platform/ui/Notifications.h"
#include "tests/platform/UiTestSupport.h"

namespace bdx::ui {
namespace {

using gfx::Rect;

// Listens to every notification of the default center and notes the names (and what the listener
// wants to know at the moment each arrives).
class Listener {
  public:
    explicit Listener(std::function<std::string(const Notification&)> note = {}) : note_(std::move(note)) {
        token_ = NotificationCenter::defaultCenter()->addObserver("", nullptr, [this](const Notification& n) {
            heard.push_back(note_ ? n.name + " " + note_(n) : n.name);
            last = n;
        });
    }
    ~Listener() { NotificationCenter::defaultCenter()->removeObserver(token_); }

    std::vector<std::string> heard;
    Notification last;

  private:
    std::function<std::string(const Notification&)> note_;
    NotificationCenter::Token token_ = 0;
};

class UiNotificationTest : public testing::UiModelTest {};

TEST_F(UiNotificationTest, LifeCycleNotificationsCarryTheApplicationInItsStateOfThatMoment) {
    auto app = Application::sharedApplication();
    Listener listener([&](const Notification& n) {
        EXPECT_EQ(n.object.identity(), app.get());
        return std::to_string(static_cast<int>(app->applicationState()));
    });
    app->becomeActive();
    app->resignActive();
    app->enterBackground();
    app->enterForeground();
    app->receiveMemoryWarning();
    app->protectedDataDidBecomeAvailable();
    app->protectedDataWillBecomeUnavailable();
    app->terminate();
    EXPECT_EQ(listener.heard, (std::vector<std::string>{
                                  "UIApplicationDidBecomeActiveNotification 0",
                                  "UIApplicationWillResignActiveNotification 0",
                                  "UIApplicationDidEnterBackgroundNotification 2",
                                  "UIApplicationWillEnterForegroundNotification 2",
                                  "UIApplicationDidReceiveMemoryWarningNotification 1",
                                  "UIApplicationProtectedDataDidBecomeAvailable 1",
                                  "UIApplicationProtectedDataWillBecomeUnavailable 1",
                                  "UIApplicationWillTerminateNotification 1",
                              }));
}

TEST_F(UiNotificationTest, WindowNotificationsFollowVisibilityAndKeyStatus) {
    auto first = Window::make({0, 0, 10, 10});
    auto second = Window::make({0, 0, 10, 10});
    Listener listener([&](const Notification& n) {
        return std::string(n.object.identity() == first.get() ? "first" : "second");
    });
    first->makeKeyAndVisible();
    second->makeKeyAndVisible();
    second->setHidden(true);
    second->setHidden(true);
    EXPECT_EQ(listener.heard, (std::vector<std::string>{
                                  "UIWindowDidBecomeVisibleNotification first",
                                  "UIWindowDidBecomeKeyNotification first",
                                  "UIWindowDidBecomeVisibleNotification second",
                                  "UIWindowDidResignKeyNotification first",
                                  "UIWindowDidBecomeKeyNotification second",
                                  "UIWindowDidResignKeyNotification second",
                                  "UIWindowDidBecomeHiddenNotification second",
                              }));

    // An observer of one window hears that window only, by the object it registered with.
    int heardFirst = 0;
    auto token = NotificationCenter::defaultCenter()->addObserver(UIWindowDidBecomeKeyNotification, first,
                                                                  [&](const Notification&) { ++heardFirst; });
    second->makeKeyAndVisible();
    first->makeKeyWindow();
    EXPECT_EQ(heardFirst, 1);
    NotificationCenter::defaultCenter()->removeObserver(token);
}

TEST_F(UiNotificationTest, KeyboardNotificationsCarryTheEndFrame) {
    Screen::mainScreen()->setSize({390, 844});
    auto app = Application::sharedApplication();
    Listener listener;
    const Rect keyboard{0, 508, 390, 336};
    app->showKeyboard(keyboard);
    EXPECT_EQ(listener.heard, (std::vector<std::string>{UIKeyboardWillShowNotification,
                                                        UIKeyboardDidChangeFrameNotification}));
    ASSERT_NE(listener.last.userInfoValue<Rect>(UIKeyboardFrameEndUserInfoKey), nullptr);
    EXPECT_EQ(*listener.last.userInfoValue<Rect>(UIKeyboardFrameEndUserInfoKey), keyboard);
    EXPECT_TRUE(app->isKeyboardVisible());

    listener.heard.clear();
    app->changeKeyboardFrame({0, 464, 390, 380});
    EXPECT_EQ(listener.heard, std::vector<std::string>{UIKeyboardDidChangeFrameNotification});

    listener.heard.clear();
    app->hideKeyboard();
    EXPECT_EQ(listener.heard, (std::vector<std::string>{UIKeyboardWillHideNotification,
                                                        UIKeyboardDidChangeFrameNotification}));
    // The keyboard leaves below the screen.
    EXPECT_EQ(*listener.last.userInfoValue<Rect>(UIKeyboardFrameEndUserInfoKey), (Rect{0, 844, 390, 380}));
    EXPECT_FALSE(app->isKeyboardVisible());
}

TEST_F(UiNotificationTest, BatteryChangesAreToldOnlyWhileMonitored) {
    auto device = Device::currentDevice();
    Listener listener;
    device->updateBattery(0.5f, DeviceBatteryState::Unplugged);
    EXPECT_TRUE(listener.heard.empty());
    device->setBatteryMonitoringEnabled(true);
    device->updateBattery(0.4f, DeviceBatteryState::Unplugged);
    device->updateBattery(0.4f, DeviceBatteryState::Charging);
    device->updateBattery(0.4f, DeviceBatteryState::Charging);
    EXPECT_EQ(listener.heard, (std::vector<std::string>{UIDeviceBatteryLevelDidChangeNotification,
                                                        UIDeviceBatteryStateDidChangeNotification}));
    EXPECT_EQ(listener.last.object.identity(), device.get());
}

}  // namespace
}  // namespace bdx::ui
