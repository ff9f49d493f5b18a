#pragma once

#include "persistence/BDXContextProviderProtocol.h"

// The lane of the logger of network transactions.
class BDXNetworkLoggerContextProvider : public BDXLoggerContextProvider<BDXNetworkLoggerContextProvider> {};
