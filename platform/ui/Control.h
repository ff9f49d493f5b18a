// Public header: installed with the library for hosts to include.
#pragma once

#include "platform/ui/View.h"

namespace bdx::ui {

// A control: a view with the enabled, selected and highlighted states of the platform's controls.
class Control : public View {
  public:
    explicit Control(std::string className = "UIControl", std::string_view kindOf = "UIControl")
        : View(std::move(className), kindOf) {}

    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled) { enabled_ = enabled; }
    bool isSelected() const { return selected_; }
    void setSelected(bool selected) { selected_ = selected; }
    bool isHighlighted() const { return highlighted_; }
    void setHighlighted(bool highlighted) { highlighted_ = highlighted; }

  private:
    bool enabled_ = true;
    bool selected_ = false;
    bool highlighted_ = false;
};

}  // namespace bdx::ui
