// Public header: installed with the library for hosts to include.
#pragma once

#include "platform/ui/GestureRecognizer.h"

namespace bdx::ui {

// A pan recognizer and its translation, kept in window coordinates and read in any view's.
class PanGestureRecognizer : public GestureRecognizer {
  public:
    explicit PanGestureRecognizer(std::string className = "UIPanGestureRecognizer",
                                  std::string_view kindOf = "UIPanGestureRecognizer")
        : GestureRecognizer(std::move(className), kindOf) {}

    gfx::Point translationInView(const std::shared_ptr<View>& view) const;
    void setTranslation(gfx::Point translation, const std::shared_ptr<View>& view);

  private:
    gfx::Point translationInWindow_;
};

}  // namespace bdx::ui
