#pragma once

#include "persistence/BDXContextProviderProtocol.h"

// The lane of the logger of console and SDK log lines.
class BDXLogLoggerContextProvider : public BDXLoggerContextProvider<BDXLogLoggerContextProvider> {};
