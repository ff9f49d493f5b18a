// Public header: installed with the library for hosts to include.
#pragma once

#include <optional>
#include <string>

#include "platform/ui/Control.h"

namespace bdx::ui {

// A button and the title it shows (nothing until set).
class Button : public Control {
  public:
    explicit Button(std::string className = "UIButton", std::string_view kindOf = "UIButton")
        : Control(std::move(className), kindOf) {}

    const std::optional<std::string>& currentTitle() const { return title_; }
    void setTitle(std::optional<std::string> title) { title_ = std::move(title); }

  private:
    std::optional<std::string> title_;
};

}  // namespace bdx::ui
