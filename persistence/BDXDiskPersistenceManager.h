#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "foundation/Data.h"

// Where the library's files live and what they are called.
class BDXDiskPersistenceManager {
  public:
    static std::shared_ptr<BDXDiskPersistenceManager> getInstance();

    // The size of the file in bytes; -1 when it cannot be read (missing, or not a file).
    std::int64_t fileSizeAtLocation(const std::string& path) const;
    std::string persistDataAsTextInTempDirectory(const bdx::Data& data);
};
