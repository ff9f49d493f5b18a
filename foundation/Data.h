// Public header: installed with the library for hosts to include.
#pragma once

#include <cstdint>
#include <vector>

namespace bdx {
// Bytes. Where "no data" differs from "empty data", the API says std::optional<Data>.
using Data = std::vector<std::uint8_t>;
}  // namespace bdx
