// Public header: installed with the library for hosts to include.
#pragma once

#include <string>

#include "platform/ui/ScrollView.h"

namespace bdx::ui {

// A multi-line text view; it takes the focus while editable.
class TextView : public ScrollView {
  public:
    explicit TextView(std::string className = "UITextView", std::string_view kindOf = "UITextView")
        : ScrollView(std::move(className), kindOf) {}

    const std::string& text() const { return text_; }
    void setText(std::string text) { text_ = std::move(text); }
    bool isEditable() const { return editable_; }
    void setEditable(bool editable) { editable_ = editable; }

    bool canBecomeFirstResponder() const override { return editable_; }

  private:
    std::string text_;
    bool editable_ = true;
};

}  // namespace bdx::ui
