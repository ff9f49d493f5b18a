#include "platform/net/ReachabilityService.h"

#include <mutex>

#include "platform/net/linux/LinuxReachabilityService.h"

namespace bdx::net {
namespace {

std::mutex& installedMutex() {
    static std::mutex mutex;
    return mutex;
}

std::shared_ptr<ReachabilityService>& installed() {
    static std::shared_ptr<ReachabilityService> service;
    return service;
}

}  // namespace

std::shared_ptr<ReachabilityService> ReachabilityService::current() {
    std::lock_guard lock(installedMutex());
    if (!installed()) {
        installed() = std::make_shared<LinuxReachabilityService>();
    }
    return installed();
}

void ReachabilityService::install(std::shared_ptr<ReachabilityService> service) {
    std::lock_guard lock(installedMutex());
    installed() = std::move(service);
}

}  // namespace bdx::net
