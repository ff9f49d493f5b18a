#include "platform/sys/VolumeCapacity.h"

#include <sys/statvfs.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>

#include "foundation/Singleton.h"
#include "foundation/SingletonReset.h"
#include "platform/PlatformLog.h"

namespace bdx::sys {
namespace {

struct Scripted {
    std::mutex mutex;
    std::optional<std::optional<VolumeCapacity>> capacity;
};

}  // namespace

std::optional<VolumeCapacity> volumeCapacity(const std::filesystem::path& path) {
    {
        auto& scripted = neverDestroyed<Scripted>();
        std::lock_guard lock(scripted.mutex);
        if (scripted.capacity) {
            return *scripted.capacity;
        }
    }
    struct statvfs stats {};
    if (::statvfs(path.c_str(), &stats) != 0) {
        platformLog("storage", "cannot read the capacity of " + path.string() + ": " + std::strerror(errno));
        return std::nullopt;
    }
    const std::uint64_t unit = stats.f_frsize ? stats.f_frsize : stats.f_bsize;
    return VolumeCapacity{static_cast<std::uint64_t>(stats.f_blocks) * unit,
                          static_cast<std::uint64_t>(stats.f_bavail) * unit};
}

void setVolumeCapacityForTesting(std::optional<std::optional<VolumeCapacity>> capacity) {
    auto& scripted = neverDestroyed<Scripted>();
    std::lock_guard lock(scripted.mutex);
    const bool wasScripted = scripted.capacity.has_value();
    scripted.capacity = std::move(capacity);
    if (scripted.capacity && !wasScripted) {
        registerSingletonReset([] { setVolumeCapacityForTesting(std::nullopt); });
    }
}

}  // namespace bdx::sys
