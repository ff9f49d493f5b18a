#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Logging/BDXConsoleLog.h"
#include "platform/gfx/Geometry.h"

namespace bdx {
class DispatchQueue;
}  // namespace bdx

namespace bdx::ui {
class Responder;
class View;
class ViewController;
class Window;
}  // namespace bdx::ui

// Plain questions about the host, the device and the process, answered from whatever stands in for
// them: the host model of the application, its windows and screen (bdx::ui), the host's identity
// (bdx::host::Info) and the system. Operations that touch the host model are for the main thread,
// like the model itself; getCurrentView and getCurrentViewString say what they do elsewhere.
class BDXInspector {
  public:
    // The one serial queue of the console operations, labelled "com.bdx.inspectorQueue"; made on first
    // use and the same for the whole process.
    static std::shared_ptr<bdx::DispatchQueue> inspectorQueue();

    // Console: the host's own log lines, kept in a ring of the last 500 and passed on to the system log.
    // Adds the line to the ring and hands it to the system log at the level's priority (or prints it on
    // standard output when no system log service listens), all on the inspector queue; returns at once.
    static void BDXNSLog(const std::string& text, std::int64_t withLogLevel);
    // Stamps the line with the present log time and adds it to the ring (made by the first line).
    static void addConsoleLog(const std::string& text);
    // Prints "<local time yyyy-MM-dd HH:mm:ss.SSS> <app name>[<process>:<thread>] <message>" on standard
    // output; the level is not part of the line.
    static void printLogWithMessage(const std::string& message, const std::string& level);
    // A copy of the ring, oldest first; empty before the first line.
    static std::vector<BDXConsoleLog> getConsoleLog();
    // Replaces the ring with an empty one, after the lines already queued.
    static void clearConsoleLog();
    // Whether the lines go to the system's log service: on Linux, a syslog socket listens at the path of
    // bdx::SystemLog.
    static bool shouldUseOSLog();
    // The platform log type of a host level: 0 default, 2 debug, 1 info, 0 default, 16 error, 17 fault for
    // the levels 0 to 5, and 0 for any other.
    static std::int64_t osLogLevelFromBDXLogLevel(std::int64_t level);
    // The syslog priority a line of that host level is sent at.
    static int syslogPriorityFromBDXLogLevel(std::int64_t level);

    // Identifiers that go to the service.
    // The identifier in use: the saved one, or, when none is saved, one derived from the identity of
    // this moment (the identified email, else the device) and saved.
    static std::string getUUID();
    // The vendor identifier of the device.
    static std::string deviceUUID();
    // The device's identifier before users could be identified: the vendor identifier, a hyphen, and the
    // MD5 of the bundle identifier.
    static std::string oldUUID();
    // The MD5 of the email followed by the application token; callers give the email lower-cased.
    static std::string getUUIDFromEmail(const std::string& email);
    // Ties the logs of one run of the process together; made once per process and never stored.
    static std::string sessionUUID();

    // Whether a debugger traces the process.
    static bool isDebuggerAttached();
    static bool isDebuggerAttatchedToConsole();
    // Answers the debugger question instead of the system, until set back to nothing (tests, and hosts
    // that want the SDK's diagnostics without a debugger). Dropped by the singleton reset.
    static void overrideDebuggerAttached(std::optional<bool> attached);

    // Device.
    static bool isPhone();
    static bool isIPad();
    // The model is one of the two phone models whose screen has a notch: "iPhone10,3" or "iPhone10,6".
    static bool isIphoneX();
    // The status bar is in a landscape orientation (3 or 4).
    static bool isLandscape();
    // The machine field of uname.
    static std::string getDeviceModel();
    // "iOS " and the system version.
    static std::string getiOSVersion();
    // True when `version` is numerically greater than the system version.
    static bool iOSVersionIsLessThan(const std::string& version);
    static bool iOSVersionHasPrefix(const std::string& prefix);
    // The user's first preferred language as a language tag ("en-US"), from the process's locale
    // environment (LANGUAGE, then LC_ALL, LC_MESSAGES, LANG); "en" when none names one.
    static std::string getSystemLocale();
    // The preferred language is written right to left.
    static bool isRTL();

    // Application.
    // "<short version> (<build>)" of the host.
    static std::string getAppVersion();
    static std::string getBundleIdentifier();
    // The application is in the inactive state (1).
    static bool isAppInActive();
    static std::string getSupportedMaxOS();
    static std::string getSupportedMinOS();
    // "UIDeviceFamily" of the host's information, as text; "" when absent.
    static std::string getSupportedDeviceFamily();
    static bool isPhotoLibraryUsageDescriptionAdded();
    static bool isMicrophoneUsageDescriptionAdded();
    // "UIViewControllerBasedStatusBarAppearance" of the host's information; true when absent, as on
    // the platform.
    static bool isViewControllerBasedStatusBarAppearanceEnabled();

    // SDK.
    static std::string getSDKVersion();
    static std::string getSDKBuildNumber();
    // The version of the library that ran here before, as the migrations recorded it.
    static std::optional<std::string> savedSDKVersion();
    // The library running now is numerically older than the saved one; false without a saved one.
    static bool isBrindlexSDKDowngraded();

    // Process.
    static int processID();
    // The kernel's identifier of the calling thread.
    static std::uint64_t threadID();
    // On the main thread, or on a queue whose label contains "qos.overcommit".
    static bool isMainThreadOrOverCommited();
    // More than 10 megabytes left on the application's volume: "total" less "used" of the profiler's
    // storage reading, as whole numbers; exactly 10 counts as low.
    static bool hasDiskSpaceAbove10Mega();

    // Screen.
    // The frame of the root view of applicationWindow, or the empty rectangle.
    static bdx::gfx::Rect getDeviceRect();
    static double deviceWidth();
    static double deviceHeight();
    // "<width>x<height>" of the main screen in the fixed coordinate space, in points.
    static std::string getScreenSize();
    static double getScreenScalef();
    // "@<scale>x", with getScreenScalef.
    static std::string getScreenScale();
    // "@<scale>x" with the scale the application draws at when display zoom is on, otherwise
    // getScreenScale.
    static std::string getScreenScaleWithZoomMode();
    static double getMaxOfWidthOrHeight();
    static bool isNativeScaleLessThanScale();
    static bool isNativeScaleGreaterThanScale();
    // Display zoom: the greater side is 667 with a native scale below the scale, or 568 with one
    // above it.
    static bool screenZoomed();
    // "Portrait" (status bar orientation 1 or 2), "Landscape" (3 or 4), "Unknown" (0, or off the
    // main thread); nothing for any other value.
    static std::optional<std::string> getScreenOrientation();

    // Views.
    // getCurrentViewHelper, run on the main thread: directly there, otherwise through a synchronous
    // block on the main queue, so it must not be called from a queue the main thread waits for.
    static std::shared_ptr<bdx::ui::Responder> getCurrentView();
    // The controller the user looks at: from the root view controller of applicationWindow down
    // through visible, selected, last child and presented controllers; the window itself when it
    // has no root view controller.
    static std::shared_ptr<bdx::ui::Responder> getCurrentViewHelper();
    // "NA" off the main thread (and when there is no window); otherwise the class name of
    // getCurrentView.
    static std::string getCurrentViewString();
    static std::shared_ptr<bdx::ui::ViewController> topViewControllerInWindow(
        const std::shared_ptr<bdx::ui::Window>& window);
    // The controller whose status bar style is in effect. The host model has no controller that
    // hands its status bar style to a child, so it is the top view controller.
    static std::shared_ptr<bdx::ui::ViewController> topEffectiveStatusBarStyleViewControllerInWindow(
        const std::shared_ptr<bdx::ui::Window>& window);
    // The first tab bar found in the view of the top view controller of a window, windows in order.
    static std::shared_ptr<bdx::ui::View> tabBarInViewHierarchy();
    // The view itself or its first descendant, depth first, that is a tab bar.
    static std::shared_ptr<bdx::ui::View> tabBarInView(const std::shared_ptr<bdx::ui::View>& view);
    static std::shared_ptr<bdx::ui::View> currentFirstResponderView();
    // The view itself or its first descendant, depth first, that is the first responder.
    static std::shared_ptr<bdx::ui::View> traverseView(const std::shared_ptr<bdx::ui::View>& view);

    // Windows.
    // The host's main window: getKeyWindow.
    static std::shared_ptr<bdx::ui::Window> applicationWindow();
    // The application delegate's window; else, with the key window put first, the first window
    // below the alert level that is not one of the library's and not a text effects window.
    static std::shared_ptr<bdx::ui::Window> getKeyWindow();
    // The application's windows, and the key window when it is not among them.
    static std::vector<std::shared_ptr<bdx::ui::Window>> applicationWindows();
    static std::vector<std::string> systemWindows();
    static bool isSystemWindow(const std::shared_ptr<bdx::ui::Window>& window);
    static std::vector<std::string> BrindlexWindows();
    // The window's class is exactly one of BrindlexWindows.
    static bool isBrindlexWindow(const std::shared_ptr<bdx::ui::Window>& window);
    // True unless the window is a kind of floating button, alert, capture or main window of the
    // library.
    static bool isNotBrindlexWindow(const std::shared_ptr<bdx::ui::Window>& window);
    static bool isFloatingButtonWindow(const std::shared_ptr<bdx::ui::Window>& window);
    // Keeps the library's windows above the host's: one above the highest application level when
    // that is above the status bar, else just below the status bar.
    static double windowLevelForSDKWindow();
    // The highest level among the application's windows that are shown, leaving out text effects
    // windows, floating button windows and levels of 2100 or more; 0 with none.
    static std::int32_t maxApplicationWindowLevel();
};
