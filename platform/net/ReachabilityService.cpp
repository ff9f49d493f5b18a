#include "platform/net/ReachabilityService.h"

#include "foundation/Singleton.h"
#include "platform/net/linux/LinuxReachabilityService.h"

namespace bdx::net {

std::shared_ptr<ReachabilityService> ReachabilityService::current() {
    return Singleton<ReachabilityService>::holder().get(
        [] { return std::make_shared<LinuxReachabilityService>(); });
}

void ReachabilityService::install(std::shared_ptr<ReachabilityService> service) {
    Singleton<ReachabilityService>::holder().replace(std::move(service));
}

}  // namespace bdx::net
