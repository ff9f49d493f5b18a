#include "platform/ui/Device.h"

#include <algorithm>
#include <fstream>
#include <system_error>
#include <vector>

#include "foundation/Singleton.h"
#include "platform/host/Info.h"
#include "platform/ui/Notifications.h"

namespace bdx::ui {

namespace {

std::string firstLine(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r' || line.back() == ' ')) {
        line.pop_back();
    }
    return line;
}

}  // namespace

std::shared_ptr<Device> Device::currentDevice() {
    return Singleton<Device>::holder().get();
}

void Device::destroy() {
    Singleton<Device>::holder().destroy();
}

Device::Device() {
    auto info = host::Info::shared();
    systemName_ = info->systemName();
    systemVersion_ = info->systemVersion();
    model_ = info->model();
    identifierForVendor_ = info->vendorIdentifier();
}

Device::BatteryReading Device::systemBattery() const {
    std::error_code error;
    std::vector<std::filesystem::path> supplies;
    for (const auto& entry : std::filesystem::directory_iterator(powerSupplyDirectory_, error)) {
        supplies.push_back(entry.path());
    }
    // The first battery by name, so that the choice is the same on every read.
    std::sort(supplies.begin(), supplies.end());
    for (const auto& supply : supplies) {
        if (firstLine(supply / "type") != "Battery") {
            continue;
        }
        BatteryReading reading;
        const std::string capacity = firstLine(supply / "capacity");
        if (!capacity.empty() && std::all_of(capacity.begin(), capacity.end(), ::isdigit)) {
            reading.level = std::clamp(std::stoi(capacity), 0, 100) / 100.0f;
        }
        const std::string status = firstLine(supply / "status");
        if (status == "Charging") {
            reading.state = DeviceBatteryState::Charging;
        } else if (status == "Discharging" || status == "Not charging") {
            reading.state = DeviceBatteryState::Unplugged;
        } else if (status == "Full") {
            reading.state = DeviceBatteryState::Full;
        }
        return reading;
    }
    return {};
}

Device::BatteryReading Device::currentBattery() const {
    if (!batteryMonitoringEnabled_) {
        return {};
    }
    return reported_ ? *reported_ : systemBattery();
}

float Device::batteryLevel() const {
    return currentBattery().level;
}

DeviceBatteryState Device::batteryState() const {
    return currentBattery().state;
}

void Device::updateBattery(float level, DeviceBatteryState state) {
    const BatteryReading before = currentBattery();
    reported_ = BatteryReading{level, state};
    if (!batteryMonitoringEnabled_) {
        return;
    }
    auto self = weak_from_this().lock();
    if (before.level != level) {
        postNotification(UIDeviceBatteryLevelDidChangeNotification, self);
    }
    if (before.state != state) {
        postNotification(UIDeviceBatteryStateDidChangeNotification, self);
    }
}

}  // namespace bdx::ui
