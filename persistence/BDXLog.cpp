#include "persistence/BDXLog.h"

std::string BDXLog::entityName() {
    return "BrindlexLog";
}
