#include "platform/net/linux/RouteLookup.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "foundation/Console.h"

namespace bdx::net {
namespace {

constexpr std::size_t kAnswerBufferSize = 32768;

void logFailure(const char* what) {
    bdx::Console::logFault(std::string("[bdx::net] route lookup: ") + what + ": " + std::strerror(errno));
}

// A netlink route socket that closes itself.
class RouteSocket {
  public:
    RouteSocket() {
        fd_ = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
        if (fd_ < 0) {
            logFailure("cannot open a netlink socket");
            return;
        }
        // The kernel answers route queries at once; the timeout only guards against a kernel
        // that never does, so that no caller hangs for good.
        timeval timeout{2, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    }
    ~RouteSocket() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    RouteSocket(const RouteSocket&) = delete;
    RouteSocket& operator=(const RouteSocket&) = delete;

    bool isOpen() const { return fd_ >= 0; }

    bool send(const nlmsghdr* request) const {
        sockaddr_nl kernel{};
        kernel.nl_family = AF_NETLINK;
        ssize_t sent = ::sendto(fd_, request, request->nlmsg_len, 0, reinterpret_cast<sockaddr*>(&kernel),
                                sizeof kernel);
        if (sent != static_cast<ssize_t>(request->nlmsg_len)) {
            logFailure("cannot send the request");
            return false;
        }
        return true;
    }

    // One datagram of answers; empty on failure.
    std::vector<std::uint8_t> receive() const {
        std::vector<std::uint8_t> buffer(kAnswerBufferSize);
        ssize_t got;
        do {
            got = ::recv(fd_, buffer.data(), buffer.size(), 0);
        } while (got < 0 && errno == EINTR);
        if (got <= 0) {
            logFailure("no answer from the kernel");
            return {};
        }
        buffer.resize(static_cast<std::size_t>(got));
        return buffer;
    }

  private:
    int fd_ = -1;
};

std::uint32_t nextSequence() {
    static std::atomic<std::uint32_t> sequence{1};
    return sequence.fetch_add(1, std::memory_order_relaxed);
}

struct RouteRequest {
    nlmsghdr header;
    rtmsg message;
    char attributes[64];
};

void addAttribute(RouteRequest& request, unsigned short type, const void* data, std::size_t length) {
    auto* attribute =
        reinterpret_cast<rtattr*>(reinterpret_cast<char*>(&request) + NLMSG_ALIGN(request.header.nlmsg_len));
    attribute->rta_type = type;
    attribute->rta_len = static_cast<unsigned short>(RTA_LENGTH(length));
    std::memcpy(RTA_DATA(attribute), data, length);
    request.header.nlmsg_len = NLMSG_ALIGN(request.header.nlmsg_len) + RTA_ALIGN(attribute->rta_len);
}

bool interfaceIsRunning(int index) {
    char name[IF_NAMESIZE] = {};
    if (index <= 0 || ::if_indextoname(static_cast<unsigned>(index), name) == nullptr) {
        return false;
    }
    int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    ifreq request{};
    std::memcpy(request.ifr_name, name, sizeof request.ifr_name);
    bool running = ::ioctl(fd, SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_UP) != 0 &&
                   (request.ifr_flags & IFF_RUNNING) != 0;
    ::close(fd);
    return running;
}

bool interfaceIsWWAN(int index) {
    char name[IF_NAMESIZE] = {};
    if (index <= 0 || ::if_indextoname(static_cast<unsigned>(index), name) == nullptr) {
        return false;
    }
    std::string text = name;
    // Modem drivers declare the device type; a few older ones only follow the naming convention.
    if (text.rfind("wwan", 0) == 0 || text.rfind("rmnet", 0) == 0) {
        return true;
    }
    std::ifstream uevent("/sys/class/net/" + text + "/uevent");
    std::string line;
    while (std::getline(uevent, line)) {
        if (line == "DEVTYPE=wwan") {
            return true;
        }
    }
    return false;
}

struct ParsedRoute {
    Route route;
    std::uint32_t table = 0;
    std::uint32_t priority = 0;
    unsigned char destinationLength = 0;
};

ParsedRoute parseRoute(const nlmsghdr* header) {
    ParsedRoute parsed;
    const auto* message = static_cast<const rtmsg*>(NLMSG_DATA(header));
    parsed.table = message->rtm_table;
    parsed.destinationLength = message->rtm_dst_len;
    switch (message->rtm_type) {
        case RTN_UNICAST:
            parsed.route.type = Route::Type::unicast;
            break;
        case RTN_LOCAL:
            parsed.route.type = Route::Type::local;
            break;
        default:
            parsed.route.type = Route::Type::unreachable;
            break;
    }
    int length = static_cast<int>(RTM_PAYLOAD(header));
    for (auto* attribute = RTM_RTA(message); RTA_OK(attribute, length);
         attribute = RTA_NEXT(attribute, length)) {
        switch (attribute->rta_type) {
            case RTA_OIF:
                std::memcpy(&parsed.route.interfaceIndex, RTA_DATA(attribute), sizeof(int));
                break;
            case RTA_GATEWAY:
            case RTA_VIA:
                parsed.route.viaGateway = true;
                break;
            case RTA_TABLE:
                std::memcpy(&parsed.table, RTA_DATA(attribute), sizeof(std::uint32_t));
                break;
            case RTA_PRIORITY:
                std::memcpy(&parsed.priority, RTA_DATA(attribute), sizeof(std::uint32_t));
                break;
            case RTA_MULTIPATH: {
                // A route spread over several next hops: the first one stands for it.
                const auto* hop = static_cast<const rtnexthop*>(RTA_DATA(attribute));
                if (RTA_PAYLOAD(attribute) >= sizeof(rtnexthop)) {
                    if (parsed.route.interfaceIndex == 0) {
                        parsed.route.interfaceIndex = hop->rtnh_ifindex;
                    }
                    int hopLength = static_cast<int>(hop->rtnh_len) - static_cast<int>(sizeof(rtnexthop));
                    const auto* hopAttribute = reinterpret_cast<const rtattr*>(
                        reinterpret_cast<const char*>(hop) + RTNH_ALIGN(sizeof(rtnexthop)));
                    for (; RTA_OK(hopAttribute, hopLength);
                         hopAttribute = RTA_NEXT(hopAttribute, hopLength)) {
                        if (hopAttribute->rta_type == RTA_GATEWAY || hopAttribute->rta_type == RTA_VIA) {
                            parsed.route.viaGateway = true;
                        }
                    }
                }
                break;
            }
            default:
                break;
        }
    }
    if (parsed.route.type == Route::Type::unicast) {
        parsed.route.interfaceRunning = interfaceIsRunning(parsed.route.interfaceIndex);
        parsed.route.interfaceIsWWAN = interfaceIsWWAN(parsed.route.interfaceIndex);
    } else if (parsed.route.type == Route::Type::local) {
        parsed.route.interfaceRunning = interfaceIsRunning(parsed.route.interfaceIndex);
    }
    return parsed;
}

}  // namespace

std::optional<Route> RouteLookup::routeTo(const sockaddr* address) {
    if (address == nullptr) {
        return std::nullopt;
    }
    RouteRequest request{};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtmsg));
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.header.nlmsg_seq = nextSequence();
    if (address->sa_family == AF_INET) {
        const auto* v4 = reinterpret_cast<const sockaddr_in*>(address);
        request.message.rtm_family = AF_INET;
        request.message.rtm_dst_len = 32;
        addAttribute(request, RTA_DST, &v4->sin_addr, sizeof v4->sin_addr);
    } else if (address->sa_family == AF_INET6) {
        const auto* v6 = reinterpret_cast<const sockaddr_in6*>(address);
        request.message.rtm_family = AF_INET6;
        request.message.rtm_dst_len = 128;
        addAttribute(request, RTA_DST, &v6->sin6_addr, sizeof v6->sin6_addr);
        if (v6->sin6_scope_id != 0) {
            // A link-local address names its link; the route is looked up on that interface.
            int interface = static_cast<int>(v6->sin6_scope_id);
            addAttribute(request, RTA_OIF, &interface, sizeof interface);
        }
    } else {
        return std::nullopt;
    }

    RouteSocket socket;
    if (!socket.isOpen() || !socket.send(&request.header)) {
        return std::nullopt;
    }
    for (;;) {
        std::vector<std::uint8_t> answer = socket.receive();
        if (answer.empty()) {
            return std::nullopt;
        }
        int length = static_cast<int>(answer.size());
        for (auto* header = reinterpret_cast<const nlmsghdr*>(answer.data()); NLMSG_OK(header, length);
             header = NLMSG_NEXT(header, length)) {
            if (header->nlmsg_seq != request.header.nlmsg_seq) {
                continue;
            }
            if (header->nlmsg_type == NLMSG_ERROR) {
                const auto* error = static_cast<const nlmsgerr*>(NLMSG_DATA(header));
                if (error->error == 0) {
                    continue;
                }
                // The kernel refused to route the destination (no route, prohibited, blackhole):
                // that is an answer, not a failure to ask.
                return Route{};
            }
            if (header->nlmsg_type == RTM_NEWROUTE) {
                return parseRoute(header).route;
            }
        }
    }
}

std::optional<Route> RouteLookup::defaultRoute(int family) {
    if (family != AF_INET && family != AF_INET6) {
        return std::nullopt;
    }
    RouteRequest request{};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtmsg));
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = nextSequence();
    request.message.rtm_family = static_cast<unsigned char>(family);

    RouteSocket socket;
    if (!socket.isOpen() || !socket.send(&request.header)) {
        return std::nullopt;
    }
    std::optional<ParsedRoute> best;
    for (;;) {
        std::vector<std::uint8_t> answer = socket.receive();
        if (answer.empty()) {
            return std::nullopt;
        }
        int length = static_cast<int>(answer.size());
        for (auto* header = reinterpret_cast<const nlmsghdr*>(answer.data()); NLMSG_OK(header, length);
             header = NLMSG_NEXT(header, length)) {
            if (header->nlmsg_seq != request.header.nlmsg_seq) {
                continue;
            }
            if (header->nlmsg_type == NLMSG_DONE) {
                return best ? best->route : Route{};
            }
            if (header->nlmsg_type == NLMSG_ERROR) {
                const auto* error = static_cast<const nlmsgerr*>(NLMSG_DATA(header));
                if (error->error != 0) {
                    errno = -error->error;
                    logFailure("the kernel refused the route dump");
                    return std::nullopt;
                }
                continue;
            }
            if (header->nlmsg_type != RTM_NEWROUTE) {
                continue;
            }
            ParsedRoute parsed = parseRoute(header);
            if (parsed.table != RT_TABLE_MAIN || parsed.destinationLength != 0 ||
                parsed.route.type != Route::Type::unicast || !parsed.route.interfaceRunning) {
                continue;
            }
            if (!best || parsed.priority < best->priority) {
                best = parsed;
            }
        }
    }
}

}  // namespace bdx::net
