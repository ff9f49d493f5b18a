#pragma once

#include <string>

// The texts of the library's screens, reached through `strings` of BDXDefaults.
class BDXStrings {
  public:
    BDXStrings() = default;

    // The host's display name ("CFBundleDisplayName"), or its bundle name when it has none.
    std::string appName() const;
};
