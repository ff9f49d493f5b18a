// The demo host application: it embeds the library the way a host without an event loop of its own
// does, and shows what the library found around it.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/BDXDefaults.h"
#include "core/BrindlexCore.h"
#include "foundation/DispatchQueue.h"
#include "foundation/RunLoop.h"
#include "foundation/Sandbox.h"
#include "platform/Services.h"
#include "platform/host/Info.h"
#include "platform/net/ReachabilityService.h"

int main() {
    if (const char* root = std::getenv("BRINDLEX_SANDBOX")) {
        bdx::Sandbox::setRoot(root);
    }
    bdx::RunLoop::startEmbeddedMainThread();

    // A round trip through the main queue shows that the embedded main thread serves it.
    bool servedOnMain = false;
    bdx::DispatchQueue::main()->sync([&] { servedOnMain = bdx::isMainThread(); });

    const auto sandbox = bdx::Sandbox::current();
    const auto info = bdx::host::Info::shared();
    std::printf("BrindlexCore %s\n", BrindlexCoreVersionString);
    std::printf("sandbox        %s\n", sandbox.root().c_str());
    std::printf("main queue     %s\n", servedOnMain ? "served by the embedded main thread" : "NOT served");
    std::printf("host           %s %s (%s), %s %s on %s\n", info->bundleName().c_str(),
                info->shortVersionString().c_str(), info->bundleIdentifier().c_str(),
                info->systemName().c_str(), info->systemVersion().c_str(), info->model().c_str());
    std::printf("vendor id      %s\n", info->vendorIdentifier().c_str());
    const auto defaults = BDXDefaults::getInstance();
    bdx::net::ReachabilityFlags flags = 0;
    auto target = bdx::net::ReachabilityService::current()->createWithName(defaults->baseURLHost());
    const bool reachable =
        target && target->getFlags(flags) && (flags & bdx::net::ReachabilityFlag::reachable);
    std::printf("service        %s (%s)\n", defaults->baseURL().c_str(),
                reachable ? "reachable" : "not reachable");
    std::printf("services:\n");
    for (const auto& service : bdx::platformServices()) {
        std::printf("  %-26s %s %s\n", service.role.c_str(), service.implementation.c_str(),
                    service.version.c_str());
    }

    bdx::RunLoop::stopEmbeddedMainThread();
    return servedOnMain ? 0 : 1;
}
