#include "Logging/BDXSDKDebugInfoLogger.h"

#include <atomic>
#include <mutex>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKInternalLogManager.h"
#include "foundation/Console.h"
#include "foundation/Singleton.h"
#include "foundation/SingletonReset.h"

namespace {

std::atomic<std::int64_t>& levelInForce() {
    static std::atomic<std::int64_t> level{2};
    return level;
}

}  // namespace

std::int64_t BDXSDKDebugInfoLogger::level() {
    return levelInForce().load();
}

void BDXSDKDebugInfoLogger::setLevel(std::int64_t level) {
    if (levelInForce().exchange(level) != level) {
        bdx::registerSingletonReset([] { levelInForce() = 2; });
    }
}

void BDXSDKDebugInfoLogger::log(std::string_view message) {
    if (!BDXInspector::isDebuggerAttached()) {
        return;
    }
    std::lock_guard<std::recursive_mutex> guard(lock());
    bdx::Console::puts(bdx::stringWithFormat("[Brindlex] %@", message));
}

void BDXSDKDebugInfoLogger::internalLog(std::string_view message) {
    BDXSDKInternalLogManager::sharedManager()->addSDKInternalLog(std::string(message));
}

std::recursive_mutex& BDXSDKDebugInfoLogger::lock() {
    return bdx::neverDestroyed<std::recursive_mutex, BDXSDKDebugInfoLogger>();
}
