#pragma once

#include <cstddef>
#include <cstdint>

namespace bdx::host {

// Fills `out` with `count` bytes from the system's cryptographic generator, for identifiers that must
// not repeat across devices and launches. False (logged) when the generator failed; `out` is then
// zero-filled.
bool randomBytes(std::uint8_t* out, std::size_t count);

}  // namespace bdx::host
