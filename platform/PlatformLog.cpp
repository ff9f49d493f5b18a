#include "platform/PlatformLog.h"

#include <cstdio>
#include <string>

namespace bdx {

void platformLog(std::string_view area, std::string_view message) {
    std::string line = "BrindlexCore ";
    line.append(area);
    line.append(": ");
    line.append(message);
    line.push_back('\n');
    // One write per line so that lines from several threads do not interleave.
    std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace bdx
