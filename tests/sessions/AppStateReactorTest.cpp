#include "sessions/BDXAppStateReactor.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/ui/Application.h"

namespace {

class CountingDelegate : public BDXAppStateReactorDelegate {
  public:
    void didReceiveStateChange() override { ++changes; }
    int changes = 0;
};

struct LifeCycleStep {
    std::string name;
    std::function<void(bdx::ui::Application&)> post;
    int expectedChanges;
};

}  // namespace

TEST(AppStateReactor, ForwardsOnlyTheThreeLeavingNotifications) {
    const LifeCycleStep steps[] = {
        {"resign active", [](auto& app) { app.resignActive(); }, 1},
        {"enter background", [](auto& app) { app.enterBackground(); }, 1},
        {"terminate", [](auto& app) { app.terminate(); }, 1},
        {"become active", [](auto& app) { app.becomeActive(); }, 0},
        {"enter foreground", [](auto& app) { app.enterForeground(); }, 0},
        {"memory warning", [](auto& app) { app.receiveMemoryWarning(); }, 0},
    };
    auto application = bdx::ui::Application::sharedApplication();
    for (const auto& step : steps) {
        auto delegate = std::make_shared<CountingDelegate>();
        BDXAppStateReactor reactor;
        reactor.setDelegate(delegate);
        step.post(*application);
        EXPECT_EQ(step.expectedChanges, delegate->changes) << step.name;
    }
}

TEST(AppStateReactor, SilentOnceGoneAndHoldsItsDelegateWeakly) {
    auto application = bdx::ui::Application::sharedApplication();
    auto delegate = std::make_shared<CountingDelegate>();
    {
        BDXAppStateReactor reactor;
        reactor.setDelegate(delegate);
        application->enterBackground();
        EXPECT_EQ(1, delegate->changes);
    }
    application->enterBackground();
    EXPECT_EQ(1, delegate->changes) << "a reactor that is gone observes nothing";

    BDXAppStateReactor reactor;
    auto shortLived = std::make_shared<CountingDelegate>();
    reactor.setDelegate(shortLived);
    EXPECT_EQ(1, shortLived.use_count()) << "the reactor does not own its delegate";
    shortLived.reset();
    EXPECT_EQ(nullptr, reactor.delegate());
    application->terminate();  // no delegate left: nothing to call, nothing to crash
}
