// Public header: installed with the library for hosts to include.
#pragma once

#include "platform/ui/Control.h"

namespace bdx::ui {

// An on/off switch.
class Switch : public Control {
  public:
    explicit Switch(std::string className = "UISwitch", std::string_view kindOf = "UISwitch")
        : Control(std::move(className), kindOf) {}

    bool isOn() const { return on_; }
    void setOn(bool on) { on_ = on; }

  private:
    bool on_ = false;
};

}  // namespace bdx::ui
