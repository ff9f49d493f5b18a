#include "persistence/BDXDiskLog.h"

#include "foundation/Console.h"

void BDXDiskLogVerbose(std::string_view line) {
    bdx::Console::systemLog(std::string("[Brindlex] ") + std::string(line), bdx::Console::LogType::Debug);
}
