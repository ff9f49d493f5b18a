#include "platform/sys/VolumeCapacity.h"

#include <sys/statvfs.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>

#include "foundation/SingletonReset.h"
#include "platform/PlatformLog.h"

namespace bdx::sys {
namespace {

std::mutex gMutex;
std::optional<std::optional<VolumeCapacity>> gScripted;

}  // namespace

std::optional<VolumeCapacity> volumeCapacity(const std::filesystem::path& path) {
    {
        std::lock_guard lock(gMutex);
        if (gScripted) {
            return *gScripted;
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
    std::lock_guard lock(gMutex);
    const bool wasScripted = gScripted.has_value();
    gScripted = std::move(capacity);
    if (gScripted && !wasScripted) {
        registerSingletonReset([] { setVolumeCapacityForTesting(std::nullopt); });
    }
}

}  // namespace bdx::sys
