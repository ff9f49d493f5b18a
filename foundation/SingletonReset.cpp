#include "foundation/SingletonReset.h"

#include <exception>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Console.h"
#include "foundation/Singleton.h"

namespace bdx {
namespace {

struct Registry {
    std::mutex mutex;
    std::vector<std::function<void()>> resets;
};

std::mutex& registryMutex() {
    return neverDestroyed<Registry>().mutex;
}

std::vector<std::function<void()>>& registry() {
    return neverDestroyed<Registry>().resets;
}

}  // namespace

void registerSingletonReset(std::function<void()> reset) {
    if (!reset) {
        return;
    }
    std::lock_guard<std::mutex> lock(registryMutex());
    registry().push_back(std::move(reset));
}

void resetAllSingletons() {
    std::vector<std::function<void()>> resets;
    {
        std::lock_guard<std::mutex> lock(registryMutex());
        resets.swap(registry());
    }
    // Run outside the lock: a reset may destroy objects whose destructors register or use other singletons.
    for (auto it = resets.rbegin(); it != resets.rend(); ++it) {
        try {
            (*it)();
        } catch (const std::exception& e) {
            Console::logFault(std::string("a singleton reset failed: ") + e.what());
        } catch (...) {
            Console::logFault("a singleton reset failed with an unknown exception");
        }
    }
}

}  // namespace bdx
