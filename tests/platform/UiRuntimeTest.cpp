#include <gtest/gtest.h>

#include <any>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/ui/Label.h"
#include "platform/ui/NavigationController.h"
#include "platform/ui/Runtime.h"
#include "platform/ui/ScrollView.h"
#include "platform/ui/ViewController.h"
#include "tests/platform/UiTestSupport.h"

namespace bdx::ui {
namespace {

using testing::RecordingView;

class UiRuntimeTest : public testing::UiModelTest {};

// A tap on a recording view in a key window: the event to send, and the view it reaches.
struct Tap {
    std::shared_ptr<Window> window;
    std::shared_ptr<RecordingView> view;
    std::shared_ptr<Event> event;
};

Tap tapInKeyWindow() {
    Tap tap;
    tap.window = Window::make({0, 0, 200, 200});
    tap.window->makeKeyAndVisible();
    tap.view = std::make_shared<RecordingView>();
    tap.view->setFrame({50, 50, 100, 100});
    tap.window->addSubview(tap.view);
    tap.event = Event::touchesEvent({Touch::began(tap.window, {60, 60})});
    return tap;
}

TEST_F(UiRuntimeTest, KindsFollowTheClassChainOfEveryObject) {
    auto runtime = Runtime::shared();
    EXPECT_EQ(runtime->classChain("UITableView"),
              (std::vector<std::string>{"UITableView", "UIScrollView", "UIView", "UIResponder", "NSObject"}));

    auto table = View::make("MyFeedTable", "UITableView");
    EXPECT_TRUE(table->isKindOf("UITableView"));
    EXPECT_TRUE(table->isKindOf("UIScrollView"));
    EXPECT_TRUE(table->isKindOf("UIView"));
    EXPECT_FALSE(table->isKindOf("UILabel"));
    EXPECT_TRUE(table->isMemberOf("MyFeedTable"));
    EXPECT_FALSE(table->isMemberOf("UITableView"));
    EXPECT_EQ(table->superclassName(), "UITableView");
    // The object made is the model type of the nearest platform kind.
    EXPECT_NE(std::dynamic_pointer_cast<ScrollView>(table), nullptr);
    EXPECT_NE(std::dynamic_pointer_cast<Window>(View::make("MyOverlayWindow", "UIWindow")), nullptr);
    EXPECT_NE(std::dynamic_pointer_cast<NavigationController>(
                  ViewController::make("MyNav", "UINavigationController")),
              nullptr);
}

TEST_F(UiRuntimeTest, ClassTableRefusesConflictsAndTellsHostClassesFromSystemOnes) {
    // Classes are never unloaded: a name is new only the first time the process sees it.
    auto runtime = Runtime::shared();
    const bool wasKnown = runtime->isClassRegistered("ProfileHeaderView");
    EXPECT_NE(runtime->registerClass("ProfileHeaderView", "UIView"), wasKnown);
    // A name keeps its first superclass; an unknown superclass is refused.
    EXPECT_FALSE(runtime->registerClass("ProfileHeaderView", "UILabel"));
    EXPECT_EQ(runtime->superclassOf("ProfileHeaderView"), "UIView");
    EXPECT_FALSE(runtime->registerClass("Orphan", "NoSuchClass"));
    EXPECT_FALSE(runtime->isClassRegistered("Orphan"));

    EXPECT_TRUE(runtime->isUserDefined("ProfileHeaderView"));
    EXPECT_FALSE(runtime->isUserDefined("UILabel"));
    runtime->registerClass("UIKeyboardLayoutStar", "UIView");
    runtime->registerClass("_UISystemGestureGateGestureRecognizer", "UIGestureRecognizer");
    EXPECT_FALSE(runtime->isUserDefined("UIKeyboardLayoutStar"));
    EXPECT_FALSE(runtime->isUserDefined("_UISystemGestureGateGestureRecognizer"));
    // The registering side may say otherwise.
    runtime->registerClass("ThirdPartyBadgeView", "UIView", false);
    EXPECT_FALSE(runtime->isUserDefined("ThirdPartyBadgeView"));
}

TEST_F(UiRuntimeTest, MethodsAreFoundThroughTheSuperclassChain) {
    auto runtime = Runtime::shared();
    runtime->registerClass("MyWindow", "UIWindow");
    auto method = runtime->instanceMethod("MyWindow", "sendEvent:");
    ASSERT_TRUE(method.has_value());
    EXPECT_EQ(method->className, "UIWindow");
    EXPECT_EQ(runtime->instanceMethod("UIApplication", "sendEvent:")->className, "UIApplication");
    EXPECT_FALSE(runtime->instanceMethod("UILabel", "sendEvent:").has_value());
    EXPECT_TRUE(runtime->respondsToSelector("MyWindow", "becomeKeyWindow"));
    EXPECT_TRUE(runtime->respondsToSelector("UILabel", "resignFirstResponder"));
    EXPECT_FALSE(runtime->respondsToSelector("UILabel", "becomeKeyWindow"));

    // A subclass's own method wins for it, and can still reach its superclass's.
    std::vector<std::string> calls;
    auto inherited = runtime->implementation(*runtime->instanceMethod("UIWindow", "becomeKeyWindow"));
    EXPECT_TRUE(runtime->addMethod("MyWindow", "becomeKeyWindow",
                                   [&](const auto& self, const std::string& selector, const Arguments& args) {
                                       calls.push_back("MyWindow");
                                       return inherited(self, selector, args);
                                   }));
    EXPECT_FALSE(runtime->addMethod("MyWindow", "becomeKeyWindow", {}));
    auto mine = Window::make({0, 0, 10, 10}, "MyWindow");
    auto plain = Window::make({0, 0, 10, 10});
    plain->makeKeyAndVisible();
    mine->makeKeyAndVisible();
    EXPECT_EQ(calls, std::vector<std::string>{"MyWindow"});
    EXPECT_TRUE(mine->isKeyWindow());
}

TEST_F(UiRuntimeTest, ReplacedSendEventThatCallsThePreviousOneDeliversExactlyOnce) {
    auto runtime = Runtime::shared();
    auto tap = tapInKeyWindow();
    std::vector<std::shared_ptr<Event>> seen;
    std::shared_ptr<Implementation> previous = std::make_shared<Implementation>();
    *previous = runtime->replace(
        "UIApplication", "sendEvent:",
        [&seen, previous](const auto& self, const std::string& selector, const Arguments& args) {
            seen.push_back(std::any_cast<std::shared_ptr<Event>>(args.at(0)));
            return (*previous)(self, selector, args);
        });
    ASSERT_TRUE(*previous);

    Application::sharedApplication()->sendEvent(tap.event);
    EXPECT_EQ(seen, std::vector<std::shared_ptr<Event>>{tap.event});
    EXPECT_EQ(tap.view->log, std::vector<std::string>{"began:1"});

    // Restoring the original takes the hook out: the next event is delivered once and not seen.
    auto method = *runtime->instanceMethod("UIApplication", "sendEvent:");
    auto hook = runtime->setImplementation(method, *previous);
    EXPECT_TRUE(hook);
    tap.event->allTouches()[0]->end();
    Application::sharedApplication()->sendEvent(tap.event);
    EXPECT_EQ(seen.size(), 1u);
    EXPECT_EQ(tap.view->log, (std::vector<std::string>{"began:1", "ended:1"}));
}

TEST_F(UiRuntimeTest, ReplacementThatSkipsThePreviousImplementationSwallowsTheEvent) {
    auto runtime = Runtime::shared();
    auto tap = tapInKeyWindow();
    int windowEvents = 0;
    auto previousWindow =
        runtime->replace("UIWindow", "sendEvent:", [&](const auto&, const std::string&, const Arguments&) {
            ++windowEvents;
            return std::any();
        });
    Application::sharedApplication()->sendEvent(tap.event);
    EXPECT_EQ(windowEvents, 1);
    EXPECT_TRUE(tap.view->log.empty());

    runtime->replace("UIWindow", "sendEvent:", previousWindow);
    Application::sharedApplication()->sendEvent(tap.event);
    EXPECT_EQ(windowEvents, 1);
    EXPECT_EQ(tap.view->log, std::vector<std::string>{"began:1"});
}

TEST_F(UiRuntimeTest, AReplacementThatThrowsIsLoggedAndTheHostsEventLoopGoesOn) {
    auto runtime = Runtime::shared();
    auto tap = tapInKeyWindow();
    auto previousWindow = runtime->replace(
        "UIWindow", "sendEvent:", [](const auto&, const std::string&, const Arguments&) -> std::any {
            throw std::runtime_error("hook failed");
        });
    ::testing::internal::CaptureStderr();
    EXPECT_NO_THROW(Application::sharedApplication()->sendEvent(tap.event));
    std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("sendEvent:"), std::string::npos) << log;
    EXPECT_NE(log.find("hook failed"), std::string::npos) << log;

    runtime->replace("UIWindow", "sendEvent:", previousWindow);
    Application::sharedApplication()->sendEvent(tap.event);
    EXPECT_EQ(tap.view->log, std::vector<std::string>{"began:1"});
}

TEST_F(UiRuntimeTest, KeyWindowStateIsTheDefaultImplementationsWork) {
    auto runtime = Runtime::shared();
    auto first = Window::make({0, 0, 10, 10});
    auto second = Window::make({0, 0, 10, 10});
    first->makeKeyAndVisible();
    std::vector<std::string> order;
    Implementation become;
    Implementation resign;
    become = runtime->replace(
        "UIWindow", "becomeKeyWindow",
        [&](const std::shared_ptr<RuntimeObject>& self, const std::string& sel, const Arguments& a) {
            order.push_back("become " + std::to_string(self == second));
            return become(self, sel, a);
        });
    resign = runtime->replace(
        "UIWindow", "resignKeyWindow",
        [&](const std::shared_ptr<RuntimeObject>& self, const std::string& sel, const Arguments& a) {
            order.push_back("resign " + std::to_string(self == first));
            return resign(self, sel, a);
        });
    second->makeKeyAndVisible();
    EXPECT_EQ(order, (std::vector<std::string>{"resign 1", "become 1"}));
    EXPECT_TRUE(second->isKeyWindow());
    EXPECT_FALSE(first->isKeyWindow());

    // A hook that does not call on leaves the key window where it was.
    runtime->replace("UIWindow", "becomeKeyWindow",
                     [](const auto&, const auto&, const auto&) { return std::any(); });
    first->makeKeyWindow();
    EXPECT_EQ(Application::sharedApplication()->keyWindow(), nullptr);
}

TEST_F(UiRuntimeTest, ViewDidAppearReachesTheHookForRootPushedAndPresentedControllers) {
    auto runtime = Runtime::shared();
    std::vector<std::string> appeared;
    auto previous = std::make_shared<Implementation>();
    *previous =
        runtime->replace("UIViewController", "viewDidAppear:",
                         [&appeared, previous](const auto& self, const std::string& sel, const Arguments& a) {
                             auto result = (*previous)(self, sel, a);
                             appeared.push_back(self->className());
                             return result;
                         });
    auto home = ViewController::make("HomeViewController");
    auto navigation = NavigationController::initWithRootViewController(home);
    auto window = Window::make(Screen::mainScreen()->bounds());
    window->setRootViewController(navigation);
    EXPECT_TRUE(appeared.empty()) << "a hidden window shows nothing";
    window->makeKeyAndVisible();
    // The container passes the message on to the child on screen inside it.
    EXPECT_EQ(appeared, (std::vector<std::string>{"HomeViewController", "UINavigationController"}));

    appeared.clear();
    navigation->pushViewController(ViewController::make("DetailViewController"), true);
    home->presentViewController(ViewController::make("SheetViewController"), true);
    EXPECT_EQ(appeared, (std::vector<std::string>{"DetailViewController"}))
        << "home is no longer on screen, so it cannot present";
    navigation->topViewController()->presentViewController(ViewController::make("SheetViewController"), true);
    EXPECT_EQ(appeared, (std::vector<std::string>{"DetailViewController", "SheetViewController"}));
}

TEST_F(UiRuntimeTest, InstanceVariablesAndAssociatedValues) {
    auto controller = ViewController::make("ProfileViewController");
    auto nameLabel = std::make_shared<Label>("ProfileNameLabel", "UILabel");
    controller->setInstanceVariable("nameLabel", nameLabel, "UILabel");
    controller->addInstanceVariable({"avatar", "", "T@\"UIImageView\",N,&,Vavatar", {}});
    ASSERT_EQ(controller->instanceVariables().size(), 2u);
    EXPECT_EQ(controller->instanceVariables()[0].typeEncoding, "@\"UILabel\"");
    EXPECT_EQ(controller->instanceVariableValue("nameLabel"), nameLabel);
    EXPECT_EQ(controller->propertyAttributes("nameLabel"), "");
    // Re-pointing a variable keeps its place; variables do not keep their objects alive.
    auto other = std::make_shared<Label>();
    controller->setInstanceVariable("nameLabel", other);
    EXPECT_EQ(controller->instanceVariables()[0].typeEncoding, "@\"UILabel\"");
    other.reset();
    EXPECT_EQ(controller->instanceVariableValue("nameLabel"), nullptr);

    controller->setAssociatedValue("visibleFrame", gfx::Rect{1, 2, 3, 4});
    EXPECT_EQ(std::any_cast<gfx::Rect>(controller->associatedValue("visibleFrame")), (gfx::Rect{1, 2, 3, 4}));
    controller->setAssociatedValue("visibleFrame", std::any());
    EXPECT_FALSE(controller->associatedValue("visibleFrame").has_value());
}

}  // namespace
}  // namespace bdx::ui
