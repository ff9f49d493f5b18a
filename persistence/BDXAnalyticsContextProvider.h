#pragma once

#include <memory>

#include "foundation/DispatchQueue.h"
#include "persistence/BDXContextProviderProtocol.h"

// The lane of the analytics of the library's own use, with the serial queue its logger works on.
class BDXAnalyticsContextProvider : public BDXLoggerContextProvider<BDXAnalyticsContextProvider> {
  public:
    // "com.bdx.AnalyticsLoggerQueue", made once.
    static std::shared_ptr<bdx::DispatchQueue> queue();
};
