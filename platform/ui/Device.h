// Public header: installed with the library for hosts to include.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace bdx::ui {

// The platform's values.
enum class UserInterfaceIdiom { Unspecified = -1, Phone = 0, Pad = 1 };
enum class DeviceBatteryState { Unknown = 0, Unplugged = 1, Charging = 2, Full = 3 };

// The device: system name and version, model and vendor identifier (read once from the host's
// identity when the device is first asked for), interface idiom, and the battery. Battery values
// read -1 and Unknown unless monitoring is on, as on the platform. With monitoring on they are what
// the host last reported, or else what the system's power supply directory says (on Linux the
// first battery under /sys/class/power_supply); a change the host reports posts the battery
// notifications.
//
// Main thread only, like the rest of the model.
class Device : public std::enable_shared_from_this<Device> {
  public:
    static std::shared_ptr<Device> currentDevice();
    // Drops the shared instance (tests); the next one reads the host's identity again.
    static void destroy();

    Device();

    const std::string& systemName() const { return systemName_; }
    const std::string& systemVersion() const { return systemVersion_; }
    const std::string& model() const { return model_; }
    const std::string& identifierForVendor() const { return identifierForVendor_; }

    UserInterfaceIdiom userInterfaceIdiom() const { return idiom_; }
    void setUserInterfaceIdiom(UserInterfaceIdiom idiom) { idiom_ = idiom; }

    bool isBatteryMonitoringEnabled() const { return batteryMonitoringEnabled_; }
    void setBatteryMonitoringEnabled(bool enabled) { batteryMonitoringEnabled_ = enabled; }
    // 0 to 1, or -1 when unknown.
    float batteryLevel() const;
    DeviceBatteryState batteryState() const;
    // The host reports the battery; with monitoring on, a changed level posts
    // UIDeviceBatteryLevelDidChangeNotification and a changed state
    // UIDeviceBatteryStateDidChangeNotification.
    void updateBattery(float level, DeviceBatteryState state);
    // Where the system's power supplies are listed (tests point it at a directory of their own).
    void setPowerSupplyDirectory(std::filesystem::path directory) {
        powerSupplyDirectory_ = std::move(directory);
    }

  private:
    struct BatteryReading {
        float level = -1;
        DeviceBatteryState state = DeviceBatteryState::Unknown;
    };
    BatteryReading currentBattery() const;
    BatteryReading systemBattery() const;

    std::string systemName_;
    std::string systemVersion_;
    std::string model_;
    std::string identifierForVendor_;
    UserInterfaceIdiom idiom_ = UserInterfaceIdiom::Phone;
    bool batteryMonitoringEnabled_ = false;
    std::optional<BatteryReading> reported_;
    std::filesystem::path powerSupplyDirectory_ = "/sys/class/power_supply";
};

}  // namespace bdx::ui
