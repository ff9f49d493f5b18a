#include "persistence/BDXSessionCache.h"

#include "foundation/ClassRegistry.h"
#include "foundation/StringWithFormat.h"
#include "sessions/BDXSession.h"

BDXSessionCache::BDXSessionCache() : BDXCache(true) {
    // The file names its records by class; the class must be known by that name before the file is read.
    bdx::ClassRegistry::registerClass<BDXSession>();
}

std::string BDXSessionCache::cacheDiskPath() const {
    return bdx::stringWithFormat("%@/%@", BDXCache::cacheDiskPath(), className());
}
