// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/gfx/Geometry.h"
#include "platform/ui/RuntimeObject.h"

namespace bdx::ui {

class GestureRecognizer;
class View;
class Window;

// The platform's touch phases and their values.
enum class TouchPhase { Began = 0, Moved = 1, Stationary = 2, Ended = 3, Cancelled = 4 };

// One finger on the screen, from the moment it goes down until it lifts: its phase, the window and
// view it went down in, the gesture recognizers that follow it, and where it is. The same object
// lives through the whole sequence, as on the platform.
//
// Main thread only, like the rest of the model.
class Touch : public RuntimeObject {
  public:
    // A finger going down at a point of the window (window coordinates). The view is found by
    // hit-testing the window; the gesture recognizers are the enabled ones of that view and of its
    // ancestors, nearest first.
    static std::shared_ptr<Touch> began(const std::shared_ptr<Window>& window, gfx::Point locationInWindow);

    // A finger going down at a point of the screen, in the window and view that
    // Application::hitTestScreenPoint finds there (through the windows that let it pass); with no
    // window taking it, the touch has neither, and goes nowhere when sent.
    static std::shared_ptr<Touch> beganOnScreen(gfx::Point locationOnScreen);

    explicit Touch(std::string className = "UITouch", std::string_view kindOf = "UITouch");

    TouchPhase phase() const { return phase_; }
    void setPhase(TouchPhase phase);
    // The finger moved to a point of its window: phase Moved.
    void moveTo(gfx::Point locationInWindow);
    // The same, to a point of the screen.
    void moveOnScreenTo(gfx::Point locationOnScreen);
    // The finger lifted (phase Ended), or the system took the touch away (phase Cancelled).
    void end() { setPhase(TouchPhase::Ended); }
    void cancel() { setPhase(TouchPhase::Cancelled); }

    std::shared_ptr<View> view() const { return view_; }
    void setView(std::shared_ptr<View> view) { view_ = std::move(view); }
    std::shared_ptr<Window> window() const { return window_; }
    const std::vector<std::shared_ptr<GestureRecognizer>>& gestureRecognizers() const { return recognizers_; }
    void setGestureRecognizers(std::vector<std::shared_ptr<GestureRecognizer>> recognizers) {
        recognizers_ = std::move(recognizers);
    }
    unsigned long tapCount() const { return tapCount_; }
    void setTapCount(unsigned long count) { tapCount_ = count; }
    // Seconds on the monotonic clock of the last change.
    double timestamp() const { return timestamp_; }

    // Where the touch is (or was before its last move), in the view's coordinates; a null view stands
    // for the touch's window.
    gfx::Point locationInView(const std::shared_ptr<View>& view) const;
    gfx::Point previousLocationInView(const std::shared_ptr<View>& view) const;

  private:
    static std::shared_ptr<Touch> make(const std::shared_ptr<Window>& window, std::shared_ptr<View> view,
                                       gfx::Point locationInWindow);
    gfx::Point inView(gfx::Point locationInWindow, const std::shared_ptr<View>& view) const;

    TouchPhase phase_ = TouchPhase::Began;
    std::shared_ptr<Window> window_;
    std::shared_ptr<View> view_;
    std::vector<std::shared_ptr<GestureRecognizer>> recognizers_;
    gfx::Point location_;
    gfx::Point previousLocation_;
    unsigned long tapCount_ = 1;
    double timestamp_ = 0;
};

}  // namespace bdx::ui
