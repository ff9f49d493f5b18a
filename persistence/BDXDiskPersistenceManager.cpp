#include "persistence/BDXDiskPersistenceManager.h"

#include <filesystem>
#include <system_error>

#include "core/BDXSingleton.h"

namespace {
BDXSingleton<BDXDiskPersistenceManager>& singleton() {
    static BDXSingleton<BDXDiskPersistenceManager> instance;
    return instance;
}
}  // namespace

std::shared_ptr<BDXDiskPersistenceManager> BDXDiskPersistenceManager::getInstance() {
    return singleton().get([] { return std::make_shared<BDXDiskPersistenceManager>(); });
}

std::int64_t BDXDiskPersistenceManager::fileSizeAtLocation(const std::string& path) const {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error) {
        return -1;
    }
    return static_cast<std::int64_t>(size);
}

std::string BDXDiskPersistenceManager::persistDataAsTextInTempDirectory(const bdx::Data&) {
    return "";
}
