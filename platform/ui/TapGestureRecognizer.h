// Public header: installed with the library for hosts to include.
#pragma once

#include "platform/ui/GestureRecognizer.h"

namespace bdx::ui {

// A tap recognizer and the taps and touches it needs.
class TapGestureRecognizer : public GestureRecognizer {
  public:
    explicit TapGestureRecognizer(std::string className = "UITapGestureRecognizer",
                                  std::string_view kindOf = "UITapGestureRecognizer")
        : GestureRecognizer(std::move(className), kindOf) {}

    unsigned long numberOfTapsRequired() const { return tapsRequired_; }
    void setNumberOfTapsRequired(unsigned long taps) { tapsRequired_ = taps; }
    unsigned long numberOfTouchesRequired() const { return touchesRequired_; }
    void setNumberOfTouchesRequired(unsigned long touches) { touchesRequired_ = touches; }

  private:
    unsigned long tapsRequired_ = 1;
    unsigned long touchesRequired_ = 1;
};

}  // namespace bdx::ui
