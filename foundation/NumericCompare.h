#pragma once

#include <string_view>

namespace bdx {

// Compares two texts as the platform's numeric string search does: runs of digits compare by their
// value ("10.0" after "9.3", "1.10" after "1.9"), everything else character by character, and a text
// that is a prefix of the other comes first ("10" before "10.0"). Returns -1, 0 or 1.
int compareNumerically(std::string_view left, std::string_view right);

}  // namespace bdx
