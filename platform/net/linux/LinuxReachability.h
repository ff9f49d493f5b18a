#pragma once

#include <memory>
#include <string>

#include "platform/net/Reachability.h"

struct sockaddr;

namespace bdx::net {

class NetworkChangeWatcher;

// A reachability target answered by the kernel's routing table.
//
// The flags of a target: a host name is resolved (getaddrinfo) and each address, in the resolver's
// order, is routed with an rtnetlink RTM_GETROUTE query; the first address with a usable route
// decides. A route to one of this machine's own addresses gives reachable, local address and
// direct; a unicast route out of a running interface gives reachable, plus direct when it needs no
// gateway and WWAN when the interface is a cellular modem. No route, a refusing route, an interface
// that is down, or a name that does not resolve gives 0. The unspecified address asks for the
// default route instead. Linux has no connection-on-demand, so those bits are never set.
//
// While scheduled, the flags are kept up to date on the watcher's thread after every kernel change
// and getFlags answers from them without waiting on the resolver.
class LinuxReachability final : public Reachability {
  public:
    // Nothing for an empty name or one longer than a DNS name can be.
    static std::shared_ptr<LinuxReachability> withHostName(const std::string& hostName,
                                                           std::shared_ptr<NetworkChangeWatcher> watcher);
    // Nothing for a family other than IPv4 and IPv6.
    static std::shared_ptr<LinuxReachability> withAddress(const sockaddr* address,
                                                          std::shared_ptr<NetworkChangeWatcher> watcher);
    ~LinuxReachability() override;

    bool getFlags(ReachabilityFlags& flags) override;
    bool setCallback(Callback callback) override;
    bool scheduleWithRunLoop(Scheduler scheduler) override;
    bool unscheduleFromRunLoop() override;

    struct Target;
    struct State;

  private:
    LinuxReachability(std::shared_ptr<const Target> target, std::shared_ptr<NetworkChangeWatcher> watcher);

    std::shared_ptr<const Target> target_;
    std::shared_ptr<NetworkChangeWatcher> watcher_;
    std::shared_ptr<State> state_;
};

}  // namespace bdx::net
