#pragma once

#include "persistence/BDXContextProviderProtocol.h"

// The lane of the logger of counted events.
class BDXEventLoggerContextProvider : public BDXLoggerContextProvider<BDXEventLoggerContextProvider> {};
