#include "platform/ui/GestureRecognizer.h"

#include <algorithm>

#include "platform/ui/PanGestureRecognizer.h"
#include "platform/ui/Runtime.h"
#include "platform/ui/TapGestureRecognizer.h"
#include "platform/ui/Touch.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"

namespace bdx::ui {

std::shared_ptr<GestureRecognizer> GestureRecognizer::make(const std::string& className,
                                                           const std::string& kindOf) {
    auto runtime = Runtime::shared();
    if (!runtime->isClassRegistered(className)) {
        runtime->registerClass(className, kindOf.empty() ? "UIGestureRecognizer" : kindOf);
    }
    if (runtime->isSubclassOf(className, "UIPanGestureRecognizer")) {
        return std::make_shared<PanGestureRecognizer>(className);
    }
    if (runtime->isSubclassOf(className, "UITapGestureRecognizer")) {
        return std::make_shared<TapGestureRecognizer>(className);
    }
    return std::make_shared<GestureRecognizer>(className);
}

GestureRecognizer::GestureRecognizer(std::string className, std::string_view kindOf)
    : RuntimeObject(std::move(className), kindOf) {}

void GestureRecognizer::setState(GestureRecognizerState state) {
    state_ = state;
    switch (state) {
        case GestureRecognizerState::Began:
        case GestureRecognizerState::Changed:
        case GestureRecognizerState::Ended:
        case GestureRecognizerState::Cancelled: {
            auto self = std::static_pointer_cast<GestureRecognizer>(shared_from_this());
            // A copy: an action may add actions.
            for (const auto& action : std::vector(actions_)) {
                action(self);
            }
            break;
        }
        case GestureRecognizerState::Possible:
        case GestureRecognizerState::Failed:
            break;
    }
}

void GestureRecognizer::setEnabled(bool enabled) {
    if (enabled_ == enabled) {
        return;
    }
    enabled_ = enabled;
    if (!enabled && (state_ == GestureRecognizerState::Began || state_ == GestureRecognizerState::Changed)) {
        setState(GestureRecognizerState::Cancelled);
    }
}

gfx::Point GestureRecognizer::locationInView(const std::shared_ptr<View>& view) const {
    double x = 0;
    double y = 0;
    int count = 0;
    for (const auto& weak : touches_) {
        if (auto touch = weak.lock()) {
            const auto p = touch->locationInView(view);
            x += p.x;
            y += p.y;
            ++count;
        }
    }
    if (count > 0) {
        return {x / count, y / count};
    }
    auto window = lastWindow_.lock();
    if (!view || !window) {
        return lastLocationInWindow_;
    }
    return view->convertPointFromView(lastLocationInWindow_, window);
}

void GestureRecognizer::requireGestureRecognizerToFail(const std::shared_ptr<GestureRecognizer>& other) {
    if (other && other.get() != this) {
        failureRequirements_.push_back(other);
    }
}

std::vector<std::shared_ptr<GestureRecognizer>> GestureRecognizer::failureRequirements() const {
    std::vector<std::shared_ptr<GestureRecognizer>> required;
    for (const auto& weak : failureRequirements_) {
        if (auto other = weak.lock()) {
            required.push_back(std::move(other));
        }
    }
    return required;
}

void GestureRecognizer::touchesBegan(const TouchList& touches, const std::shared_ptr<Event>&) {
    if (state_ == GestureRecognizerState::Ended || state_ == GestureRecognizerState::Cancelled ||
        state_ == GestureRecognizerState::Failed) {
        reset();
    }
    std::erase_if(touches_, [](const std::weak_ptr<Touch>& weak) { return weak.expired(); });
    for (const auto& touch : touches) {
        touches_.push_back(touch);
    }
    numberOfTouches_ = touches_.size();
}

void GestureRecognizer::touchesMoved(const TouchList&, const std::shared_ptr<Event>&) {}

void GestureRecognizer::touchesEnded(const TouchList& touches, const std::shared_ptr<Event>&) {
    forget(touches);
}

void GestureRecognizer::touchesCancelled(const TouchList& touches, const std::shared_ptr<Event>&) {
    forget(touches);
}

void GestureRecognizer::reset() {
    state_ = GestureRecognizerState::Possible;
}

void GestureRecognizer::forget(const TouchList& touches) {
    for (const auto& touch : touches) {
        lastLocationInWindow_ = touch->locationInView(nullptr);
        lastWindow_ = touch->window();
        std::erase_if(touches_, [&](const std::weak_ptr<Touch>& weak) {
            auto held = weak.lock();
            return !held || held == touch;
        });
    }
    // The count of the gesture that just ended stays readable until the next one starts.
}

}  // namespace bdx::ui
