#include "Logging/BDXInspector.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string_view>

#include "archives/MD5String.h"
#include "core/BDXDataStore.h"
#include "core/BDXDefaults.h"
#include "foundation/Clock.h"
#include "foundation/SingletonReset.h"
#include "platform/host/Info.h"

namespace {

// -1: ask the system; 0 or 1: the answer given by overrideDebuggerAttached.
std::atomic<int>& debuggerOverride() {
    static std::atomic<int> value{-1};
    return value;
}

bool isUsable(const std::optional<std::string>& text) {
    return text && !text->empty();
}

// Linux tells the tracer of a process in its status file; 0 is none.
bool isTracedBySystem() {
    std::ifstream status("/proc/self/status");
    std::string line;
    constexpr std::string_view kTracer = "TracerPid:";
    while (std::getline(status, line)) {
        if (line.compare(0, kTracer.size(), kTracer) == 0) {
            return std::strtol(line.c_str() + kTracer.size(), nullptr, 10) != 0;
        }
    }
    return false;
}

}  // namespace

std::string BDXInspector::getUUID() {
    auto defaults = BDXDefaults::getInstance();
    if (auto saved = defaults->savedUUID(); isUsable(saved)) {
        return *saved;
    }
    const auto identified = defaults->identifiedEmail();
    const std::string derived = isUsable(identified) ? getUUIDFromEmail(*identified) : oldUUID();
    defaults->setSavedUUID(derived);
    return derived;
}

std::string BDXInspector::deviceUUID() {
    return bdx::host::Info::shared()->vendorIdentifier();
}

std::string BDXInspector::oldUUID() {
    return deviceUUID() + "-" + MD5String(bdx::host::Info::shared()->bundleIdentifier());
}

std::string BDXInspector::getUUIDFromEmail(const std::string& email) {
    return MD5String(email + BDXDataStore::getInstance()->appToken());
}

std::string BDXInspector::sessionUUID() {
    static const std::string uuid = bdx::host::makeUUIDString();
    return uuid;
}

bool BDXInspector::isDebuggerAttached() {
    return isDebuggerAttatchedToConsole();
}

bool BDXInspector::isDebuggerAttatchedToConsole() {
    const int overridden = debuggerOverride().load();
    if (overridden >= 0) {
        return overridden == 1;
    }
    // Every diagnostic line asks, so the answer is kept for a second: a debugger that attaches is seen
    // within that time.
    static std::mutex mutex;
    static double askedAt = -1;
    static bool attached = false;
    const double now = bdx::Clock::current()->monotonicNow();
    std::lock_guard<std::mutex> guard(mutex);
    if (askedAt < 0 || now - askedAt >= 1.0 || now < askedAt) {
        attached = isTracedBySystem();
        askedAt = now;
    }
    return attached;
}

void BDXInspector::overrideDebuggerAttached(std::optional<bool> attached) {
    debuggerOverride() = attached ? (*attached ? 1 : 0) : -1;
    if (attached) {
        bdx::registerSingletonReset([] { debuggerOverride() = -1; });
    }
}
