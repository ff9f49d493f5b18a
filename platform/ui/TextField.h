// Public header: installed with the library for hosts to include.
#pragma once

#include <optional>
#include <string>

#include "platform/ui/Control.h"

namespace bdx::ui {

// A one-line text input. It takes the focus while enabled.
class TextField : public Control {
  public:
    explicit TextField(std::string className = "UITextField", std::string_view kindOf = "UITextField")
        : Control(std::move(className), kindOf) {}

    const std::string& text() const { return text_; }
    void setText(std::string text) { text_ = std::move(text); }
    const std::optional<std::string>& placeholder() const { return placeholder_; }
    void setPlaceholder(std::optional<std::string> placeholder) { placeholder_ = std::move(placeholder); }
    bool isSecureTextEntry() const { return secure_; }
    void setSecureTextEntry(bool secure) { secure_ = secure; }

    bool canBecomeFirstResponder() const override { return isEnabled(); }

  private:
    std::string text_;
    std::optional<std::string> placeholder_;
    bool secure_ = false;
};

}  // namespace bdx::ui
