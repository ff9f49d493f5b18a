#include "platform/PlatformLog.h"

#include <string>

#include "foundation/Console.h"

namespace bdx {

void platformLog(std::string_view area, std::string_view message) {
    std::string line = "BrindlexCore ";
    line.append(area);
    line.append(": ");
    line.append(message);
    Console::logFault(line);
}

}  // namespace bdx
