#include "platform/ui/Responder.h"

#include <any>

#include "platform/ui/Application.h"
#include "platform/ui/Runtime.h"

namespace bdx::ui {

namespace {

bool answeredTrue(const std::any& result) {
    const bool* value = std::any_cast<bool>(&result);
    return value && *value;
}

}  // namespace

bool Responder::becomeFirstResponder() {
    return answeredTrue(Runtime::shared()->send(shared_from_this(), "becomeFirstResponder"));
}

bool Responder::resignFirstResponder() {
    return answeredTrue(Runtime::shared()->send(shared_from_this(), "resignFirstResponder"));
}

bool Responder::isFirstResponder() const {
    return Application::sharedApplication()->firstResponder().get() == this;
}

void Responder::touchesBegan(const TouchList& touches, const std::shared_ptr<Event>& event) {
    if (auto next = nextResponder()) {
        next->touchesBegan(touches, event);
    }
}

void Responder::touchesMoved(const TouchList& touches, const std::shared_ptr<Event>& event) {
    if (auto next = nextResponder()) {
        next->touchesMoved(touches, event);
    }
}

void Responder::touchesEnded(const TouchList& touches, const std::shared_ptr<Event>& event) {
    if (auto next = nextResponder()) {
        next->touchesEnded(touches, event);
    }
}

void Responder::touchesCancelled(const TouchList& touches, const std::shared_ptr<Event>& event) {
    if (auto next = nextResponder()) {
        next->touchesCancelled(touches, event);
    }
}

void Responder::motionEnded(const std::shared_ptr<Event>& event) {
    if (auto next = nextResponder()) {
        next->motionEnded(event);
    }
}

void Responder::installDefaultMethods(Runtime& runtime) {
    runtime.addMethod(
        "UIResponder", "becomeFirstResponder",
        [](const std::shared_ptr<RuntimeObject>& self, const std::string&, const Arguments&) {
            auto responder = std::dynamic_pointer_cast<Responder>(self);
            if (!responder || !responder->canBecomeFirstResponder() || !responder->canTakeFocusNow()) {
                return std::any(false);
            }
            auto application = Application::sharedApplication();
            auto current = application->firstResponder();
            if (current == responder) {
                return std::any(true);
            }
            if (current && !current->resignFirstResponder()) {
                return std::any(false);
            }
            application->setFirstResponder(responder);
            return std::any(true);
        });
    runtime.addMethod("UIResponder", "resignFirstResponder",
                      [](const std::shared_ptr<RuntimeObject>& self, const std::string&, const Arguments&) {
                          auto responder = std::dynamic_pointer_cast<Responder>(self);
                          if (!responder || !responder->canResignFirstResponder()) {
                              return std::any(false);
                          }
                          auto application = Application::sharedApplication();
                          if (application->firstResponder() == responder) {
                              application->setFirstResponder(nullptr);
                          }
                          return std::any(true);
                      });
}

}  // namespace bdx::ui
