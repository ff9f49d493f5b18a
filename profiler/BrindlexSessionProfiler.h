#pragma once

#include "foundation/Value.h"

// The session profiler. Its sampling loops and timeline arrive with the profiler itself; what is here
// already are the class-level readings other parts ask for, each made by a fresh reader.
class BrindlexSessionProfiler {
  public:
    static bdx::Value getStorage();
};
