// The demo host application: it embeds the library the way a host without an event loop of its own
// does, and shows what the library found around it.
#include <any>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "core/BDXDefaults.h"
#include "core/BrindlexCore.h"
#include "foundation/DispatchQueue.h"
#include "foundation/RunLoop.h"
#include "foundation/Sandbox.h"
#include "platform/Services.h"
#include "platform/host/Info.h"
#include "platform/net/ReachabilityService.h"
#include "platform/ui/Application.h"
#include "platform/ui/Runtime.h"
#include "platform/ui/Screen.h"
#include "platform/ui/Touch.h"
#include "platform/ui/Window.h"

namespace {

// An overlay window of the kind the library puts over its host: it takes only the touches that land
// on its button and lets every other one through to the windows below.
class DemoOverlayWindow : public bdx::ui::Window {
  public:
    DemoOverlayWindow() : Window("DemoOverlayWindow", "UIWindow") {}
    std::shared_ptr<bdx::ui::View> hitTest(bdx::gfx::Point point,
                                           const std::shared_ptr<bdx::ui::Event>& event) override {
        auto hit = Window::hitTest(point, event);
        return hit && button && hit->isDescendantOfView(*button) ? hit : nullptr;
    }
    std::shared_ptr<bdx::ui::View> button;
};

// The host's screen as a toolkit adapter would script it: the application's window with a list row,
// an overlay with a floating button above it, and taps sent through the application's event
// delivery, where the hooks on "sendEvent:" see them. Main thread only, like the UI model.
void scriptTouches() {
    using namespace bdx::ui;
    const auto screen = Screen::mainScreen()->bounds();
    auto appWindow = Window::make(screen, "DemoAppWindow");
    appWindow->addSubview(View::make(bdx::gfx::Rect{0, 100, screen.size.width, 60}, "DemoListRow"));
    appWindow->makeKeyAndVisible();
    auto overlay = std::make_shared<DemoOverlayWindow>();
    overlay->setFrame(screen);
    overlay->setWindowLevel(UIWindowLevelAlert + 2);
    overlay->button =
        View::make(bdx::gfx::Rect{screen.size.width - 62, 400, 58, 58}, "DemoFloatingButton", "UIButton");
    overlay->addSubview(overlay->button);
    overlay->setHidden(false);

    auto runtime = Runtime::shared();
    int eventsSeen = 0;
    auto previous = std::make_shared<Implementation>();
    *previous =
        runtime->replace("UIApplication", "sendEvent:",
                         [&eventsSeen, previous](const std::shared_ptr<RuntimeObject>& self,
                                                 const std::string& selector, const Arguments& arguments) {
                             ++eventsSeen;
                             return (*previous)(self, selector, arguments);
                         });
    std::printf("touches        %s over %s\n", bdx::gfx::NSStringFromCGRect(overlay->frame()).c_str(),
                appWindow->className().c_str());
    for (const bdx::gfx::Point point :
         {bdx::gfx::Point{200, 130}, bdx::gfx::Point{screen.size.width - 33, 429},
          bdx::gfx::Point{200, 600}}) {
        const auto touch = Application::sharedApplication()->tapAtScreenPoint(point);
        std::printf("  tap %-16s -> %s in %s\n", bdx::gfx::NSStringFromCGPoint(point).c_str(),
                    touch->view() ? touch->view()->className().c_str() : "nothing",
                    touch->window() ? touch->window()->className().c_str() : "no window");
    }
    std::printf("  events seen by the application's sendEvent: hook: %d\n", eventsSeen);
    runtime->replace("UIApplication", "sendEvent:", *previous);
    overlay->setHidden(true);
    appWindow->setHidden(true);
}

}  // namespace

int main() {
    if (const char* root = std::getenv("BRINDLEX_SANDBOX")) {
        bdx::Sandbox::setRoot(root);
    }
    bdx::RunLoop::startEmbeddedMainThread();

    // A round trip through the main queue shows that the embedded main thread serves it.
    bool servedOnMain = false;
    bdx::DispatchQueue::main()->sync([&] { servedOnMain = bdx::isMainThread(); });

    const auto sandbox = bdx::Sandbox::current();
    const auto info = bdx::host::Info::shared();
    std::printf("BrindlexCore %s\n", BrindlexCoreVersionString);
    std::printf("sandbox        %s\n", sandbox.root().c_str());
    std::printf("main queue     %s\n", servedOnMain ? "served by the embedded main thread" : "NOT served");
    std::printf("host           %s %s (%s), %s %s on %s\n", info->bundleName().c_str(),
                info->shortVersionString().c_str(), info->bundleIdentifier().c_str(),
                info->systemName().c_str(), info->systemVersion().c_str(), info->model().c_str());
    std::printf("vendor id      %s\n", info->vendorIdentifier().c_str());
    const auto defaults = BDXDefaults::getInstance();
    bdx::net::ReachabilityFlags flags = 0;
    auto target = bdx::net::ReachabilityService::current()->createWithName(defaults->baseURLHost());
    const bool reachable =
        target && target->getFlags(flags) && (flags & bdx::net::ReachabilityFlag::reachable);
    std::printf("service        %s (%s)\n", defaults->baseURL().c_str(),
                reachable ? "reachable" : "not reachable");
    std::printf("services:\n");
    for (const auto& service : bdx::platformServices()) {
        std::printf("  %-26s %s %s\n", service.role.c_str(), service.implementation.c_str(),
                    service.version.c_str());
    }

    bdx::DispatchQueue::main()->sync([] { scriptTouches(); });

    bdx::RunLoop::stopEmbeddedMainThread();
    return servedOnMain ? 0 : 1;
}
