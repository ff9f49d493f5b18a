#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "platform/gfx/ImageContext.h"
#include "platform/host/Info.h"
#include "platform/ui/NavigationController.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/TextField.h"
#include "platform/ui/ViewController.h"
#include "tests/platform/UiTestSupport.h"

namespace bdx::ui {
namespace {

using gfx::Rect;

class UiApplicationTest : public testing::UiModelTest {
  protected:
    void TearDown() override {
        host::Info::destroy();
        UiModelTest::TearDown();
    }
};

std::vector<std::shared_ptr<Window>> windowsOf(std::initializer_list<std::shared_ptr<Window>> list) {
    return list;
}

TEST_F(UiApplicationTest, WindowsAreListedBackToFrontByLevelThenOrder) {
    auto app = Application::sharedApplication();
    auto alert = Window::make({0, 0, 10, 10});
    alert->setWindowLevel(UIWindowLevelAlert);
    auto main = Window::make({0, 0, 10, 10});
    auto overlay = Window::make({0, 0, 10, 10});
    overlay->setWindowLevel(UIWindowLevelStatusBar);
    EXPECT_EQ(app->windows(), windowsOf({main, overlay, alert}));

    auto second = Window::make({0, 0, 10, 10});
    EXPECT_EQ(app->windows(), windowsOf({main, second, overlay, alert}));
    // Showing a window brings it in front of the others of its level.
    main->makeKeyAndVisible();
    EXPECT_EQ(app->windows(), windowsOf({second, main, overlay, alert}));
    EXPECT_EQ(app->keyWindow(), main);

    // The application does not keep windows alive.
    std::weak_ptr<Window> gone = second;
    second.reset();
    EXPECT_TRUE(gone.expired());
    EXPECT_EQ(app->windows(), windowsOf({main, overlay, alert}));
    main.reset();
    EXPECT_EQ(app->keyWindow(), nullptr);
}

TEST_F(UiApplicationTest, HidingTheKeyWindowResignsIt) {
    auto first = Window::make({0, 0, 10, 10});
    auto second = Window::make({0, 0, 10, 10});
    first->makeKeyAndVisible();
    EXPECT_TRUE(first->isKeyWindow());
    second->makeKeyAndVisible();
    EXPECT_FALSE(first->isKeyWindow());
    second->setHidden(true);
    EXPECT_EQ(Application::sharedApplication()->keyWindow(), nullptr);
    EXPECT_FALSE(first->isKeyWindow());
    first->makeKeyWindow();
    EXPECT_TRUE(first->isKeyWindow());
}

TEST_F(UiApplicationTest, OneFirstResponderAtATime) {
    auto app = Application::sharedApplication();
    auto window = keyWindow();
    auto name = std::make_shared<TextField>();
    auto email = std::make_shared<TextField>();
    auto plain = View::make(Rect{0, 0, 10, 10});

    EXPECT_FALSE(name->becomeFirstResponder()) << "not in a window";
    window->addSubview(name);
    window->addSubview(email);
    window->addSubview(plain);
    EXPECT_FALSE(plain->becomeFirstResponder());
    ASSERT_TRUE(name->becomeFirstResponder());
    EXPECT_TRUE(name->isFirstResponder());
    ASSERT_TRUE(email->becomeFirstResponder());
    EXPECT_FALSE(name->isFirstResponder());
    EXPECT_EQ(app->firstResponder(), email);

    // Sent down the responder chain with no target, the action reaches the focused field.
    EXPECT_TRUE(app->sendAction("resignFirstResponder", nullptr));
    EXPECT_EQ(app->firstResponder(), nullptr);
    EXPECT_FALSE(app->sendAction("resignFirstResponder", nullptr)) << "nobody to send it to";

    // A field that leaves the window loses the focus; a disabled one cannot take it.
    ASSERT_TRUE(name->becomeFirstResponder());
    name->removeFromSuperview();
    EXPECT_EQ(app->firstResponder(), nullptr);
    email->setEnabled(false);
    EXPECT_FALSE(email->becomeFirstResponder());
}

TEST_F(UiApplicationTest, LifeCycleStatesAndBackgroundTasks) {
    auto app = Application::sharedApplication();
    EXPECT_EQ(app->applicationState(), ApplicationState::Inactive);
    app->becomeActive();
    EXPECT_EQ(app->applicationState(), ApplicationState::Active);
    app->resignActive();
    app->enterBackground();
    EXPECT_EQ(app->applicationState(), ApplicationState::Background);
    app->enterForeground();
    EXPECT_EQ(app->applicationState(), ApplicationState::Inactive);
    EXPECT_FALSE(app->isProtectedDataAvailable());
    app->protectedDataDidBecomeAvailable();
    EXPECT_TRUE(app->isProtectedDataAvailable());
    app->protectedDataWillBecomeUnavailable();
    EXPECT_FALSE(app->isProtectedDataAvailable());

    int expirations = 0;
    BackgroundTaskIdentifier upload = UIBackgroundTaskInvalid;
    upload = app->beginBackgroundTaskWithName("upload", [&] {
        ++expirations;
        app->endBackgroundTask(upload);
    });
    auto save = app->beginBackgroundTaskWithName("save", [&] { ++expirations; });
    EXPECT_NE(upload, UIBackgroundTaskInvalid);
    EXPECT_NE(save, upload);
    EXPECT_EQ(app->runningBackgroundTasks(), (std::vector<BackgroundTaskIdentifier>{upload, save}));
    app->expireBackgroundTasks();
    app->expireBackgroundTasks();
    EXPECT_EQ(expirations, 2) << "each handler runs once";
    EXPECT_FALSE(app->isBackgroundTaskRunning(upload));
    EXPECT_TRUE(app->isBackgroundTaskRunning(save)) << "a task runs until it is ended";
    app->endBackgroundTask(save);
    app->endBackgroundTask(save);
    app->endBackgroundTask(UIBackgroundTaskInvalid);
    EXPECT_TRUE(app->runningBackgroundTasks().empty());
}

TEST_F(UiApplicationTest, ScreenTurnsWithTheInterfaceAndSetsTheDrawingScale) {
    auto screen = Screen::mainScreen();
    screen->setSize({375, 667});
    screen->setScale(3);
    EXPECT_EQ(screen->bounds(), (Rect{0, 0, 375, 667}));
    Application::sharedApplication()->setStatusBarOrientation(InterfaceOrientation::LandscapeLeft);
    EXPECT_EQ(screen->bounds(), (Rect{0, 0, 667, 375}));
    EXPECT_EQ(screen->fixedCoordinateSpaceBounds(), (Rect{0, 0, 375, 667}));
    // An image context opened with scale 0 takes the screen's.
    EXPECT_EQ(gfx::ImageContext({10, 10}, false, 0).pixelWidth(), 30);
    screen->setScale(0);
    EXPECT_EQ(screen->scale(), 3);
    Screen::destroy();
    EXPECT_EQ(gfx::mainScreenScale(), 1);
}

TEST_F(UiApplicationTest, ControllersNavigationTabsAndPresentation) {
    auto window = keyWindow();
    auto home = ViewController::make("HomeViewController");
    auto navigation = NavigationController::initWithRootViewController(home);
    auto settings = ViewController::make();
    auto tabs = std::make_shared<TabBarController>();
    tabs->setViewControllers({navigation, settings});
    window->setRootViewController(tabs);

    // The containers are built as the platform builds them, and the chain runs back up.
    auto homeView = home->view();
    auto wrapper = homeView->superview();
    ASSERT_NE(wrapper, nullptr);
    EXPECT_EQ(wrapper->className(), "UIViewControllerWrapperView");
    EXPECT_EQ(wrapper->superview()->className(), "UINavigationTransitionView");
    EXPECT_EQ(navigation->view()->className(), "UILayoutContainerView");
    EXPECT_EQ(navigation->navigationBar()->className(), "UINavigationBar");
    EXPECT_TRUE(tabs->tabBar()->isDescendantOfView(*window));
    EXPECT_EQ(homeView->window(), window);
    EXPECT_EQ(homeView->nextResponder(), home);
    EXPECT_EQ(home->nextResponder(), wrapper);
    EXPECT_EQ(home->navigationController(), navigation);
    EXPECT_EQ(home->tabBarController(), tabs);
    EXPECT_EQ(tabs->selectedViewController(), navigation);

    auto detail = ViewController::make("DetailViewController");
    navigation->pushViewController(detail, true);
    EXPECT_EQ(navigation->topViewController(), detail);
    EXPECT_EQ(home->viewIfLoaded()->superview(), nullptr);
    EXPECT_EQ(navigation->popViewControllerAnimated(true), detail);
    EXPECT_EQ(navigation->popViewControllerAnimated(true), nullptr) << "the root stays";
    EXPECT_EQ(home->view()->superview(), wrapper);

    // Presentation covers the window; one at a time; dismissing takes everything above.
    auto sheet = ViewController::make("SheetViewController");
    navigation->presentViewController(sheet, false);
    EXPECT_EQ(navigation->visibleViewController(), sheet);
    EXPECT_EQ(sheet->presentingViewController(), navigation);
    EXPECT_EQ(sheet->view()->superview(), window);
    navigation->presentViewController(ViewController::make(), false);
    EXPECT_EQ(navigation->presentedViewController(), sheet);
    auto alert = ViewController::make("AlertViewController");
    sheet->presentViewController(alert, false);
    bool dismissed = false;
    sheet->dismissViewControllerAnimated(false, [&] { dismissed = true; });
    EXPECT_TRUE(dismissed);
    EXPECT_EQ(sheet->presentedViewController(), nullptr);
    EXPECT_EQ(alert->viewIfLoaded()->superview(), nullptr);
    EXPECT_EQ(navigation->presentedViewController(), sheet) << "the sheet itself stays";
    sheet->dismissViewControllerAnimated(false);
    EXPECT_EQ(navigation->presentedViewController(), nullptr);
    EXPECT_EQ(sheet->viewIfLoaded()->window(), nullptr);

    tabs->setSelectedIndex(1);
    EXPECT_EQ(settings->view()->window(), window);
    EXPECT_EQ(navigation->view()->window(), nullptr);
    tabs->setSelectedIndex(7);
    EXPECT_EQ(tabs->selectedViewController(), settings);

    // A new root replaces the old root's view.
    auto other = ViewController::make();
    window->setRootViewController(other);
    EXPECT_EQ(tabs->view()->superview(), nullptr);
    EXPECT_EQ(other->view()->frame(), window->bounds());
}

TEST_F(UiApplicationTest, DeviceIdentityAndBattery) {
    auto info = std::make_shared<host::Info>();
    info->setSystemName("iOS");
    info->setSystemVersion("12.4");
    info->setModel("iPhone10,3");
    info->setVendorIdentifier("6F9619FF-8B86-D011-B42D-00C04FC964FF");
    host::Info::setShared(info);
    Device::destroy();
    auto device = Device::currentDevice();
    EXPECT_EQ(device->systemName(), "iOS");
    EXPECT_EQ(device->systemVersion(), "12.4");
    EXPECT_EQ(device->model(), "iPhone10,3");
    EXPECT_EQ(device->identifierForVendor(), "6F9619FF-8B86-D011-B42D-00C04FC964FF");
    // Read once: later changes to the host's identity do not reach this device.
    info->setSystemVersion("13.0");
    EXPECT_EQ(device->systemVersion(), "12.4");

    const auto supplies = std::filesystem::temp_directory_path() /
                          ("bdx-power-" + std::to_string(reinterpret_cast<std::uintptr_t>(this)));
    std::filesystem::create_directories(supplies / "AC");
    std::filesystem::create_directories(supplies / "BAT0");
    std::ofstream(supplies / "AC" / "type") << "Mains\n";
    std::ofstream(supplies / "BAT0" / "type") << "Battery\n";
    std::ofstream(supplies / "BAT0" / "capacity") << "42\n";
    std::ofstream(supplies / "BAT0" / "status") << "Charging\n";
    device->setPowerSupplyDirectory(supplies);

    EXPECT_EQ(device->batteryLevel(), -1.0f) << "nothing is known while monitoring is off";
    EXPECT_EQ(device->batteryState(), DeviceBatteryState::Unknown);
    device->setBatteryMonitoringEnabled(true);
    EXPECT_FLOAT_EQ(device->batteryLevel(), 0.42f);
    EXPECT_EQ(device->batteryState(), DeviceBatteryState::Charging);
    std::ofstream(supplies / "BAT0" / "status") << "Discharging\n";
    EXPECT_EQ(device->batteryState(), DeviceBatteryState::Unplugged);

    // What the host reports wins over what the system says.
    device->updateBattery(0.9f, DeviceBatteryState::Full);
    EXPECT_FLOAT_EQ(device->batteryLevel(), 0.9f);
    EXPECT_EQ(device->batteryState(), DeviceBatteryState::Full);
    std::filesystem::remove_all(supplies);

    Device::destroy();
    auto fresh = Device::currentDevice();
    fresh->setPowerSupplyDirectory(supplies / "none");
    fresh->setBatteryMonitoringEnabled(true);
    EXPECT_EQ(fresh->batteryLevel(), -1.0f) << "no battery at all";
}

}  // namespace
}  // namespace bdx::ui
