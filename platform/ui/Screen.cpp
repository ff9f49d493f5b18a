#include "platform/ui/Screen.h"

#include "foundation/Singleton.h"
#include "platform/PlatformLog.h"
#include "platform/gfx/ImageContext.h"
#include "platform/ui/Application.h"

namespace bdx::ui {

std::shared_ptr<Screen> Screen::mainScreen() {
    return Singleton<Screen>::holder().get([] {
        // Drawing falls back to scale 1 once the screen is gone.
        registerSingletonReset([] { gfx::setMainScreenScale(1); });
        return std::make_shared<Screen>();
    });
}

void Screen::destroy() {
    Singleton<Screen>::holder().destroy();
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
