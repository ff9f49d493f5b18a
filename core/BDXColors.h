#pragma once

#include "platform/gfx/Color.h"

// The palette of the library's screens, reached through `colors` of BDXDefaults.
class BDXColors {
  public:
    BDXColors();

    bdx::gfx::Color disclaimerLinkColor() const { return disclaimerLinkColor_; }
    void setDisclaimerLinkColor(const bdx::gfx::Color& color) { disclaimerLinkColor_ = color; }

  private:
    bdx::gfx::Color disclaimerLinkColor_;
};
