#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace bdx::sys {

// The size of the volume a path lives on, in bytes, as the file system reports it to an unprivileged
// process: `available` is what the application may still write (the blocks reserved for the
// superuser are not its to use).
struct VolumeCapacity {
    std::uint64_t total = 0;
    std::uint64_t available = 0;
};

// Nothing when the file system cannot be asked (the failure is logged).
std::optional<VolumeCapacity> volumeCapacity(const std::filesystem::path& path);

// Tests cannot fill a disk to order: while set, every path reports this capacity (nothing: the
// question fails). Dropped by the singleton reset.
void setVolumeCapacityForTesting(std::optional<std::optional<VolumeCapacity>> capacity);

}  // namespace bdx::sys
