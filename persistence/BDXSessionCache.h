#pragma once

#include <string>

#include "persistence/BDXCache.h"

// Session records not yet delivered. A force-writing cache: a session is saved as the application enters
// the background, after which the process may be gone at any moment, so the bytes are on disk when the save
// returns.
class BDXSessionCache : public BDXCache {
    BDX_DECLARE_CLASS(BDXSessionCache, BDXCache)

  public:
    BDXSessionCache();

    std::string cacheDiskPath() const override;
};
