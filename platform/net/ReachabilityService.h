// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <string>

#include "platform/net/Reachability.h"

struct sockaddr;

namespace bdx::net {

// Makes reachability targets. The Linux service is the default; tests install a scripted one.
class ReachabilityService {
  public:
    virtual ~ReachabilityService() = default;

    // Nothing when the name can never be looked up (empty, too long).
    virtual std::shared_ptr<Reachability> createWithName(const std::string& hostName) = 0;
    // An IPv4 (sockaddr_in) or IPv6 (sockaddr_in6) address; nothing for any other family. The
    // unspecified address stands for "any route out", as the platform's zero address does.
    virtual std::shared_ptr<Reachability> createWithAddress(const sockaddr* address) = 0;

    // The service in force; the Linux service unless another was installed.
    static std::shared_ptr<ReachabilityService> current();
    // Installs a service for the whole process; nullptr puts the Linux service back.
    static void install(std::shared_ptr<ReachabilityService> service);
};

}  // namespace bdx::net
