#pragma once

#include <string>

#include "persistence/BDXCache.h"

// Identifier migrations the service has not confirmed yet. A deferring cache: a migration is re-sent from
// here at the next start, so a second's delay in writing it costs nothing.
class BDXUUIDMigrationCache : public BDXCache {
    BDX_DECLARE_CLASS(BDXUUIDMigrationCache, BDXCache)

  public:
    BDXUUIDMigrationCache();

    std::string cacheDiskPath() const override;
};
