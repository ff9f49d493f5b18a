#include "Logging/BDXInspector.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdlib>
#include <future>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/DispatchQueue.h"
#include "foundation/RunLoop.h"
#include "foundation/UserDefaults.h"
#include "platform/host/Info.h"
#include "platform/ui/Application.h"
#include "platform/ui/Device.h"
#include "platform/ui/NavigationController.h"
#include "platform/ui/Runtime.h"
#include "platform/ui/Screen.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/View.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"

namespace {

using bdx::ui::Application;
using bdx::ui::NavigationController;
using bdx::ui::Screen;
using bdx::ui::TabBarController;
using bdx::ui::View;
using bdx::ui::ViewController;
using bdx::ui::Window;

// Each test starts from a fresh host model and identity.
class InspectorTest : public ::testing::Test {
  protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }

    static void reset() {
        Application::destroy();
        Screen::destroy();
        bdx::ui::Device::destroy();
        bdx::ui::Runtime::destroy();
        bdx::host::Info::destroy();
    }

    static std::shared_ptr<Window> window(double level, const std::string& className = "UIWindow",
                                          const std::string& kindOf = "UIWindow") {
        auto made = Window::make({{0, 0}, {390, 844}}, className, kindOf);
        made->setWindowLevel(level);
        made->setHidden(false);
        return made;
    }

    // A visible key window showing the controller.
    static std::shared_ptr<Window> show(const std::shared_ptr<ViewController>& root) {
        auto shown = Window::make({{0, 0}, {390, 844}});
        shown->setRootViewController(root);
        shown->makeKeyAndVisible();
        return shown;
    }

    static std::string nameOf(const std::shared_ptr<bdx::ui::Responder>& responder) {
        return responder ? responder->className() : "nothing";
    }
};

using InspectorWindows = InspectorTest;

TEST_F(InspectorWindows, KeyWindowIsTheDelegatesOrTheFirstHostWindowBelowAlerts) {
    EXPECT_EQ(BDXInspector::getKeyWindow(), nullptr);

    auto host = window(0);
    auto alert = window(bdx::ui::UIWindowLevelAlert);
    auto ours = window(10, "BDXMainWindow");
    auto textEffects = window(5, "UITextEffectsWindow");
    // A host window that nobody made key is still found.
    EXPECT_EQ(BDXInspector::getKeyWindow(), host);

    // The key window goes first, but only if it qualifies.
    ours->makeKeyWindow();
    EXPECT_EQ(BDXInspector::getKeyWindow(), host);
    alert->makeKeyWindow();
    EXPECT_EQ(BDXInspector::getKeyWindow(), host);
    textEffects->makeKeyWindow();
    EXPECT_EQ(BDXInspector::getKeyWindow(), host);
    auto second = window(1);
    second->makeKeyWindow();
    EXPECT_EQ(BDXInspector::getKeyWindow(), second);

    // A subclass of one of the library's windows is one of the library's windows.
    auto capture = window(2, "BDXCaptureWindow");
    auto subclassed = window(2, "HostCaptureWindow", "BDXCaptureWindow");
    subclassed->makeKeyWindow();
    EXPECT_EQ(BDXInspector::getKeyWindow(), host) << "with the key window left out, windows go back to front";

    auto delegateWindow = window(bdx::ui::UIWindowLevelAlert + 5);
    Application::sharedApplication()->setDelegateWindow(delegateWindow);
    EXPECT_EQ(BDXInspector::getKeyWindow(), delegateWindow)
        << "the delegate's window wins whatever its level";
    EXPECT_EQ(BDXInspector::applicationWindow(), delegateWindow);
}

TEST_F(InspectorWindows, LibraryWindowsStayAboveTheHostsAndTheStatusBar) {
    // Each window joins those before it. Hidden ones, the library's own, text effects and system
    // windows above the alert level do not count; levels are read as 32-bit integers.
    std::vector<std::shared_ptr<Window>> windows;
    for (const auto& [level, className, shown, max, forSDK] :
         std::vector<std::tuple<double, std::string, bool, int, int>>{
             {0, "UIWindow", true, 0, bdx::ui::UIWindowLevelStatusBar - 1},
             {bdx::ui::UIWindowLevelStatusBar, "UIWindow", true, 1000, 999},  // at is not above
             {1500, "UIWindow", true, 1500, 1501},
             {1800, "UIWindow", false, 1500, 1501},
             {1850, "BDXFloatingButtonWindow", true, 1500, 1501},
             {1900, "UITextEffectsWindow", true, 1500, 1501},
             {2100, "UIWindow", true, 1500, 1501},
             {2099.5, "UIWindow", true, 2099, 2100}}) {
        windows.push_back(window(level, className));
        windows.back()->setHidden(!shown);
        EXPECT_EQ(BDXInspector::maxApplicationWindowLevel(), max) << className << " at " << level;
        EXPECT_EQ(BDXInspector::windowLevelForSDKWindow(), forSDK) << className << " at " << level;
    }
}

TEST_F(InspectorWindows, LibraryWindowsByExactNameAndByKind) {
    auto recorder = window(0, "BDXVideoRecorderWindow");
    auto main = window(0, "BDXMainWindow");
    auto hostMain = window(0, "HostMainWindow", "BDXMainWindow");
    auto keyboard = window(0, "UIRemoteKeyboardWindow");

    EXPECT_TRUE(BDXInspector::isBrindlexWindow(recorder));
    EXPECT_TRUE(BDXInspector::isNotBrindlexWindow(recorder)) << "the kind test knows four kinds only";
    EXPECT_TRUE(BDXInspector::isBrindlexWindow(main));
    EXPECT_FALSE(BDXInspector::isNotBrindlexWindow(main));
    EXPECT_FALSE(BDXInspector::isBrindlexWindow(hostMain));
    EXPECT_FALSE(BDXInspector::isNotBrindlexWindow(hostMain));

    EXPECT_TRUE(BDXInspector::isSystemWindow(keyboard));
    EXPECT_FALSE(BDXInspector::isSystemWindow(main));
    EXPECT_EQ(BDXInspector::BrindlexWindows().size(), 7u);
}

using InspectorViews = InspectorTest;

TEST_F(InspectorViews, CurrentViewWalksVisibleSelectedLastChildAndPresentedControllers) {
    EXPECT_EQ(BDXInspector::getCurrentViewHelper(), nullptr);
    auto bare = window(0, "HostWindow");
    bare->makeKeyAndVisible();
    EXPECT_EQ(nameOf(BDXInspector::getCurrentViewHelper()), "HostWindow") << "no root controller: the window";

    auto feed = ViewController::make("FeedViewController");
    auto detail = ViewController::make("DetailViewController");
    auto navigation = NavigationController::initWithRootViewController(feed);
    navigation->pushViewController(detail, false);

    auto settings = ViewController::make("SettingsViewController");
    auto tabs = std::make_shared<TabBarController>();
    tabs->setViewControllers({settings, navigation});
    tabs->setSelectedIndex(1);

    auto container = ViewController::make("ContainerViewController");
    auto sidebar = ViewController::make("SidebarViewController");
    container->addChildViewController(sidebar);
    container->addChildViewController(tabs);
    container->view()->addSubview(tabs->view());

    auto shown = show(container);
    EXPECT_EQ(nameOf(BDXInspector::getCurrentViewHelper()), "DetailViewController");
    EXPECT_EQ(BDXInspector::topViewControllerInWindow(shown), detail);
    EXPECT_EQ(BDXInspector::getCurrentViewString(), "DetailViewController");

    tabs->setSelectedIndex(0);
    EXPECT_EQ(nameOf(BDXInspector::getCurrentViewHelper()), "SettingsViewController");

    auto sheet = ViewController::make("ComposeViewController");
    settings->presentViewController(sheet, false);
    EXPECT_EQ(nameOf(BDXInspector::getCurrentViewHelper()), "ComposeViewController");

    // The last child wins, whichever was added first.
    auto overlay = ViewController::make("OverlayViewController");
    container->addChildViewController(overlay);
    EXPECT_EQ(nameOf(BDXInspector::getCurrentViewHelper()), "OverlayViewController");
}

TEST_F(InspectorViews, CurrentViewStringIsNAOffTheMainThreadAndTheViewHopsToIt) {
    auto shown = show(ViewController::make("CheckoutViewController"));
    ASSERT_TRUE(bdx::isMainThread());
    EXPECT_EQ(BDXInspector::getCurrentViewString(), "CheckoutViewController");

    auto offMain = std::async(std::launch::async, [] { return BDXInspector::getCurrentViewString(); });
    EXPECT_EQ(offMain.get(), "NA");

    // From a worker, the view is read on the main thread, which the test serves meanwhile.
    auto fromWorker = std::async(std::launch::async, [] { return BDXInspector::getCurrentView(); });
    while (fromWorker.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        bdx::RunLoop::main().runOnce(0.05);
    }
    EXPECT_EQ(nameOf(fromWorker.get()), "CheckoutViewController");
}

TEST_F(InspectorViews, TabBarAndFirstResponderAreFoundInTheWindows) {
    auto root = ViewController::make("HomeViewController");
    auto shown = show(root);
    EXPECT_EQ(BDXInspector::tabBarInViewHierarchy(), nullptr);
    EXPECT_EQ(BDXInspector::currentFirstResponderView(), nullptr);

    auto toolbar = View::make("UIView");
    auto tabBar = View::make("HostTabBar", "UITabBar");
    toolbar->addSubview(tabBar);
    root->view()->addSubview(toolbar);
    EXPECT_EQ(BDXInspector::tabBarInViewHierarchy(), tabBar);

    auto field = View::make("UITextField", "UITextField");
    auto other = window(1);
    other->addSubview(View::make());
    other->subviews().front()->addSubview(field);
    ASSERT_TRUE(field->becomeFirstResponder());
    EXPECT_EQ(BDXInspector::currentFirstResponderView(), field);
    EXPECT_EQ(BDXInspector::traverseView(shown), nullptr);
}

using InspectorHost = InspectorTest;

TEST_F(InspectorHost, SystemVersionComparesNumerically) {
    bdx::host::Info::shared()->setSystemVersion("12.4");
    EXPECT_EQ(BDXInspector::getiOSVersion(), "iOS 12.4");
    EXPECT_FALSE(BDXInspector::iOSVersionIsLessThan("12.4")) << "an equal version is not greater";
    EXPECT_TRUE(BDXInspector::iOSVersionIsLessThan("12.10"));
    EXPECT_TRUE(BDXInspector::iOSVersionIsLessThan("13"));
    EXPECT_FALSE(BDXInspector::iOSVersionIsLessThan("9.3"));
    EXPECT_TRUE(BDXInspector::iOSVersionHasPrefix("12."));
    EXPECT_FALSE(BDXInspector::iOSVersionHasPrefix("2"));

    // Usage descriptions are needed only from "10.0" on.
    EXPECT_FALSE(BDXInspector::isPhotoLibraryUsageDescriptionAdded());
    bdx::host::Info::shared()->setObjectForInfoDictionaryKey("NSPhotoLibraryUsageDescription",
                                                             "To attach photos");
    EXPECT_TRUE(BDXInspector::isPhotoLibraryUsageDescriptionAdded());
    EXPECT_FALSE(BDXInspector::isMicrophoneUsageDescriptionAdded());
    bdx::host::Info::shared()->setSystemVersion("9.3");
    EXPECT_TRUE(BDXInspector::isMicrophoneUsageDescriptionAdded());
}

TEST_F(InspectorHost, IdentityOfTheHostAndTheModel) {
    auto info = bdx::host::Info::shared();
    info->setShortVersionString("2.1");
    info->setBundleVersion("345");
    EXPECT_EQ(BDXInspector::getAppVersion(), "2.1 (345)");

    for (const auto& [model, notched] : std::map<std::string, bool>{
             {"iPhone10,3", true}, {"iPhone10,6", true}, {"iPhone10,4", false}, {"x86_64", false}}) {
        info->setModel(model);
        EXPECT_EQ(BDXInspector::isIphoneX(), notched) << model;
        EXPECT_EQ(BDXInspector::getDeviceModel(), model);
    }

    EXPECT_TRUE(BDXInspector::isViewControllerBasedStatusBarAppearanceEnabled());
    info->setObjectForInfoDictionaryKey("UIViewControllerBasedStatusBarAppearance", false);
    EXPECT_FALSE(BDXInspector::isViewControllerBasedStatusBarAppearanceEnabled());
}

TEST_F(InspectorHost, DowngradeIsJudgedAgainstTheSavedVersion) {
    auto info = bdx::host::Info::shared();
    info->setLibraryVersion("1.10.0", "7");
    EXPECT_EQ(BDXInspector::savedSDKVersion(), std::nullopt);
    EXPECT_FALSE(BDXInspector::isBrindlexSDKDowngraded());

    auto defaults = bdx::UserDefaults::standardUserDefaults();
    defaults->setString("1.9.5", "BDXUserDefaultKeyBrindlexSDKVersion");
    EXPECT_FALSE(BDXInspector::isBrindlexSDKDowngraded()) << "1.10 is newer than 1.9, numerically";
    defaults->setString("1.10.0", "BDXUserDefaultKeyBrindlexSDKVersion");
    EXPECT_FALSE(BDXInspector::isBrindlexSDKDowngraded());
    defaults->setString("2.0", "BDXUserDefaultKeyBrindlexSDKVersion");
    EXPECT_TRUE(BDXInspector::isBrindlexSDKDowngraded());
}

// Sets locale variables for one test and puts the old values back.
class LocaleEnvironment {
  public:
    LocaleEnvironment() {
        for (const char* name : kNames) {
            if (const char* value = std::getenv(name)) {
                saved_[name] = value;
            }
            ::unsetenv(name);
        }
    }
    ~LocaleEnvironment() {
        for (const char* name : kNames) {
            ::unsetenv(name);
        }
        for (const auto& [name, value] : saved_) {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
    }
    void set(const char* name, const char* value) { ::setenv(name, value, 1); }

  private:
    static constexpr const char* kNames[] = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"};
    std::map<std::string, std::string> saved_;
};

TEST_F(InspectorHost, LocaleIsTheFirstPreferredLanguage) {
    LocaleEnvironment environment;
    EXPECT_EQ(BDXInspector::getSystemLocale(), "en");
    environment.set("LANG", "pt_BR.UTF-8");
    EXPECT_EQ(BDXInspector::getSystemLocale(), "pt-BR");
    environment.set("LC_ALL", "C");
    EXPECT_EQ(BDXInspector::getSystemLocale(), "en") << "the C locale names no language";
    environment.set("LANGUAGE", "fr_CA:en");
    EXPECT_EQ(BDXInspector::getSystemLocale(), "fr-CA");
    EXPECT_FALSE(BDXInspector::isRTL());
    environment.set("LANGUAGE", "he_IL");
    EXPECT_TRUE(BDXInspector::isRTL());
    environment.set("LANGUAGE", "ar");
    EXPECT_TRUE(BDXInspector::isRTL());
}

using InspectorScreen = InspectorTest;

TEST_F(InspectorScreen, DisplayZoomAndScaleTexts) {
    auto screen = Screen::mainScreen();
    // Only the 667 and 568 point screens zoom.
    for (const auto& [width, height, scale, native, zoomed, text] :
         std::vector<std::tuple<double, double, double, double, bool, std::string>>{
             {375, 667, 2, 2, false, "@2x"},
             {375, 667, 2, 1.7, true, "@2x"},
             {320, 568, 2, 2.34, true, "@2x"},
             {414, 736, 3, 2.6, false, "@3x"}}) {
        screen->setSize({width, height});
        screen->setScale(scale);
        screen->setNativeScale(native);
        EXPECT_EQ(BDXInspector::screenZoomed(), zoomed) << height << " at " << native;
        EXPECT_EQ(BDXInspector::getScreenScaleWithZoomMode(), text);
    }
    EXPECT_EQ(BDXInspector::getScreenScale(), "@3x");
    EXPECT_EQ(BDXInspector::getMaxOfWidthOrHeight(), 736);
    screen->setSize({375, 667});
    EXPECT_EQ(BDXInspector::getScreenSize(), "375x667");
}

TEST_F(InspectorScreen, OrientationAndDeviceRect) {
    auto application = Application::sharedApplication();
    using Orientation = bdx::ui::InterfaceOrientation;
    for (const auto& [orientation, text, landscape] :
         std::vector<std::tuple<Orientation, std::optional<std::string>, bool>>{
             {Orientation::PortraitUpsideDown, "Portrait", false},
             {Orientation::LandscapeLeft, "Landscape", true},
             {Orientation::Unknown, "Unknown", false},
             {static_cast<Orientation>(7), std::nullopt, false}}) {
        application->setStatusBarOrientation(orientation);
        EXPECT_EQ(BDXInspector::getScreenOrientation(), text);
        EXPECT_EQ(BDXInspector::isLandscape(), landscape) << text.value_or("none");
    }

    EXPECT_EQ(BDXInspector::getDeviceRect(), bdx::gfx::Rect{});
    auto root = ViewController::make("HomeViewController");
    auto shown = show(root);
    root->view()->setFrame({{0, 20}, {390, 824}});
    EXPECT_EQ(BDXInspector::getDeviceRect(), (bdx::gfx::Rect{{0, 20}, {390, 824}}));
}

TEST(InspectorProcess, ThreadsAndQueues) {
    EXPECT_EQ(BDXInspector::processID(), ::getpid());
    EXPECT_TRUE(BDXInspector::isMainThreadOrOverCommited());
    std::uint64_t mainThread = BDXInspector::threadID();
    EXPECT_EQ(BDXInspector::threadID(), mainThread);

    auto worker = std::async(std::launch::async, [] {
        bool plain = BDXInspector::isMainThreadOrOverCommited();
        bool overcommit = false;
        bdx::DispatchQueue::create("com.host.qos.overcommit")->sync([&] {
            overcommit = BDXInspector::isMainThreadOrOverCommited();
        });
        return std::make_tuple(plain, overcommit, BDXInspector::threadID());
    });
    auto [plain, overcommit, workerThread] = worker.get();
    EXPECT_FALSE(plain);
    EXPECT_TRUE(overcommit);
    EXPECT_NE(workerThread, mainThread);
}

TEST_F(InspectorHost, ConsoleWorkRunsInOrderOnOneQueueMadeOnce) {
    auto queue = BDXInspector::inspectorQueue();
    ASSERT_NE(queue, nullptr);
    EXPECT_EQ(queue, BDXInspector::inspectorQueue());
    EXPECT_TRUE(queue->isSerial());

    std::string seen;
    queue->sync([&] { seen = bdx::DispatchQueue::currentLabel(); });
    EXPECT_EQ(seen, "com.bdx.inspectorQueue");
}

}  // namespace
