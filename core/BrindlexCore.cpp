#include "core/BrindlexCore.h"

const double BrindlexCoreVersionNumber = BDX_VERSION_NUMBER;
const char* const BrindlexCoreVersionString = BDX_VERSION_STRING;
