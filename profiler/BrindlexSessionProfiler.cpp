#include "profiler/BrindlexSessionProfiler.h"

#include <nlohmann/json.hpp>

#include "profiler/BDXStorageStateReader.h"

bdx::Value BrindlexSessionProfiler::getStorage() {
    return BDXStorageStateReader().getStorage();
}
