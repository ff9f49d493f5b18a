#pragma once

// The texts of the library's screens, reached through `strings` of BDXDefaults.
class BDXStrings {
  public:
    BDXStrings() = default;
};
