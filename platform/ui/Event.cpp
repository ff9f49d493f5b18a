#include "platform/ui/Event.h"

#include "foundation/Clock.h"
#include "platform/ui/Touch.h"
#include "platform/ui/Window.h"

namespace bdx::ui {

std::shared_ptr<Event> Event::touchesEvent(TouchList touches) {
    return make("UITouchesEvent", EventType::Touches, EventSubtype::None, std::move(touches));
}

std::shared_ptr<Event> Event::motionEvent(EventSubtype subtype) {
    return make("UIMotionEvent", EventType::Motion, subtype);
}

std::shared_ptr<Event> Event::make(const std::string& className, EventType type, EventSubtype subtype,
                                   TouchList touches) {
    auto event = std::make_shared<Event>(className, "UIEvent");
    event->type_ = type;
    event->subtype_ = subtype;
    event->touches_ = std::move(touches);
    return event;
}

Event::Event(std::string className, std::string_view kindOf)
    : RuntimeObject(std::move(className), kindOf), timestamp_(Clock::current()->monotonicNow()) {}

TouchList Event::touchesForWindow(const Window& window) const {
    TouchList found;
    for (const auto& touch : touches_) {
        if (touch->window().get() == &window) {
            found.push_back(touch);
        }
    }
    return found;
}

TouchList Event::touchesForView(const View& view) const {
    TouchList found;
    for (const auto& touch : touches_) {
        if (touch->view().get() == &view) {
            found.push_back(touch);
        }
    }
    return found;
}

}  // namespace bdx::ui
