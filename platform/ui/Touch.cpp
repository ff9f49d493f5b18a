#include "platform/ui/Touch.h"

#include "foundation/Clock.h"
#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/Window.h"

namespace bdx::ui {

std::shared_ptr<Touch> Touch::began(const std::shared_ptr<Window>& window, gfx::Point locationInWindow) {
    auto touch = std::make_shared<Touch>();
    touch->window_ = window;
    touch->location_ = touch->previousLocation_ = locationInWindow;
    if (window) {
        touch->view_ = window->hitTest(locationInWindow, nullptr);
        for (auto view = touch->view_; view; view = view->superview()) {
            for (const auto& recognizer : view->gestureRecognizers()) {
                if (recognizer->isEnabled()) {
                    touch->recognizers_.push_back(recognizer);
                }
            }
        }
    }
    return touch;
}

Touch::Touch(std::string className, std::string_view kindOf)
    : RuntimeObject(std::move(className), kindOf), timestamp_(Clock::current()->monotonicNow()) {}

void Touch::setPhase(TouchPhase phase) {
    phase_ = phase;
    timestamp_ = Clock::current()->monotonicNow();
}

void Touch::moveTo(gfx::Point locationInWindow) {
    previousLocation_ = location_;
    location_ = locationInWindow;
    setPhase(TouchPhase::Moved);
}

gfx::Point Touch::inView(gfx::Point locationInWindow, const std::shared_ptr<View>& view) const {
    if (!view || !window_) {
        return locationInWindow;
    }
    return view->convertPointFromView(locationInWindow, window_);
}

gfx::Point Touch::locationInView(const std::shared_ptr<View>& view) const {
    return inView(location_, view);
}

gfx::Point Touch::previousLocationInView(const std::shared_ptr<View>& view) const {
    return inView(previousLocation_, view);
}

}  // namespace bdx::ui
