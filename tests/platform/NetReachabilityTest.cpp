#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/net/ReachabilityService.h"
#include "platform/net/linux/LinuxReachabilityService.h"
#include "platform/net/linux/NetworkChangeWatcher.h"

namespace {

using bdx::net::LinuxReachabilityService;
using bdx::net::NetworkChangeWatcher;
using bdx::net::Reachability;
using bdx::net::ReachabilityFlags;
namespace Flag = bdx::net::ReachabilityFlag;

constexpr ReachabilityFlags kLocal = Flag::reachable | Flag::isLocalAddress | Flag::isDirect;
constexpr ReachabilityFlags kOnLink = Flag::reachable | Flag::isDirect;

sockaddr_in ipv4(const char* text) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    EXPECT_EQ(::inet_pton(AF_INET, text, &address.sin_addr), 1) << text;
    return address;
}

const sockaddr* raw(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

std::shared_ptr<Reachability> toAddress(LinuxReachabilityService& service, const char* text) {
    return service.createWithAddress(raw(ipv4(text)));
}

// The flags as getFlags reads them, or a marker that they could not be read.
constexpr ReachabilityFlags kUnreadable = 0xFFFFFFFF;
ReachabilityFlags flagsOf(Reachability& target) {
    ReachabilityFlags flags = 0;
    return target.getFlags(flags) ? flags : kUnreadable;
}

// Runs the body on a thread of its own inside a fresh network namespace, where the test may change
// links, addresses and routes without touching the machine's. False when the process may not make
// one (no privilege) or iproute2 is missing.
bool inPrivateNetworkNamespace(const std::function<void()>& body) {
    if (std::system("ip -V >/dev/null 2>&1") != 0) {
        return false;
    }
    bool made = false;
    std::thread thread([&] {
        if (::unshare(CLONE_NEWNET) != 0) {
            return;
        }
        made = true;
        body();
    });
    thread.join();
    return made;
}

// Runs an iproute2 command; commands run in the namespace of the calling thread.
void ip(const std::string& arguments) {
    int status = std::system(("ip " + arguments).c_str());
    ASSERT_EQ(status, 0) << "ip " << arguments;
}

bool interfaceIsRunning(const std::string& name) {
    int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, name.c_str(), IF_NAMESIZE - 1);
    bool running =
        fd >= 0 && ::ioctl(fd, SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_RUNNING) != 0;
    if (fd >= 0) {
        ::close(fd);
    }
    return running;
}

// The kernel turns a link's carrier on and off a moment after the command that causes it. Waits for
// that, woken by the kernel's link messages rather than by polling.
void waitUntilRunning(const std::string& name, bool running) {
    struct Wake {
        std::mutex mutex;
        std::condition_variable changed;
        std::uint64_t count = 0;
    };
    auto wake = std::make_shared<Wake>();
    NetworkChangeWatcher watcher;
    auto token = watcher.subscribe([wake] {
        std::lock_guard lock(wake->mutex);
        ++wake->count;
        wake->changed.notify_all();
    });
    ASSERT_TRUE(token.has_value());
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::unique_lock lock(wake->mutex);
    while (interfaceIsRunning(name) != running) {
        std::uint64_t seen = wake->count;
        ASSERT_TRUE(wake->changed.wait_until(lock, deadline, [&] { return wake->count != seen; }))
            << name << " never became " << (running ? "running" : "not running");
    }
    lock.unlock();
    watcher.unsubscribe(*token);
}

// A veth pair with an address on its first end, both ends up and the first one running.
void addLink(const std::string& name, const std::string& peer, const std::string& address) {
    ip("link add " + name + " type veth peer name " + peer);
    ip("addr add " + address + " dev " + name);
    ip("link set " + peer + " up");
    ip("link set " + name + " up");
    waitUntilRunning(name, true);
}

// Stands for a run loop: the blocks a target hands to its scheduler wait here until the test runs
// them on its own thread.
class Inbox {
  public:
    Reachability::Scheduler scheduler() {
        return [this](std::function<void()> block) {
            std::lock_guard lock(mutex_);
            blocks_.push_back(std::move(block));
            arrived_.notify_all();
        };
    }

    // Waits until a block is there, without running it.
    bool waitForBlock(std::chrono::seconds patience = std::chrono::seconds(10)) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, patience, [this] { return !blocks_.empty(); });
    }

    void runAll() {
        for (;;) {
            std::function<void()> block;
            {
                std::lock_guard lock(mutex_);
                if (blocks_.empty()) {
                    return;
                }
                block = std::move(blocks_.front());
                blocks_.pop_front();
            }
            block();
        }
    }

  private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<std::function<void()>> blocks_;
};

TEST(NetReachabilityOnThisMachine, LoopbackByNameAndByAddressIsLocalAndDirect) {
    LinuxReachabilityService service;
    auto byName = service.createWithName("localhost");
    ASSERT_NE(byName, nullptr);
    EXPECT_EQ(flagsOf(*byName), kLocal);

    auto byAddress = toAddress(service, "127.0.0.1");
    ASSERT_NE(byAddress, nullptr);
    EXPECT_EQ(flagsOf(*byAddress), kLocal);
}

TEST(NetReachabilityOnThisMachine, NameThatCannotResolveIsReadAsNotReachable) {
    LinuxReachabilityService service;
    auto target = service.createWithName("no-such-host.invalid");
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(flagsOf(*target), 0u);
}

TEST(NetReachabilityOnThisMachine, TargetsThatCannotBeMade) {
    LinuxReachabilityService service;
    EXPECT_EQ(service.createWithName(""), nullptr);
    EXPECT_EQ(service.createWithName(std::string(254, 'a')), nullptr);
    EXPECT_NE(service.createWithName(std::string(253, 'a')), nullptr);

    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    EXPECT_EQ(service.createWithAddress(reinterpret_cast<const sockaddr*>(&local)), nullptr);
    EXPECT_EQ(service.createWithAddress(nullptr), nullptr);
}

TEST(NetReachabilityOnThisMachine, SchedulingIsOneAtATime) {
    LinuxReachabilityService service(std::make_shared<NetworkChangeWatcher>());
    auto target = service.createWithName("localhost");
    Inbox inbox;
    EXPECT_FALSE(target->unscheduleFromRunLoop());
    EXPECT_FALSE(target->scheduleWithRunLoop(nullptr));
    EXPECT_TRUE(target->scheduleWithRunLoop(inbox.scheduler()));
    EXPECT_FALSE(target->scheduleWithRunLoop(inbox.scheduler()));
    EXPECT_EQ(flagsOf(*target), kLocal);
    EXPECT_TRUE(target->unscheduleFromRunLoop());
    EXPECT_FALSE(target->unscheduleFromRunLoop());
}

TEST(NetReachabilityKernelRoutes, FlagsFollowTheRoutingTable) {
    bool ran = inPrivateNetworkNamespace([] {
        LinuxReachabilityService service(std::make_shared<NetworkChangeWatcher>());
        auto toLoopback = toAddress(service, "127.0.0.1");
        // A fresh namespace has its loopback link down: nothing routes.
        EXPECT_EQ(flagsOf(*toLoopback), 0u);
        ip("link set lo up");
        EXPECT_EQ(flagsOf(*toLoopback), kLocal);

        addLink("e0", "e1", "10.1.0.1/24");
        auto toNeighbour = toAddress(service, "10.1.0.2");
        EXPECT_EQ(flagsOf(*toNeighbour), kOnLink);

        ip("route add 10.8.0.0/16 via 10.1.0.2");
        auto toRemote = toAddress(service, "10.8.1.1");
        EXPECT_EQ(flagsOf(*toRemote), Flag::reachable) << "a gateway in between is not direct";

        ip("route add unreachable 10.7.0.0/16");
        EXPECT_EQ(flagsOf(*toAddress(service, "10.7.1.1")), 0u);

        // The zero address asks whether any way out exists: only a default route gives one.
        auto anyWayOut = toAddress(service, "0.0.0.0");
        EXPECT_EQ(flagsOf(*anyWayOut), 0u);
        ip("route add default via 10.1.0.2");
        EXPECT_EQ(flagsOf(*anyWayOut), Flag::reachable);

        addLink("wwan0", "w1", "10.2.0.1/24");
        EXPECT_EQ(flagsOf(*toAddress(service, "10.2.0.2")), kOnLink | Flag::isWWAN);

        // The far end going down takes the carrier away: the route stays, the way out does not.
        ip("link set e1 down");
        waitUntilRunning("e0", false);
        EXPECT_EQ(flagsOf(*toNeighbour), 0u);
        EXPECT_EQ(flagsOf(*toRemote), 0u);

        // A name is judged by the route of what it resolves to.
        auto byName = service.createWithName("localhost");
        EXPECT_EQ(flagsOf(*byName), kLocal);
    });
    if (!ran) {
        GTEST_SKIP() << "no private network namespace (needs CAP_SYS_ADMIN and iproute2)";
    }
}

TEST(NetReachabilityKernelRoutes, NotifierReportsEachChangeOnTheSchedulerUntilUnscheduled) {
    bool ran = inPrivateNetworkNamespace([] {
        auto watcher = std::make_shared<NetworkChangeWatcher>();
        LinuxReachabilityService service(watcher);
        auto target = toAddress(service, "10.3.0.2");
        ASSERT_NE(target, nullptr);
        EXPECT_EQ(flagsOf(*target), 0u);

        std::vector<ReachabilityFlags> reported;
        std::thread::id reportedOn;
        target->setCallback([&](ReachabilityFlags flags) {
            reported.push_back(flags);
            reportedOn = std::this_thread::get_id();
        });
        Inbox inbox;
        ASSERT_TRUE(target->scheduleWithRunLoop(inbox.scheduler()));

        ip("link add n0 type veth peer name n1");
        ip("addr add 10.3.0.1/24 dev n0");
        ip("link set n1 up");
        ip("link set n0 up");
        // Each burst of kernel messages is judged again; only a change of flags is reported.
        ASSERT_TRUE(inbox.waitForBlock()) << "no report after the link came up";
        inbox.runAll();
        ASSERT_FALSE(reported.empty());
        EXPECT_EQ(reported.back(), kOnLink);
        EXPECT_EQ(reportedOn, std::this_thread::get_id()) << "reports run where the scheduler runs them";
        for (std::size_t i = 1; i < reported.size(); ++i) {
            EXPECT_NE(reported[i], reported[i - 1]) << "a report without a change";
        }
        EXPECT_EQ(flagsOf(*target), kOnLink);

        reported.clear();
        ip("link set n0 down");
        ASSERT_TRUE(inbox.waitForBlock()) << "no report after the link went down";
        inbox.runAll();
        ASSERT_FALSE(reported.empty());
        EXPECT_EQ(reported.back(), 0u);

        // Once unscheduled, nothing more is reported, not even what was already handed over.
        reported.clear();
        ip("link set n0 up");
        ASSERT_TRUE(inbox.waitForBlock()) << "no report after the link came up again";
        EXPECT_GT(watcher->changeCount(), 0u);
        target->unscheduleFromRunLoop();
        inbox.runAll();
        EXPECT_TRUE(reported.empty());
    });
    if (!ran) {
        GTEST_SKIP() << "no private network namespace (needs CAP_SYS_ADMIN and iproute2)";
    }
}

}  // namespace
