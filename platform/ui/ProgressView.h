// Public header: installed with the library for hosts to include.
#pragma once

#include <algorithm>

#include "platform/ui/View.h"

namespace bdx::ui {

// A progress bar and its progress, from 0 to 1.
class ProgressView : public View {
  public:
    explicit ProgressView(std::string className = "UIProgressView",
                          std::string_view kindOf = "UIProgressView")
        : View(std::move(className), kindOf) {}

    float progress() const { return progress_; }
    void setProgress(float progress) { progress_ = std::clamp(progress, 0.0f, 1.0f); }

  private:
    float progress_ = 0;
};

}  // namespace bdx::ui
