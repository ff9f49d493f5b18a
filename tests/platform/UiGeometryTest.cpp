#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include "platform/ui/ScrollView.h"
#include "tests/platform/PixelTestSupport.h"
#include "tests/platform/UiTestSupport.h"

namespace bdx::ui {
namespace {

using gfx::AffineTransform;
using gfx::Point;
using gfx::Rect;
using gfx::test::expectNear;

constexpr double kQuarterTurn = std::numbers::pi / 2;

class UiGeometryTest : public testing::UiModelTest {};

TEST_F(UiGeometryTest, FrameCenterBoundsAndAnchorPointAgree) {
    auto view = View::make(Rect{10, 20, 100, 50});
    EXPECT_EQ(view->center(), (Point{60, 45}));
    EXPECT_EQ(view->bounds(), (Rect{0, 0, 100, 50}));

    // Moving the bounds origin scrolls the content, not the view.
    view->setBounds({5, 5, 100, 50});
    EXPECT_EQ(view->frame(), (Rect{10, 20, 100, 50}));

    // The anchor point moves the frame around a fixed position.
    view->setAnchorPoint({0, 0});
    EXPECT_EQ(view->frame(), (Rect{60, 45, 100, 50}));
    view->setFrame({0, 0, 40, 40});
    EXPECT_EQ(view->center(), (Point{0, 0}));
}

TEST_F(UiGeometryTest, TransformedFrameIsTheBoundingBoxAboutTheAnchorPoint) {
    auto view = View::make(Rect{0, 0, 100, 50});
    view->setTransform(AffineTransform::makeRotation(kQuarterTurn));
    expectNear(view->frame(), {25, -25, 50, 100});
    EXPECT_EQ(view->bounds(), (Rect{0, 0, 100, 50}));

    view->setTransform(AffineTransform::makeScale(2, 2));
    expectNear(view->frame(), {-50, -25, 200, 100});
    // With a transform the frame setter only moves the anchor point; the bounds stay.
    view->setFrame({0, 0, 10, 10});
    EXPECT_EQ(view->center(), (Point{5, 5}));
    EXPECT_EQ(view->bounds().size, (gfx::Size{100, 50}));

    auto pivot = View::make(Rect{0, 0, 50, 20});
    pivot->setAnchorPoint({0, 0});
    pivot->setCenter({100, 100});
    pivot->setTransform(AffineTransform::makeRotation(kQuarterTurn));
    auto root = View::make(Rect{0, 0, 300, 300});
    root->addSubview(pivot);
    expectNear(pivot->convertPoint({0, 0}, root), {100, 100});
    expectNear(pivot->convertPoint({50, 0}, root), {100, 150});
}

TEST_F(UiGeometryTest, ConversionThroughTransformedAncestors) {
    auto window = Window::make({0, 0, 400, 400});
    auto turned = View::make(Rect{100, 100, 100, 100});
    turned->setTransform(AffineTransform::makeRotation(kQuarterTurn));
    window->addSubview(turned);
    // The rotation turns about the centre (150, 150): the top-left corner goes to the top-right.
    expectNear(turned->convertPoint({0, 0}, nullptr), {200, 100});
    expectNear(turned->convertPointFromView({200, 100}, nullptr), {0, 0});
    expectNear(turned->convertRect({0, 0, 100, 10}, nullptr), {190, 100, 10, 100});

    // A scroll view's offset moves what its content shows.
    auto scroll = std::make_shared<ScrollView>();
    scroll->setFrame({0, 0, 400, 200});
    scroll->setContentOffset({0, 100});
    auto row = View::make(Rect{0, 150, 400, 44});
    scroll->addSubview(row);
    window->addSubview(scroll);
    expectNear(row->convertPoint({0, 0}, nullptr), {0, 50});
    EXPECT_EQ(row->frame(), (Rect{0, 150, 400, 44}));
}

TEST_F(UiGeometryTest, ConversionRoundTripsThroughAChainOfTransformedViews) {
    auto window = Window::make({0, 0, 390, 844});
    std::shared_ptr<View> parent = window;
    std::vector<std::shared_ptr<View>> chain;
    const AffineTransform transforms[] = {
        AffineTransform::makeRotation(0.3),
        AffineTransform::makeScale(1.5, 0.75),
        AffineTransform::makeRotation(-1.1).concat(AffineTransform::makeTranslation(7, -3)),
        AffineTransform(1, 0.2, -0.4, 1, 0, 0),
    };
    for (int i = 0; i < 4; ++i) {
        auto view = View::make(Rect{20.0 + i * 5, 30.0 + i * 7, 200.0 - i * 30, 150.0 - i * 20});
        view->setTransform(transforms[i]);
        view->setAnchorPoint({0.25 * i, 1 - 0.2 * i});
        view->setBounds({3.0 * i, -2.0 * i, view->bounds().size.width, view->bounds().size.height});
        parent->addSubview(view);
        chain.push_back(view);
        parent = view;
    }
    auto branch = View::make(Rect{300, 500, 50, 50});
    branch->setTransform(AffineTransform::makeRotation(2.0));
    chain[1]->addSubview(branch);

    const auto& deepest = chain.back();
    for (Point p : {Point{0, 0}, Point{12.5, -40}, Point{99, 77}}) {
        expectNear(deepest->convertPointFromView(deepest->convertPoint(p, nullptr), nullptr), p);
        expectNear(deepest->convertPointFromView(deepest->convertPoint(p, branch), branch), p);
        expectNear(branch->convertPoint(deepest->convertPoint(p, branch), deepest), p);
        // Through an ancestor by hand: each step is the view's own transform to its superview.
        Point stepwise = p;
        for (auto v = chain.rbegin(); v != chain.rend(); ++v) {
            stepwise = (*v)->transformToSuperview().apply(stepwise);
        }
        expectNear(deepest->convertPoint(p, nullptr), stepwise);
    }
    auto box = deepest->convertRect({0, 0, 10, 10}, nullptr);
    auto back = deepest->convertRectFromView(box, nullptr);
    EXPECT_TRUE(back.contains(Rect{0, 0, 10, 10}.insetBy(1e-6, 1e-6)));
}

TEST_F(UiGeometryTest, WindowsMeetInScreenCoordinatesAndViewsInFlightInThePresentationTree) {
    auto left = Window::make({0, 0, 100, 100});
    auto right = Window::make({100, 0, 100, 100});
    auto leftView = View::make(Rect{10, 10, 20, 20});
    left->addSubview(leftView);
    expectNear(leftView->convertPoint({0, 0}, right), {-90, 10});
    expectNear(right->convertPointFromView({0, 0}, leftView), {-90, 10});

    auto moving = View::make(Rect{0, 0, 20, 20});
    left->addSubview(moving);
    moving->setPresentationFrame({50, 60, 20, 20});
    EXPECT_TRUE(moving->isInFlight());
    EXPECT_EQ(moving->frame(), (Rect{0, 0, 20, 20}));
    EXPECT_EQ(moving->presentationFrame(), (Rect{50, 60, 20, 20}));
    expectNear(moving->convertRect(moving->bounds(), nullptr, LayerTree::Presentation), {50, 60, 20, 20});
    expectNear(moving->convertRect(moving->bounds(), nullptr), {0, 0, 20, 20});
    moving->removePresentation();
    EXPECT_EQ(moving->presentationFrame(), (Rect{0, 0, 20, 20}));
}

TEST_F(UiGeometryTest, HitTestingFindsTheFrontmostInteractiveView) {
    auto window = Window::make({0, 0, 200, 200});
    EXPECT_EQ(window->hitTest({10, 10}, nullptr), nullptr) << "a window starts hidden";
    window->setHidden(false);
    auto back = View::make(Rect{0, 0, 100, 100});
    auto front = View::make(Rect{50, 50, 100, 100});
    window->addSubview(back);
    window->addSubview(front);
    EXPECT_EQ(window->hitTest({75, 75}, nullptr), front);
    EXPECT_EQ(window->hitTest({25, 25}, nullptr), back);
    EXPECT_EQ(window->hitTest({190, 10}, nullptr), window);
    EXPECT_EQ(window->hitTest({-1, 10}, nullptr), nullptr);

    // Adding a subview again brings it to the front; a child reaching outside its parent's bounds
    // takes no touches out there.
    auto overhang = View::make(Rect{80, 80, 60, 60});
    back->addSubview(overhang);
    window->addSubview(back);
    EXPECT_EQ(window->subviews().back(), back);
    EXPECT_EQ(window->hitTest({90, 90}, nullptr), overhang);
    EXPECT_EQ(window->hitTest({120, 120}, nullptr), front);

    // Hit-testing follows transforms: a bar turned upright is hit along its new extent.
    auto bar = View::make(Rect{0, 90, 200, 20});
    bar->setTransform(AffineTransform::makeRotation(kQuarterTurn));
    window->addSubview(bar);
    EXPECT_EQ(window->hitTest({100, 10}, nullptr), bar);
    EXPECT_NE(window->hitTest({10, 100}, nullptr), bar);
}

}  // namespace
}  // namespace bdx::ui
