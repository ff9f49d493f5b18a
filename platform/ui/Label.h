// Public header: installed with the library for hosts to include.
#pragma once

#include <optional>
#include <string>

#include "platform/ui/View.h"

namespace bdx::ui {

// A label and its text; nothing (nil) until set, which is not the same as an empty text.
class Label : public View {
  public:
    explicit Label(std::string className = "UILabel", std::string_view kindOf = "UILabel")
        : View(std::move(className), kindOf) {}

    const std::optional<std::string>& text() const { return text_; }
    void setText(std::optional<std::string> text) { text_ = std::move(text); }

  private:
    std::optional<std::string> text_;
};

}  // namespace bdx::ui
