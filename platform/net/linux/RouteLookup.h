#pragma once

#include <optional>

struct sockaddr;

namespace bdx::net {

// What the kernel answers about the way out to one destination.
struct Route {
    enum class Type {
        unicast,     // out through an interface, directly or through a gateway
        local,       // the destination is one of this machine's own addresses
        unreachable  // no route, or a route that refuses the packet
    };
    Type type = Type::unreachable;
    bool viaGateway = false;
    int interfaceIndex = 0;
    // The interface is administratively up and has carrier.
    bool interfaceRunning = false;
    // The interface is a mobile broadband (cellular) modem.
    bool interfaceIsWWAN = false;
};

// Route queries to the kernel over rtnetlink: the same questions `ip route get` and `ip route show
// default` ask. Each call opens its own socket, so it is safe from any thread, and blocks only for the
// kernel's answer.
class RouteLookup {
  public:
    // The route a packet to the address (sockaddr_in or sockaddr_in6) would take. Nothing when the
    // kernel could not be asked or the family is not IPv4 or IPv6.
    static std::optional<Route> routeTo(const sockaddr* address);

    // The default route of the main table with the lowest metric among those whose interface is
    // running; of type unreachable when there is none. family is AF_INET or AF_INET6.
    static std::optional<Route> defaultRoute(int family);
};

}  // namespace bdx::net
