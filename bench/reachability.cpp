// What one answer of the Linux reachability service costs: a kernel route query, a name looked up
// and routed, and the answer of a scheduled target, which the request pipeline asks before every
// transfer.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/net/linux/LinuxReachabilityService.h"
#include "platform/net/linux/NetworkChangeWatcher.h"
#include "platform/net/linux/RouteLookup.h"

namespace {

using bdx::net::LinuxReachabilityService;
using bdx::net::NetworkChangeWatcher;
using bdx::net::ReachabilityFlags;

sockaddr_in loopback() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    ::inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
    return address;
}

void RouteQueryToLoopback(benchmark::State& state) {
    sockaddr_in address = loopback();
    for (auto _ : state) {
        auto route = bdx::net::RouteLookup::routeTo(reinterpret_cast<const sockaddr*>(&address));
        benchmark::DoNotOptimize(route);
    }
}
BENCHMARK(RouteQueryToLoopback);

void DefaultRouteDump(benchmark::State& state) {
    for (auto _ : state) {
        auto route = bdx::net::RouteLookup::defaultRoute(AF_INET);
        benchmark::DoNotOptimize(route);
    }
}
BENCHMARK(DefaultRouteDump);

void UnscheduledNameTarget(benchmark::State& state) {
    LinuxReachabilityService service(std::make_shared<NetworkChangeWatcher>());
    auto target = service.createWithName("localhost");
    ReachabilityFlags flags = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(target->getFlags(flags));
    }
}
BENCHMARK(UnscheduledNameTarget);

void ScheduledNameTarget(benchmark::State& state) {
    LinuxReachabilityService service(std::make_shared<NetworkChangeWatcher>());
    auto target = service.createWithName("localhost");
    target->scheduleWithRunLoop([](std::function<void()>) {});
    ReachabilityFlags flags = 0;
    target->getFlags(flags);
    for (auto _ : state) {
        benchmark::DoNotOptimize(target->getFlags(flags));
    }
    target->unscheduleFromRunLoop();
}
BENCHMARK(ScheduledNameTarget);

}  // namespace

BENCHMARK_MAIN();
