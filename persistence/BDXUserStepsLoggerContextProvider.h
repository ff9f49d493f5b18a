#pragma once

#include "persistence/BDXContextProviderProtocol.h"

// The lane of the logger of visual user steps.
class BDXUserStepsLoggerContextProvider : public BDXLoggerContextProvider<BDXUserStepsLoggerContextProvider> {
};
