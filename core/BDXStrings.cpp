#include "core/BDXStrings.h"

#include "platform/host/Info.h"

std::string BDXStrings::appName() const {
    auto info = bdx::host::Info::shared();
    std::string name = info->displayName();
    return name.empty() ? info->bundleName() : name;
}
