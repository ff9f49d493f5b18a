#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/ui/Application.h"
#include "platform/ui/Device.h"
#include "platform/ui/Event.h"
#include "platform/ui/Runtime.h"
#include "platform/ui/Screen.h"
#include "platform/ui/Touch.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"

namespace bdx::ui::testing {

// Tests of the model. Each starts from a fresh application, screen, device and method table: the
// test main drops every singleton after each test.
class UiModelTest : public ::testing::Test {
  protected:
    // A visible key window over the whole default screen.
    static std::shared_ptr<Window> keyWindow() {
        auto window = Window::make(Screen::mainScreen()->bounds());
        window->makeKeyAndVisible();
        return window;
    }
};

// A view that records the touches that begin and end on it, and motion.
class RecordingView : public View {
  public:
    explicit RecordingView(std::string className = "RecordingView", std::string_view kindOf = "UIView")
        : View(std::move(className), kindOf) {}

    void touchesBegan(const TouchList& touches, const std::shared_ptr<Event>&) override {
        record("began", touches);
    }
    void touchesEnded(const TouchList& touches, const std::shared_ptr<Event>&) override {
        record("ended", touches);
    }
    void motionEnded(const std::shared_ptr<Event>&) override { log.push_back("motion"); }

    std::vector<std::string> log;

  private:
    void record(const std::string& phase, const TouchList& touches) {
        log.push_back(phase + ":" + std::to_string(touches.size()));
    }
};

}  // namespace bdx::ui::testing
