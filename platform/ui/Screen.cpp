#include "platform/ui/Screen.h"

#include "foundation/SingletonReset.h"
#include "platform/PlatformLog.h"
#include "platform/gfx/ImageContext.h"
#include "platform/ui/Application.h"

namespace bdx::ui {

namespace {

std::shared_ptr<Screen>& sharedScreen() {
    static std::shared_ptr<Screen> screen;
    return screen;
}

}  // namespace

std::shared_ptr<Screen> Screen::mainScreen() {
    auto& screen = sharedScreen();
    if (!screen) {
        screen = std::make_shared<Screen>();
        registerSingletonReset(&Screen::reset);
    }
    return screen;
}

void Screen::reset() {
    sharedScreen().reset();
    gfx::setMainScreenScale(1);
}

Screen::Screen() {
    gfx::setMainScreenScale(scale_);
}

gfx::Rect Screen::bounds() const {
    const auto orientation = Application::sharedApplication()->statusBarOrientation();
    if (orientation == InterfaceOrientation::LandscapeLeft ||
        orientation == InterfaceOrientation::LandscapeRight) {
        return {0, 0, size_.height, size_.width};
    }
    return {{0, 0}, size_};
}

void Screen::setScale(double scale) {
    if (!(scale > 0)) {
        platformLog("ui", "a screen scale must be above 0");
        return;
    }
    scale_ = scale;
    gfx::setMainScreenScale(scale);
}

}  // namespace bdx::ui
