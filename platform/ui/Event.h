// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/ui/Responder.h"
#include "platform/ui/RuntimeObject.h"

namespace bdx::ui {

class View;
class Window;

// The platform's event types and subtypes and their values.
enum class EventType { Touches = 0, Motion = 1, RemoteControl = 2, Presses = 3 };
enum class EventSubtype { None = 0, MotionShake = 1 };

// An event the application sends to its windows: its class name ("UITouchesEvent", "UIMotionEvent",
// or one a host scripts, such as "UIInternalEvent"), type, subtype and touches.
//
// Main thread only, like the rest of the model.
class Event : public RuntimeObject {
  public:
    static std::shared_ptr<Event> touchesEvent(TouchList touches);
    static std::shared_ptr<Event> motionEvent(EventSubtype subtype = EventSubtype::MotionShake);
    // An event of any class (registered as a kind of "UIEvent" when new).
    static std::shared_ptr<Event> make(const std::string& className, EventType type,
                                       EventSubtype subtype = EventSubtype::None, TouchList touches = {});

    explicit Event(std::string className = "UIEvent", std::string_view kindOf = "UIEvent");

    EventType type() const { return type_; }
    EventSubtype subtype() const { return subtype_; }
    const TouchList& allTouches() const { return touches_; }
    void setTouches(TouchList touches) { touches_ = std::move(touches); }
    TouchList touchesForWindow(const Window& window) const;
    TouchList touchesForView(const View& view) const;
    // Seconds on the monotonic clock when the event was made.
    double timestamp() const { return timestamp_; }

  private:
    EventType type_ = EventType::Touches;
    EventSubtype subtype_ = EventSubtype::None;
    TouchList touches_;
    double timestamp_ = 0;
};

}  // namespace bdx::ui
