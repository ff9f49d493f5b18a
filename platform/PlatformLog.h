#pragma once

#include <string_view>

namespace bdx {

// One diagnostic line from the platform layer ("BrindlexCore <area>: <message>" on standard error).
// Platform code never throws at the host; what goes wrong is told here and the call gives an empty
// result. Safe from any thread.
void platformLog(std::string_view area, std::string_view message);

}  // namespace bdx
