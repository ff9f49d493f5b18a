#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/net/ReachabilityService.h"

namespace bdx::testing {

// A reachability service whose flags the test sets. A target answers the flags set for its host
// name (or for its address in dotted text, "0.0.0.0" for the zero address); a change of flags
// reaches every scheduled target of that name through its scheduler, as the platform's callback
// would, and only when the flags differ from before.
class ScriptedReachabilityService final : public net::ReachabilityService {
  public:
    // Installs a fresh scripted service for the process and returns it; uninstall(), or the reset
    // between tests, puts the Linux service back.
    static std::shared_ptr<ScriptedReachabilityService> install();
    static void uninstall();

    ScriptedReachabilityService();

    std::shared_ptr<net::Reachability> createWithName(const std::string& hostName) override;
    std::shared_ptr<net::Reachability> createWithAddress(const sockaddr* address) override;

    // Flags of names nothing was set for; 0 unless changed.
    void setDefaultFlags(net::ReachabilityFlags flags);
    void setFlags(const std::string& name, net::ReachabilityFlags flags);
    // While false, getFlags fails for every target.
    void setFlagsReadable(bool readable);
    // While true, no target can be made.
    void setRefusesTargets(bool refuses);
    // While true, scheduling fails.
    void setRefusesScheduling(bool refuses);

    // Every name a target was asked for, in order.
    std::vector<std::string> requestedNames() const;
    // How many targets are scheduled now.
    std::size_t scheduledCount() const;

    struct Shared;

  private:
    std::shared_ptr<Shared> shared_;
};

}  // namespace bdx::testing
