#pragma once

#include <filesystem>

namespace bdx::testing {

// A fresh, empty directory under the system's temporary folder, removed with everything in it when the object
// goes.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

}  // namespace bdx::testing
