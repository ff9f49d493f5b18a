// Public header: installed with the library for hosts to include.
#pragma once

#include <string>
#include <vector>

namespace bdx {

// One platform service the library runs on, as found in this process: what it does and the version of
// the implementation linked in. Tools print these so that a bug report about the library can say what
// it actually ran on.
struct PlatformService {
    std::string role;
    std::string implementation;
    std::string version;
};

std::vector<PlatformService> platformServices();

}  // namespace bdx
