#pragma once

#include <memory>

#include "platform/net/ReachabilityService.h"

namespace bdx::net {

class NetworkChangeWatcher;

// The reachability service of Linux: targets answered by the kernel's routing table, watched by
// one network change watcher.
class LinuxReachabilityService final : public ReachabilityService {
  public:
    // Uses the shared watcher.
    LinuxReachabilityService();
    explicit LinuxReachabilityService(std::shared_ptr<NetworkChangeWatcher> watcher);

    std::shared_ptr<Reachability> createWithName(const std::string& hostName) override;
    std::shared_ptr<Reachability> createWithAddress(const sockaddr* address) override;

  private:
    std::shared_ptr<NetworkChangeWatcher> watcher_;
};

}  // namespace bdx::net
