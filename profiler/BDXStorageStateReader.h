#pragma once

#include "foundation/Value.h"

// Reads how full the application's volume is, once, on demand. Stateless: callers make one per call.
class BDXStorageStateReader {
  public:
    // {"used": megabytes, "total": megabytes} of the volume holding the application's home, each a
    // whole number; a failed read counts as 0.
    bdx::Value getStorage() const;
};
