#pragma once

// The images and files the library ships with, reached through `resources` of BDXDefaults.
class BDXResources {
  public:
    BDXResources() = default;
};
