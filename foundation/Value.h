// Public header: installed with the library for hosts to include.
#pragma once

// The dictionary/array/number/string type of records, payloads and settings. Key order is insertion
// order, so a payload goes on the wire in the order it was built. Only the forward declaration is
// included here to keep the heavy JSON header out of widely included headers; a source that works
// with values includes <nlohmann/json.hpp>.
#include <nlohmann/json_fwd.hpp>

namespace bdx {
using Value = nlohmann::ordered_json;
}  // namespace bdx
