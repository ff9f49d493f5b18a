#include "platform/net/linux/LinuxReachabilityService.h"

#include "platform/net/linux/LinuxReachability.h"
#include "platform/net/linux/NetworkChangeWatcher.h"

namespace bdx::net {

LinuxReachabilityService::LinuxReachabilityService() : watcher_(NetworkChangeWatcher::shared()) {}

LinuxReachabilityService::LinuxReachabilityService(std::shared_ptr<NetworkChangeWatcher> watcher)
    : watcher_(std::move(watcher)) {}

std::shared_ptr<Reachability> LinuxReachabilityService::createWithName(const std::string& hostName) {
    return LinuxReachability::withHostName(hostName, watcher_);
}

std::shared_ptr<Reachability> LinuxReachabilityService::createWithAddress(const sockaddr* address) {
    return LinuxReachability::withAddress(address, watcher_);
}

}  // namespace bdx::net
