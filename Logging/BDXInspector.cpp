#include "Logging/BDXInspector.h"

#include <sys/syscall.h>
#include <unicode/uloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string_view>

#include "Logging/BDXSDKDebugInfoLogger.h"
#include "archives/MD5String.h"
#include "core/BDXCountLimitedArray.h"
#include "core/BDXDataStore.h"
#include "core/BDXDateOperations.h"
#include "core/BDXDefaults.h"
#include "core/BDXStrings.h"
#include "foundation/Clock.h"
#include "foundation/Console.h"
#include "foundation/DateFormatter.h"
#include "foundation/DispatchQueue.h"
#include "foundation/NumericCompare.h"
#include "foundation/RunLoop.h"
#include "foundation/Singleton.h"
#include "foundation/SingletonReset.h"
#include "foundation/StringWithFormat.h"
#include "foundation/SystemLog.h"
#include "foundation/UserDefaults.h"
#include "platform/host/Info.h"
#include "platform/ui/Application.h"
#include "platform/ui/Device.h"
#include "platform/ui/NavigationController.h"
#include "platform/ui/Screen.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/View.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"
#include "profiler/BrindlexSessionProfiler.h"

using bdx::ui::Application;
using bdx::ui::Screen;
using bdx::ui::View;
using bdx::ui::ViewController;
using bdx::ui::Window;

namespace {

// -1: ask the system; 0 or 1: the answer given by overrideDebuggerAttached.
std::atomic<int>& debuggerOverride() {
    static std::atomic<int> value{-1};
    return value;
}

bool isUsable(const std::optional<std::string>& text) {
    return text && !text->empty();
}

constexpr const char* kSavedSDKVersionKey = "BDXUserDefaultKeyBrindlexSDKVersion";
// Windows at this level or above belong to the system, not to the application.
constexpr double kSystemWindowLevelFloor = 2100;
// A controller chain this deep can only be a cycle in a scripted model.
constexpr int kMaximumControllerDepth = 1000;

std::string systemVersion() {
    return bdx::host::Info::shared()->systemVersion();
}

// The walk to the controller on screen: visible controller of a navigation controller, selected one
// of a tab bar controller, last child, presented controller, until none applies.
std::shared_ptr<ViewController> walkToTop(std::shared_ptr<ViewController> controller) {
    for (int depth = 0; controller && depth < kMaximumControllerDepth; ++depth) {
        std::shared_ptr<ViewController> next;
        if (auto navigation = std::dynamic_pointer_cast<bdx::ui::NavigationController>(controller)) {
            next = navigation->visibleViewController();
        } else if (auto tabs = std::dynamic_pointer_cast<bdx::ui::TabBarController>(controller)) {
            next = tabs->selectedViewController();
        } else if (!controller->childViewControllers().empty()) {
            next = controller->childViewControllers().back();
        } else {
            next = controller->presentedViewController();
        }
        if (!next) {
            break;
        }
        controller = std::move(next);
    }
    return controller;
}

// A POSIX locale name ("pt_BR.UTF-8@euro") as a language tag ("pt-BR"); nothing for the C locale.
std::optional<std::string> languageTag(std::string name) {
    name = name.substr(0, name.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX") {
        return std::nullopt;
    }
    char tag[ULOC_FULLNAME_CAPACITY] = {};
    UErrorCode status = U_ZERO_ERROR;
    uloc_toLanguageTag(name.c_str(), tag, sizeof tag, false, &status);
    if (U_FAILURE(status) || tag[0] == '\0' || std::string(tag) == "und") {
        return std::nullopt;
    }
    return std::string(tag);
}

double screenScale() {
    return Screen::mainScreen()->scale();
}

double screenNativeScale() {
    return Screen::mainScreen()->nativeScale();
}

// Linux tells the tracer of a process in its status file; 0 is none.
bool isTracedBySystem() {
    std::ifstream status("/proc/self/status");
    std::string line;
    constexpr std::string_view kTracer = "TracerPid:";
    while (std::getline(status, line)) {
        if (line.compare(0, kTracer.size(), kTracer) == 0) {
            return std::strtol(line.c_str() + kTracer.size(), nullptr, 10) != 0;
        }
    }
    return false;
}

constexpr std::size_t kConsoleLogMaximumCount = 500;

using ConsoleRing = BDXCountLimitedArray<BDXConsoleLog>;

// The console ring, touched on the inspector queue; the mutex only lets the reset between tests drop it
// from another thread.
struct ConsoleState {
    std::mutex mutex;
    std::shared_ptr<ConsoleRing> ring;
    bool resetRegistered = false;
};

ConsoleState& consoleState() {
    return bdx::neverDestroyed<ConsoleState>();
}

void setConsoleRing(std::shared_ptr<ConsoleRing> ring) {
    auto& state = consoleState();
    std::lock_guard<std::mutex> guard(state.mutex);
    state.ring = std::move(ring);
    if (!state.resetRegistered) {
        state.resetRegistered = true;
        bdx::registerSingletonReset([] {
            auto& reset = consoleState();
            std::lock_guard<std::mutex> resetGuard(reset.mutex);
            reset.ring.reset();
            reset.resetRegistered = false;
        });
    }
}

std::shared_ptr<ConsoleRing> consoleRing() {
    auto& state = consoleState();
    std::lock_guard<std::mutex> guard(state.mutex);
    return state.ring;
}

// What the last line decided, as the platform keeps it for the process.
std::atomic<bool>& useOSLogFlag() {
    static std::atomic<bool> flag{false};
    return flag;
}

bdx::Console::LogType logTypeForOSLogLevel(std::int64_t osLogLevel) {
    switch (osLogLevel) {
        case 1:
            return bdx::Console::LogType::Info;
        case 2:
            return bdx::Console::LogType::Debug;
        case 16:
            return bdx::Console::LogType::Error;
        case 17:
            return bdx::Console::LogType::Fault;
        default:
            return bdx::Console::LogType::Default;
    }
}

}  // namespace

// Console.

void BDXInspector::BDXNSLog(const std::string& text, std::int64_t withLogLevel) {
    inspectorQueue()->barrierAsync([text, withLogLevel] {
        addConsoleLog(text);
        const bool useOSLog = shouldUseOSLog();
        useOSLogFlag() = useOSLog;
        if (!useOSLog) {
            // No log service to take the line: the developer still sees it on standard output.
            printLogWithMessage(text, "");
            return;
        }
        bdx::Console::systemLog(text, logTypeForOSLogLevel(osLogLevelFromBDXLogLevel(withLogLevel)));
    });
}

void BDXInspector::addConsoleLog(const std::string& text) {
    auto ring = consoleRing();
    if (!ring) {
        ring = std::make_shared<ConsoleRing>(kConsoleLogMaximumCount);
        setConsoleRing(ring);
    }
    ring->addObject(BDXConsoleLog(text, bdx_logTimeEpoch(bdx::Date::now())));
}

void BDXInspector::printLogWithMessage(const std::string& message, const std::string& /*level*/) {
    const bdx::DateFormatter formatter("yyyy-MM-dd HH:mm:ss.SSS");
    const std::string appName = BDXDefaults::getInstance()->strings()->appName();
    bdx::Console::puts(bdx::stringWithFormat("%@ %@[%ld:%ld] %@", formatter.stringFromDate(bdx::Date::now()),
                                             appName, static_cast<long>(processID()),
                                             static_cast<long>(threadID()), message));
}

std::vector<BDXConsoleLog> BDXInspector::getConsoleLog() {
    std::vector<BDXConsoleLog> lines;
    inspectorQueue()->sync([&lines] {
        auto ring = consoleRing();
        if (!ring) {
            return;
        }
        lines = ring->objects();
        if (!lines.empty()) {
            BDXSDKLogVerbose("Console log count: %d", static_cast<int>(lines.size()));
        }
    });
    return lines;
}

void BDXInspector::clearConsoleLog() {
    inspectorQueue()->barrierAsync(
        [] { setConsoleRing(std::make_shared<ConsoleRing>(kConsoleLogMaximumCount)); });
}

bool BDXInspector::shouldUseOSLog() {
    return bdx::SystemLog::isAvailable();
}

std::int64_t BDXInspector::osLogLevelFromBDXLogLevel(std::int64_t level) {
    switch (level) {
        case 1:
            return 2;
        case 2:
            return 1;
        case 4:
            return 16;
        case 5:
            return 17;
        default:
            return 0;
    }
}

int BDXInspector::syslogPriorityFromBDXLogLevel(std::int64_t level) {
    return bdx::Console::syslogPriority(logTypeForOSLogLevel(osLogLevelFromBDXLogLevel(level)));
}

std::shared_ptr<bdx::DispatchQueue> BDXInspector::inspectorQueue() {
    // Never destroyed: a worker may still use it while the process exits.
    static const auto* const queue = new std::shared_ptr<bdx::DispatchQueue>(
        bdx::DispatchQueue::create("com.bdx.inspectorQueue", bdx::DispatchQueue::Attribute::Serial));
    return *queue;
}

std::string BDXInspector::getUUID() {
    auto defaults = BDXDefaults::getInstance();
    if (auto saved = defaults->savedUUID(); isUsable(saved)) {
        return *saved;
    }
    const auto identified = defaults->identifiedEmail();
    const std::string derived = isUsable(identified) ? getUUIDFromEmail(*identified) : oldUUID();
    defaults->setSavedUUID(derived);
    return derived;
}

std::string BDXInspector::deviceUUID() {
    return bdx::host::Info::shared()->vendorIdentifier();
}

std::string BDXInspector::oldUUID() {
    return deviceUUID() + "-" + MD5String(bdx::host::Info::shared()->bundleIdentifier());
}

std::string BDXInspector::getUUIDFromEmail(const std::string& email) {
    return MD5String(email + BDXDataStore::getInstance()->appToken());
}

std::string BDXInspector::sessionUUID() {
    static const std::string uuid = bdx::host::makeUUIDString();
    return uuid;
}

bool BDXInspector::isDebuggerAttached() {
    return isDebuggerAttatchedToConsole();
}

bool BDXInspector::isDebuggerAttatchedToConsole() {
    const int overridden = debuggerOverride().load();
    if (overridden >= 0) {
        return overridden == 1;
    }
    // Every diagnostic line asks, so the answer is kept for a second: a debugger that attaches is seen
    // within that time.
    struct LastAnswer {
        std::mutex mutex;
        double askedAt = -1;
        bool attached = false;
    };
    auto& last = bdx::neverDestroyed<LastAnswer>();
    const double now = bdx::Clock::current()->monotonicNow();
    std::lock_guard<std::mutex> guard(last.mutex);
    if (last.askedAt < 0 || now - last.askedAt >= 1.0 || now < last.askedAt) {
        last.attached = isTracedBySystem();
        last.askedAt = now;
    }
    return last.attached;
}

void BDXInspector::overrideDebuggerAttached(std::optional<bool> attached) {
    debuggerOverride() = attached ? (*attached ? 1 : 0) : -1;
    if (attached) {
        bdx::registerSingletonReset([] { debuggerOverride() = -1; });
    }
}

// Device.

bool BDXInspector::isPhone() {
    return bdx::ui::Device::currentDevice()->userInterfaceIdiom() == bdx::ui::UserInterfaceIdiom::Phone;
}

bool BDXInspector::isIPad() {
    return bdx::ui::Device::currentDevice()->userInterfaceIdiom() == bdx::ui::UserInterfaceIdiom::Pad;
}

bool BDXInspector::isIphoneX() {
    std::string model = getDeviceModel();
    return model == "iPhone10,3" || model == "iPhone10,6";
}

bool BDXInspector::isLandscape() {
    auto orientation = Application::sharedApplication()->statusBarOrientation();
    return orientation == bdx::ui::InterfaceOrientation::LandscapeRight ||
           orientation == bdx::ui::InterfaceOrientation::LandscapeLeft;
}

std::string BDXInspector::getDeviceModel() {
    return bdx::host::Info::shared()->model();
}

std::string BDXInspector::getiOSVersion() {
    return bdx::stringWithFormat("iOS %@", systemVersion());
}

bool BDXInspector::iOSVersionIsLessThan(const std::string& version) {
    return bdx::compareNumerically(version, systemVersion()) > 0;
}

bool BDXInspector::iOSVersionHasPrefix(const std::string& prefix) {
    return systemVersion().rfind(prefix, 0) == 0;
}

std::string BDXInspector::getSystemLocale() {
    // LANGUAGE is the user's list of preferred languages; the others name one locale each.
    if (const char* list = std::getenv("LANGUAGE"); list != nullptr && *list != '\0') {
        std::string languages = list;
        std::size_t start = 0;
        while (start <= languages.size()) {
            std::size_t end = languages.find(':', start);
            if (end == std::string::npos) {
                end = languages.size();
            }
            if (auto tag = languageTag(languages.substr(start, end - start))) {
                return *tag;
            }
            start = end + 1;
        }
    }
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            if (auto tag = languageTag(value)) {
                return *tag;
            }
            // A set but empty or C locale ends the search, as it does for the C library.
            break;
        }
    }
    return "en";
}

bool BDXInspector::isRTL() {
    char locale[ULOC_FULLNAME_CAPACITY] = {};
    UErrorCode status = U_ZERO_ERROR;
    uloc_forLanguageTag(getSystemLocale().c_str(), locale, sizeof locale, nullptr, &status);
    return U_SUCCESS(status) && uloc_isRightToLeft(locale);
}

// Application.

std::string BDXInspector::getAppVersion() {
    auto info = bdx::host::Info::shared();
    return bdx::stringWithFormat("%@ (%@)", info->shortVersionString(), info->bundleVersion());
}

std::string BDXInspector::getBundleIdentifier() {
    return bdx::host::Info::shared()->bundleIdentifier();
}

bool BDXInspector::isAppInActive() {
    return Application::sharedApplication()->applicationState() == bdx::ui::ApplicationState::Inactive;
}

std::string BDXInspector::getSupportedMaxOS() {
    return bdx::stringWithFormat("%i", 110300);
}

std::string BDXInspector::getSupportedMinOS() {
    return bdx::stringWithFormat("%i", 90000);
}

std::string BDXInspector::getSupportedDeviceFamily() {
    bdx::Value family = bdx::host::Info::shared()->objectForInfoDictionaryKey("UIDeviceFamily");
    if (family.is_null()) {
        return "";
    }
    return bdx::stringWithFormat("%@", family);
}

bool BDXInspector::isPhotoLibraryUsageDescriptionAdded() {
    return bdx::host::Info::shared()->hasInfoDictionaryKey("NSPhotoLibraryUsageDescription") ||
           iOSVersionIsLessThan("10.0");
}

bool BDXInspector::isMicrophoneUsageDescriptionAdded() {
    return bdx::host::Info::shared()->hasInfoDictionaryKey("NSMicrophoneUsageDescription") ||
           iOSVersionIsLessThan("10.0");
}

bool BDXInspector::isViewControllerBasedStatusBarAppearanceEnabled() {
    return bdx::host::Info::shared()
        ->boolForInfoDictionaryKey("UIViewControllerBasedStatusBarAppearance")
        .value_or(true);
}

// SDK.

std::string BDXInspector::getSDKVersion() {
    return bdx::host::Info::shared()->libraryVersion();
}

std::string BDXInspector::getSDKBuildNumber() {
    return bdx::host::Info::shared()->libraryBuild();
}

std::optional<std::string> BDXInspector::savedSDKVersion() {
    return bdx::UserDefaults::standardUserDefaults()->stringForKey(kSavedSDKVersionKey);
}

bool BDXInspector::isBrindlexSDKDowngraded() {
    std::optional<std::string> saved = savedSDKVersion();
    if (!saved) {
        return false;
    }
    return bdx::compareNumerically(getSDKVersion(), *saved) < 0;
}

// Process.

int BDXInspector::processID() {
    return static_cast<int>(::getpid());
}

std::uint64_t BDXInspector::threadID() {
    return static_cast<std::uint64_t>(::syscall(SYS_gettid));
}

bool BDXInspector::isMainThreadOrOverCommited() {
    return bdx::isMainThread() ||
           bdx::DispatchQueue::currentLabel().find("qos.overcommit") != std::string::npos;
}

bool BDXInspector::hasDiskSpaceAbove10Mega() {
    const bdx::Value storage = BrindlexSessionProfiler::getStorage();
    const auto megabytes = [&](const char* key) -> std::int64_t {
        const auto entry = storage.find(key);
        return entry != storage.end() && entry->is_number() ? entry->get<std::int64_t>() : 0;
    };
    return megabytes("total") - megabytes("used") > 10;
}

// Screen.

bdx::gfx::Rect BDXInspector::getDeviceRect() {
    auto window = applicationWindow();
    if (!window || !window->rootViewController()) {
        return {};
    }
    auto view = window->rootViewController()->viewIfLoaded();
    return view ? view->frame() : bdx::gfx::Rect{};
}

double BDXInspector::deviceWidth() {
    return Screen::mainScreen()->bounds().size.width;
}

double BDXInspector::deviceHeight() {
    return Screen::mainScreen()->bounds().size.height;
}

std::string BDXInspector::getScreenSize() {
    // The fixed space does not turn with the orientation, so the size reads the same in landscape.
    bdx::gfx::Size size = Screen::mainScreen()->fixedCoordinateSpaceBounds().size;
    return bdx::stringWithFormat("%.0fx%.0f", size.width, size.height);
}

double BDXInspector::getScreenScalef() {
    return screenNativeScale();
}

std::string BDXInspector::getScreenScale() {
    return bdx::stringWithFormat("@%.0fx", getScreenScalef());
}

std::string BDXInspector::getScreenScaleWithZoomMode() {
    if (screenZoomed()) {
        return bdx::stringWithFormat("@%.0fx", screenScale());
    }
    return getScreenScale();
}

double BDXInspector::getMaxOfWidthOrHeight() {
    bdx::gfx::Size size = Screen::mainScreen()->bounds().size;
    return std::max(size.width, size.height);
}

bool BDXInspector::isNativeScaleLessThanScale() {
    return screenNativeScale() < screenScale();
}

bool BDXInspector::isNativeScaleGreaterThanScale() {
    return screenNativeScale() > screenScale();
}

bool BDXInspector::screenZoomed() {
    double side = getMaxOfWidthOrHeight();
    return (side == 667 && isNativeScaleLessThanScale()) || (side == 568 && isNativeScaleGreaterThanScale());
}

std::optional<std::string> BDXInspector::getScreenOrientation() {
    if (!bdx::isMainThread()) {
        return "Unknown";
    }
    switch (static_cast<int>(Application::sharedApplication()->statusBarOrientation())) {
        case 0:
            return "Unknown";
        case 1:
        case 2:
            return "Portrait";
        case 3:
        case 4:
            return "Landscape";
        default:
            return std::nullopt;
    }
}

// Views.

std::shared_ptr<bdx::ui::Responder> BDXInspector::getCurrentView() {
    if (bdx::isMainThread()) {
        return getCurrentViewHelper();
    }
    std::shared_ptr<bdx::ui::Responder> current;
    bdx::DispatchQueue::main()->sync([&current] { current = getCurrentViewHelper(); });
    return current;
}

std::shared_ptr<bdx::ui::Responder> BDXInspector::getCurrentViewHelper() {
    auto window = applicationWindow();
    if (!window) {
        return nullptr;
    }
    auto root = window->rootViewController();
    if (!root) {
        return window;
    }
    return walkToTop(root);
}

std::string BDXInspector::getCurrentViewString() {
    if (!bdx::isMainThread()) {
        return "NA";
    }
    auto current = getCurrentView();
    return current ? current->className() : "NA";
}

std::shared_ptr<ViewController> BDXInspector::topViewControllerInWindow(
    const std::shared_ptr<Window>& window) {
    if (!window) {
        return nullptr;
    }
    return walkToTop(window->rootViewController());
}

std::shared_ptr<ViewController> BDXInspector::topEffectiveStatusBarStyleViewControllerInWindow(
    const std::shared_ptr<Window>& window) {
    return topViewControllerInWindow(window);
}

std::shared_ptr<View> BDXInspector::tabBarInViewHierarchy() {
    for (const auto& window : Application::sharedApplication()->windows()) {
        auto top = topViewControllerInWindow(window);
        if (!top) {
            continue;
        }
        if (auto tabBar = tabBarInView(top->viewIfLoaded())) {
            return tabBar;
        }
    }
    return nullptr;
}

std::shared_ptr<View> BDXInspector::tabBarInView(const std::shared_ptr<View>& view) {
    if (!view) {
        return nullptr;
    }
    if (view->isKindOf("UITabBar")) {
        return view;
    }
    for (const auto& subview : view->subviews()) {
        if (auto tabBar = tabBarInView(subview)) {
            return tabBar;
        }
    }
    return nullptr;
}

std::shared_ptr<View> BDXInspector::currentFirstResponderView() {
    for (const auto& window : applicationWindows()) {
        if (auto responder = traverseView(window)) {
            return responder;
        }
    }
    return nullptr;
}

std::shared_ptr<View> BDXInspector::traverseView(const std::shared_ptr<View>& view) {
    if (!view) {
        return nullptr;
    }
    if (view->isFirstResponder()) {
        return view;
    }
    for (const auto& subview : view->subviews()) {
        if (auto responder = traverseView(subview)) {
            return responder;
        }
    }
    return nullptr;
}

// Windows.

std::shared_ptr<Window> BDXInspector::applicationWindow() {
    return getKeyWindow();
}

std::shared_ptr<Window> BDXInspector::getKeyWindow() {
    auto application = Application::sharedApplication();
    if (auto delegateWindow = application->delegateWindow()) {
        return delegateWindow;
    }
    std::vector<std::shared_ptr<Window>> windows = application->windows();
    if (auto key = application->keyWindow()) {
        windows.erase(std::remove(windows.begin(), windows.end(), key), windows.end());
        windows.insert(windows.begin(), key);
    }
    for (const auto& window : windows) {
        if (window->windowLevel() < bdx::ui::UIWindowLevelAlert && isNotBrindlexWindow(window) &&
            !window->isKindOf("UITextEffectsWindow")) {
            return window;
        }
    }
    return nullptr;
}

std::vector<std::shared_ptr<Window>> BDXInspector::applicationWindows() {
    auto application = Application::sharedApplication();
    std::vector<std::shared_ptr<Window>> windows = application->windows();
    auto key = application->keyWindow();
    if (key && std::find(windows.begin(), windows.end(), key) == windows.end()) {
        windows.push_back(key);
    }
    return windows;
}

std::vector<std::string> BDXInspector::systemWindows() {
    return {"UIRemoteKeyboardWindow", "UITextEffectsWindow"};
}

bool BDXInspector::isSystemWindow(const std::shared_ptr<Window>& window) {
    if (!window) {
        return false;
    }
    auto names = systemWindows();
    return std::find(names.begin(), names.end(), window->className()) != names.end();
}

std::vector<std::string> BDXInspector::BrindlexWindows() {
    return {"BDXMainWindow",
            "BDXAlertWindow",
            "BDXFloatingButtonWindow",
            "BDXScreenshotCaptureWindow",
            "BDXVideoRecorderWindow",
            "BDXCaptureWindow",
            "BDXUnnotifiedMessagesAlertWindow"};
}

bool BDXInspector::isBrindlexWindow(const std::shared_ptr<Window>& window) {
    if (!window) {
        return false;
    }
    auto names = BrindlexWindows();
    return std::find(names.begin(), names.end(), window->className()) != names.end();
}

bool BDXInspector::isNotBrindlexWindow(const std::shared_ptr<Window>& window) {
    if (!window) {
        return true;
    }
    for (const char* kind :
         {"BDXFloatingButtonWindow", "BDXAlertWindow", "BDXCaptureWindow", "BDXMainWindow"}) {
        if (window->isKindOf(kind)) {
            return false;
        }
    }
    return true;
}

bool BDXInspector::isFloatingButtonWindow(const std::shared_ptr<Window>& window) {
    return window && window->isKindOf("BDXFloatingButtonWindow");
}

double BDXInspector::windowLevelForSDKWindow() {
    std::int32_t highest = maxApplicationWindowLevel();
    if (highest > bdx::ui::UIWindowLevelStatusBar) {
        return highest + 1;
    }
    return bdx::ui::UIWindowLevelStatusBar - 1;
}

std::int32_t BDXInspector::maxApplicationWindowLevel() {
    std::int32_t highest = 0;
    for (const auto& window : Application::sharedApplication()->windows()) {
        if (window->isMemberOf("UITextEffectsWindow") || isFloatingButtonWindow(window) ||
            window->isHidden() || window->windowLevel() >= kSystemWindowLevelFloor) {
            continue;
        }
        highest = std::max(highest, static_cast<std::int32_t>(window->windowLevel()));
    }
    return highest;
}
