#include "persistence/BDXUUIDMigrationCache.h"

#include "foundation/ClassRegistry.h"
#include "foundation/StringWithFormat.h"
#include "persistence/BDXUUIDMigration.h"

BDXUUIDMigrationCache::BDXUUIDMigrationCache() : BDXCache(false) {
    // The file names its records by class; the class must be known by that name before the file is read.
    bdx::ClassRegistry::registerClass<BDXUUIDMigration>();
}

std::string BDXUUIDMigrationCache::cacheDiskPath() const {
    return bdx::stringWithFormat("%@/%@", BDXCache::cacheDiskPath(), className());
}
