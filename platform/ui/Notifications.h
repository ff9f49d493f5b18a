// Public header: installed with the library for hosts to include.
#pragma once

#include <any>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace bdx::ui {

class RuntimeObject;

// The notifications the host model posts, under the platform's names, on the default notification
// center, on the main thread.
//
// Application life cycle; the object is the application.
inline constexpr const char* UIApplicationDidBecomeActiveNotification =
    "UIApplicationDidBecomeActiveNotification";
inline constexpr const char* UIApplicationWillResignActiveNotification =
    "UIApplicationWillResignActiveNotification";
inline constexpr const char* UIApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* UIApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";
inline constexpr const char* UIApplicationWillTerminateNotification =
    "UIApplicationWillTerminateNotification";
inline constexpr const char* UIApplicationDidReceiveMemoryWarningNotification =
    "UIApplicationDidReceiveMemoryWarningNotification";
inline constexpr const char* UIApplicationProtectedDataDidBecomeAvailable =
    "UIApplicationProtectedDataDidBecomeAvailable";
inline constexpr const char* UIApplicationProtectedDataWillBecomeUnavailable =
    "UIApplicationProtectedDataWillBecomeUnavailable";
// Keyboard; no object, the keyboard's frame at the end of its move (a bdx::gfx::Rect in screen
// coordinates) under UIKeyboardFrameEndUserInfoKey.
inline constexpr const char* UIKeyboardWillShowNotification = "UIKeyboardWillShowNotification";
inline constexpr const char* UIKeyboardWillHideNotification = "UIKeyboardWillHideNotification";
inline constexpr const char* UIKeyboardDidChangeFrameNotification = "UIKeyboardDidChangeFrameNotification";
inline constexpr const char* UIKeyboardFrameEndUserInfoKey = "UIKeyboardFrameEndUserInfoKey";
// Windows; the object is the window.
inline constexpr const char* UIWindowDidBecomeKeyNotification = "UIWindowDidBecomeKeyNotification";
inline constexpr const char* UIWindowDidResignKeyNotification = "UIWindowDidResignKeyNotification";
inline constexpr const char* UIWindowDidBecomeVisibleNotification = "UIWindowDidBecomeVisibleNotification";
inline constexpr const char* UIWindowDidBecomeHiddenNotification = "UIWindowDidBecomeHiddenNotification";
// Device; the object is the device.
inline constexpr const char* UIDeviceBatteryLevelDidChangeNotification =
    "UIDeviceBatteryLevelDidChangeNotification";
inline constexpr const char* UIDeviceBatteryStateDidChangeNotification =
    "UIDeviceBatteryStateDidChangeNotification";

// Posts on the default notification center.
void postNotification(std::string_view name, const std::shared_ptr<const void>& object,
                      std::map<std::string, std::any> userInfo = {});

}  // namespace bdx::ui
