#include "testing/TemporaryDirectory.h"

#include <stdlib.h>

#include <stdexcept>
#include <string>
#include <system_error>

namespace bdx::testing {

TemporaryDirectory::TemporaryDirectory() {
    std::error_code ec;
    std::filesystem::path base = std::filesystem::temp_directory_path(ec);
    if (ec) {
        base = "/tmp";
    }
    std::string pattern = (base / "bdx-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
        throw std::runtime_error("cannot make a temporary directory under " + base.string());
    }
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

}  // namespace bdx::testing
