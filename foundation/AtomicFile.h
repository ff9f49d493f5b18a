#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "foundation/Data.h"
#include "foundation/Error.h"

namespace bdx {

// Whole-file reads and writes that never leave a half-written file behind: the bytes go to a temporary file
// beside the target, are flushed to the disk, and replace the target in one rename. A reader sees the old
// file or the new one, even after a crash.
class AtomicFile {
  public:
    // Writes `bytes` to `path`, creating the parent directory when missing. False with `error` filled on
    // failure (the target is then untouched).
    static bool write(const std::filesystem::path& path, std::string_view bytes, Error* error = nullptr);
    static bool write(const std::filesystem::path& path, const Data& bytes, Error* error = nullptr);
    // The whole file; nothing (and `error` filled) when it cannot be read.
    static std::optional<Data> read(const std::filesystem::path& path, Error* error = nullptr);
};

}  // namespace bdx
