#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/PanGestureRecognizer.h"
#include "platform/ui/TapGestureRecognizer.h"
#include "tests/platform/PixelTestSupport.h"
#include "tests/platform/UiTestSupport.h"

namespace bdx::ui {
namespace {

using gfx::Point;
using gfx::Rect;
using testing::RecordingView;

class UiEventTest : public testing::UiModelTest {};

// A recognizer that writes what reaches it into a shared log.
class LoggingRecognizer : public GestureRecognizer {
  public:
    LoggingRecognizer(std::vector<std::string>& log, std::string name)
        : GestureRecognizer("UITapGestureRecognizer", "UITapGestureRecognizer"),
          log_(log),
          name_(std::move(name)) {}

    void touchesBegan(const TouchList& touches, const std::shared_ptr<Event>& event) override {
        GestureRecognizer::touchesBegan(touches, event);
        log_.push_back(name_ + " began:" + std::to_string(touches.size()));
    }
    void touchesEnded(const TouchList& touches, const std::shared_ptr<Event>& event) override {
        GestureRecognizer::touchesEnded(touches, event);
        log_.push_back(name_ + " ended:" + std::to_string(touches.size()));
    }

  private:
    std::vector<std::string>& log_;
    std::string name_;
};

// The view also writes into the shared log.
class LoggingView : public RecordingView {
  public:
    explicit LoggingView(std::vector<std::string>& shared) : shared_(shared) {}
    void touchesBegan(const TouchList& touches, const std::shared_ptr<Event>& event) override {
        shared_.push_back("view began:" + std::to_string(touches.size()));
        RecordingView::touchesBegan(touches, event);
    }
    void touchesEnded(const TouchList& touches, const std::shared_ptr<Event>& event) override {
        shared_.push_back("view ended:" + std::to_string(touches.size()));
        RecordingView::touchesEnded(touches, event);
    }

  private:
    std::vector<std::string>& shared_;
};

TEST_F(UiEventTest, TouchesReachTheirRecognizersBeforeTheirView) {
    std::vector<std::string> log;
    auto window = keyWindow();
    auto panel = View::make(Rect{0, 0, 200, 200});
    auto button = std::make_shared<LoggingView>(log);
    button->setFrame({50, 50, 100, 100});
    panel->addSubview(button);
    window->addSubview(panel);
    auto own = std::make_shared<LoggingRecognizer>(log, "own");
    auto outer = std::make_shared<LoggingRecognizer>(log, "outer");
    auto disabled = std::make_shared<LoggingRecognizer>(log, "disabled");
    disabled->setEnabled(false);
    button->addGestureRecognizer(own);
    panel->addGestureRecognizer(outer);
    panel->addGestureRecognizer(disabled);

    auto first = Touch::began(window, {60, 60});
    auto second = Touch::began(window, {140, 140});
    EXPECT_EQ(first->view(), button);
    EXPECT_EQ(first->gestureRecognizers(), (std::vector<std::shared_ptr<GestureRecognizer>>{own, outer}));
    auto event = Event::touchesEvent({first, second});
    Application::sharedApplication()->sendEvent(event);
    EXPECT_EQ(log, (std::vector<std::string>{"own began:2", "outer began:2", "view began:2"}));
    EXPECT_EQ(own->numberOfTouches(), 2u);

    // Only the touch that lifted is delivered as ended; the other is still down.
    log.clear();
    first->end();
    second->setPhase(TouchPhase::Stationary);
    Application::sharedApplication()->sendEvent(event);
    EXPECT_EQ(log, (std::vector<std::string>{"own ended:1", "outer ended:1", "view ended:1"}));
}

TEST_F(UiEventTest, EachWindowGetsTheTouchesInIt) {
    auto bottom = Window::make({0, 0, 100, 100});
    auto top = Window::make({0, 100, 100, 100});
    bottom->setHidden(false);
    top->setHidden(false);
    auto a = std::make_shared<RecordingView>();
    a->setFrame({0, 0, 100, 100});
    bottom->addSubview(a);
    auto b = std::make_shared<RecordingView>();
    b->setFrame({0, 0, 100, 100});
    top->addSubview(b);

    auto event = Event::touchesEvent(
        {Touch::began(bottom, {10, 10}), Touch::began(top, {10, 10}), Touch::began(top, {20, 20})});
    Application::sharedApplication()->sendEvent(event);
    EXPECT_EQ(a->log, std::vector<std::string>{"began:1"});
    EXPECT_EQ(b->log, std::vector<std::string>{"began:2"});
    EXPECT_EQ(event->touchesForWindow(*top).size(), 2u);
    EXPECT_EQ(event->touchesForView(*a).size(), 1u);
}

// The toolkit's rule: views below 0.01 alpha, hidden views and views that take no touches are
// passed over, and the view behind them answers.
TEST_F(UiEventTest, HitTestingSkipsFaintHiddenAndNonInteractiveViews) {
    auto window = keyWindow();
    auto below = View::make(Rect{0, 0, 100, 100});
    window->addSubview(below);
    auto front = View::make(Rect{0, 0, 100, 100});
    window->addSubview(front);
    const std::vector<std::pair<const char*, std::function<void(View&)>>> cases = {
        {"alpha 0.0099", [](View& v) { v.setAlpha(0.0099); }},
        {"hidden", [](View& v) { v.setHidden(true); }},
        {"user interaction off", [](View& v) { v.setUserInteractionEnabled(false); }},
    };
    for (const auto& [name, apply] : cases) {
        front->setAlpha(1);
        front->setHidden(false);
        front->setUserInteractionEnabled(true);
        EXPECT_EQ(window->hitTest({50, 50}, nullptr), front) << name;
        apply(*front);
        EXPECT_EQ(window->hitTest({50, 50}, nullptr), below) << name;
    }
    front->setUserInteractionEnabled(true);
    front->setAlpha(0.01);
    EXPECT_EQ(window->hitTest({50, 50}, nullptr), front) << "0.01 itself still takes touches";
}

// A window of the library's overlay kind: it takes only the touches that land on its button.
class OverlayWindow : public Window {
  public:
    OverlayWindow() : Window("TestOverlayWindow", "UIWindow") {}
    std::shared_ptr<View> hitTest(Point point, const std::shared_ptr<Event>& event) override {
        auto hit = Window::hitTest(point, event);
        return hit && button && hit->isDescendantOfView(*button) ? hit : nullptr;
    }
    std::shared_ptr<View> button;
};

TEST_F(UiEventTest, TouchesPassThroughWindowsThatDoNotTakeThemToTheWindowBelow) {
    auto application = Application::sharedApplication();
    auto appWindow = keyWindow();
    auto content = std::make_shared<RecordingView>();
    content->setFrame(appWindow->bounds());
    appWindow->addSubview(content);

    // A full-screen overlay above the application, its button at the top left, and a small
    // ordinary window at the bottom right.
    auto overlay = std::make_shared<OverlayWindow>();
    overlay->setFrame(appWindow->frame());
    overlay->setWindowLevel(UIWindowLevelAlert + 2);
    auto backdrop = View::make(overlay->bounds());
    overlay->addSubview(backdrop);
    auto button = std::make_shared<RecordingView>("TestOverlayButton", "UIButton");
    button->setFrame({10, 10, 60, 60});
    backdrop->addSubview(button);
    overlay->button = button;
    overlay->setHidden(false);
    auto corner = Window::make({300, 700, 90, 100});
    auto cornerView = std::make_shared<RecordingView>();
    cornerView->setFrame(corner->bounds());
    corner->addSubview(cornerView);
    corner->setHidden(false);

    // The library's hooks see every touch on its way: the application's delivery, then the window's.
    std::vector<std::string> seen;
    for (const char* receiver : {"UIApplication", "UIWindow"}) {
        auto previous = std::make_shared<Implementation>();
        *previous = Runtime::shared()->replace(
            receiver, "sendEvent:",
            [&seen, previous](const std::shared_ptr<RuntimeObject>& self, const std::string& selector,
                              const Arguments& arguments) {
                seen.push_back(self->className());
                return (*previous)(self, selector, arguments);
            });
    }

    auto onButton = application->tapAtScreenPoint({40, 40});
    EXPECT_EQ(onButton->window(), overlay);
    EXPECT_EQ(onButton->view(), button);
    EXPECT_EQ(onButton->phase(), TouchPhase::Ended);
    EXPECT_EQ(button->log, (std::vector<std::string>{"began:1", "ended:1"}));
    EXPECT_EQ(seen, (std::vector<std::string>{"UIApplication", "TestOverlayWindow", "UIApplication",
                                              "TestOverlayWindow"}));

    seen.clear();
    auto onEmptyOverlay = application->tapAtScreenPoint({200, 400});
    EXPECT_EQ(onEmptyOverlay->window(), appWindow);
    EXPECT_EQ(onEmptyOverlay->view(), content);
    EXPECT_EQ(content->log, (std::vector<std::string>{"began:1", "ended:1"}));
    EXPECT_EQ(seen, (std::vector<std::string>{"UIApplication", "UIWindow", "UIApplication", "UIWindow"}));
    EXPECT_EQ(button->log.size(), 2u);

    // The small window takes touches inside it, in its own coordinates; outside it they go on down.
    auto inCorner = Touch::beganOnScreen({310, 720});
    EXPECT_EQ(inCorner->view(), cornerView);
    EXPECT_EQ(inCorner->locationInView(nullptr), (Point{10, 20}));
    inCorner->moveOnScreenTo({320, 750});
    EXPECT_EQ(inCorner->locationInView(cornerView), (Point{20, 50}));
    EXPECT_EQ(inCorner->previousLocationInView(nullptr), (Point{10, 20}));
    EXPECT_EQ(Touch::beganOnScreen({290, 720})->view(), content);

    // Hidden windows and windows scaled to nothing take no touches; nothing at all is under a
    // point that no visible window covers.
    overlay->setHidden(true);
    EXPECT_EQ(Touch::beganOnScreen({40, 40})->view(), content);
    corner->setTransform(gfx::AffineTransform::makeScale(0, 0));
    EXPECT_EQ(Touch::beganOnScreen({345, 750})->view(), content);
    auto outside = Touch::beganOnScreen({-5, -5});
    EXPECT_EQ(outside->window(), nullptr);
    EXPECT_EQ(outside->view(), nullptr);
}

TEST_F(UiEventTest, TouchLocationFollowsTheViewsTransforms) {
    auto window = keyWindow();
    auto turned = View::make(Rect{100, 100, 100, 100});
    turned->setTransform(gfx::AffineTransform::makeRotation(std::numbers::pi / 2));
    window->addSubview(turned);
    auto touch = Touch::began(window, {195, 105});
    EXPECT_EQ(touch->view(), turned);
    gfx::test::expectNear(touch->locationInView(turned), {5, 5});
    EXPECT_EQ(touch->locationInView(nullptr), (Point{195, 105}));
    touch->moveTo({150, 150});
    EXPECT_EQ(touch->phase(), TouchPhase::Moved);
    EXPECT_EQ(touch->previousLocationInView(nullptr), (Point{195, 105}));
    EXPECT_NEAR(touch->locationInView(turned).x, 50, 1e-9);

    // A touch outside every view of a hidden window has no view.
    auto hidden = Window::make({0, 0, 100, 100});
    EXPECT_EQ(Touch::began(hidden, {5, 5})->view(), nullptr);
}

TEST_F(UiEventTest, MotionGoesToTheFirstResponderOfTheKeyWindow) {
    auto window = keyWindow();
    auto field = std::make_shared<RecordingView>();
    field->setCanBecomeFirstResponder(true);
    window->addSubview(field);
    auto shake = Event::motionEvent();
    EXPECT_EQ(shake->type(), EventType::Motion);
    EXPECT_EQ(shake->subtype(), EventSubtype::MotionShake);
    EXPECT_EQ(shake->className(), "UIMotionEvent");

    Application::sharedApplication()->sendEvent(shake);
    EXPECT_TRUE(field->log.empty());
    ASSERT_TRUE(field->becomeFirstResponder());
    Application::sharedApplication()->sendEvent(shake);
    EXPECT_EQ(field->log, std::vector<std::string>{"motion"});

    // An event of a class the host scripts is a kind of UIEvent and goes through like any other.
    auto internal = Event::make("UIInternalEvent", EventType::Touches);
    EXPECT_TRUE(internal->isKindOf("UIEvent"));
    Application::sharedApplication()->sendEvent(internal);
    EXPECT_EQ(field->log.size(), 1u);
}

TEST_F(UiEventTest, RecognizerStatesCallTheActionsAndDisablingCancels) {
    auto pan = GestureRecognizer::make("UIPanGestureRecognizer");
    ASSERT_NE(std::dynamic_pointer_cast<PanGestureRecognizer>(pan), nullptr);
    std::vector<GestureRecognizerState> seen;
    pan->addAction([&](const std::shared_ptr<GestureRecognizer>& recognizer) {
        seen.push_back(recognizer->state());
        // What a placed shape does: a cancelled first drag is allowed again.
        if (recognizer->state() == GestureRecognizerState::Cancelled) {
            recognizer->setEnabled(true);
        }
    });
    pan->setState(GestureRecognizerState::Began);
    pan->setState(GestureRecognizerState::Changed);
    pan->setEnabled(false);
    EXPECT_EQ(seen, (std::vector<GestureRecognizerState>{GestureRecognizerState::Began,
                                                         GestureRecognizerState::Changed,
                                                         GestureRecognizerState::Cancelled}));
    EXPECT_TRUE(pan->isEnabled());
    pan->setState(GestureRecognizerState::Failed);
    pan->setState(GestureRecognizerState::Possible);
    pan->setState(GestureRecognizerStateRecognized);
    EXPECT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen.back(), GestureRecognizerState::Ended);

    // A new touch sequence starts a finished recognizer over.
    auto window = keyWindow();
    auto view = View::make(Rect{0, 0, 100, 100});
    window->addSubview(view);
    view->addGestureRecognizer(pan);
    EXPECT_EQ(pan->view(), view);
    auto touch = Touch::began(window, {10, 20});
    Application::sharedApplication()->sendEvent(Event::touchesEvent({touch}));
    EXPECT_EQ(pan->state(), GestureRecognizerState::Possible);
    EXPECT_EQ(pan->locationInView(view), (Point{10, 20}));
}

TEST_F(UiEventTest, PanTranslationIsReadInEachViewsCoordinates) {
    auto window = keyWindow();
    auto zoomed = View::make(Rect{0, 0, 100, 100});
    zoomed->setTransform(gfx::AffineTransform::makeScale(2, 2));
    window->addSubview(zoomed);
    auto pan = std::make_shared<PanGestureRecognizer>();
    pan->setTranslation({10, -4}, nullptr);
    EXPECT_EQ(pan->translationInView(nullptr), (Point{10, -4}));
    EXPECT_EQ(pan->translationInView(zoomed), (Point{5, -2}));
    pan->setTranslation({0, 0}, zoomed);
    EXPECT_EQ(pan->translationInView(nullptr), (Point{0, 0}));
    pan->setTranslation({3, 3}, zoomed);
    EXPECT_EQ(pan->translationInView(nullptr), (Point{6, 6}));

    auto taps = std::make_shared<TapGestureRecognizer>();
    auto doubleTap = std::make_shared<TapGestureRecognizer>();
    doubleTap->setNumberOfTapsRequired(2);
    taps->requireGestureRecognizerToFail(doubleTap);
    EXPECT_EQ(taps->failureRequirements(), std::vector<std::shared_ptr<GestureRecognizer>>{doubleTap});
    EXPECT_TRUE(
        GestureRecognizer::make("_UISystemGestureGateGestureRecognizer")->isKindOf("UIGestureRecognizer"));
}

}  // namespace
}  // namespace bdx::ui
