#include "platform/ui/Touch.h"

#include <optional>

#include "foundation/Clock.h"
#include "platform/ui/Application.h"
#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/Window.h"

namespace bdx::ui {

std::shared_ptr<Touch> Touch::began(const std::shared_ptr<Window>& window, gfx::Point locationInWindow) {
    return make(window, window ? window->hitTest(locationInWindow, nullptr) : nullptr, locationInWindow);
}

std::shared_ptr<Touch> Touch::beganOnScreen(gfx::Point locationOnScreen) {
    auto hit = Application::sharedApplication()->hitTestScreenPoint(locationOnScreen);
    return make(hit.window, std::move(hit.view), hit.window ? hit.locationInWindow : locationOnScreen);
}

std::shared_ptr<Touch> Touch::make(const std::shared_ptr<Window>& window, std::shared_ptr<View> view,
                                   gfx::Point locationInWindow) {
    auto touch = std::make_shared<Touch>();
    touch->window_ = window;
    touch->view_ = std::move(view);
    touch->location_ = touch->previousLocation_ = locationInWindow;
    for (auto v = touch->view_; v; v = v->superview()) {
        for (const auto& recognizer : v->gestureRecognizers()) {
            if (recognizer->isEnabled()) {
                touch->recognizers_.push_back(recognizer);
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

void Touch::moveOnScreenTo(gfx::Point locationOnScreen) {
    const auto local = window_ ? window_->convertPointFromScreen(locationOnScreen) : std::nullopt;
    // A window scaled to nothing since the touch began has no point there: the touch stays put.
    moveTo(local.value_or(window_ ? location_ : locationOnScreen));
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
