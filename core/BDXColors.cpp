#include "core/BDXColors.h"

// Links take the library's primary blue until the palette is themed.
BDXColors::BDXColors() : disclaimerLinkColor_(bdx::gfx::Color::rgba255(29, 130, 220)) {}
