// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>

#include "platform/gfx/Geometry.h"

namespace bdx::ui {

// The main screen: its size in points, its scale (pixels per point) and native scale. The fixed
// coordinate space is the portrait one; `bounds` turns with the interface, as on the platform
// (width and height swap while the status bar is in a landscape orientation). Setting the scale
// also sets the scale that image contexts opened with scale 0 use.
//
// Main thread only, like the rest of the model.
class Screen {
  public:
    static std::shared_ptr<Screen> mainScreen();
    // Drops the shared instance and puts the drawing scale back to 1 (tests).
    static void destroy();

    Screen();

    gfx::Rect bounds() const;
    gfx::Rect fixedCoordinateSpaceBounds() const { return {{0, 0}, size_}; }
    // The portrait size in points.
    void setSize(gfx::Size size) { size_ = size; }
    double scale() const { return scale_; }
    void setScale(double scale);
    // The scale the panel really has (below `scale` while the display is zoomed); `scale` until set.
    double nativeScale() const { return nativeScale_ > 0 ? nativeScale_ : scale_; }
    void setNativeScale(double scale) { nativeScale_ = scale; }

  private:
    gfx::Size size_{390, 844};
    double scale_ = 1;
    double nativeScale_ = 0;
};

}  // namespace bdx::ui
