#include "profiler/BDXStorageStateReader.h"

#include <cstdint>
#include <nlohmann/json.hpp>

#include "foundation/Sandbox.h"
#include "platform/sys/VolumeCapacity.h"

bdx::Value BDXStorageStateReader::getStorage() const {
    constexpr std::uint64_t kBytesPerMegabyte = 1048576;
    std::int64_t total = 0;
    std::int64_t available = 0;
    if (auto capacity = bdx::sys::volumeCapacity(bdx::Sandbox::current().root())) {
        total = static_cast<std::int64_t>(capacity->total / kBytesPerMegabyte);
        available = static_cast<std::int64_t>(capacity->available / kBytesPerMegabyte);
    }
    bdx::Value storage = bdx::Value::object();
    storage["used"] = total - available;
    storage["total"] = total;
    return storage;
}
