#include <gtest/gtest.h>

#include <memory>
#include <numbers>
#include <string>
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
