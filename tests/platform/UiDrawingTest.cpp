#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "platform/gfx/ImageContext.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/ScrollView.h"
#include "tests/platform/PixelTestSupport.h"
#include "tests/platform/UiTestSupport.h"

namespace bdx::ui {
namespace {

using gfx::AffineTransform;
using gfx::Color;
using gfx::ImageContext;
using gfx::Rect;
using namespace gfx::test;

constexpr std::uint32_t kMagenta = 0xFFFF00FF;

class UiDrawingTest : public testing::UiModelTest {};

// The premultiplied pixel under a point of the context (in points).
std::uint32_t pixelAt(const ImageContext& context, double x, double y) {
    return context.pixelAt(static_cast<int>(x * context.scale()), static_cast<int>(y * context.scale()));
}

// Each channel within `tolerance` of the expected word's.
::testing::AssertionResult samePixel(std::uint32_t actual, std::uint32_t expected, int tolerance = 2) {
    if (channelsNear(actual, expected, tolerance)) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << std::hex << actual << ", expected " << expected;
}

// Composes the visible windows as a screenshot does: each in screen space (its centre, its
// transform about its anchor point), then its hierarchy as the screen shows it.
// After each window, the views in `masked` that belong to it are filled black where the screen
// shows them, in the window's space, as the capture masks private views.
void drawScreen(ImageContext& context, const std::vector<std::shared_ptr<View>>& masked = {}) {
    gfx::pushContext(context);
    for (const auto& window : Application::sharedApplication()->windows()) {
        if (window->isHidden()) {
            continue;
        }
        const auto bounds = window->bounds();
        context.saveGState();
        context.translateCTM(window->center().x, window->center().y);
        context.concatCTM(window->transform());
        context.translateCTM(-bounds.size.width * window->anchorPoint().x,
                             -bounds.size.height * window->anchorPoint().y);
        window->drawViewHierarchyInRect(bounds, false);
        for (const auto& view : masked) {
            if (view->window() == window) {
                context.setFillColor(Color::black());
                context.fillRect(view->convertRect(view->bounds(LayerTree::Presentation), nullptr,
                                                   LayerTree::Presentation));
            }
        }
        context.restoreGState();
    }
    gfx::popContext();
}

std::shared_ptr<View> coloured(const Rect& frame, Color colour) {
    auto view = View::make(frame);
    view->setBackgroundColor(colour);
    return view;
}

TEST_F(UiDrawingTest, RotatedClippedHalfTransparentSubtree) {
    Screen::mainScreen()->setScale(2);
    auto window = Window::make({0, 0, 100, 100});
    window->setBackgroundColor(Color::white());
    window->makeKeyAndVisible();

    // A blue square turned a quarter clockwise about its centre (50, 50), clipping its children,
    // at half opacity: its top-left red quarter shows at the top right, and the part of the green
    // child that hangs over its bottom-right corner is cut off.
    auto square = coloured({20, 20, 60, 60}, Color::blue());
    square->setTransform(AffineTransform::makeRotation(std::numbers::pi / 2));
    square->setClipsToBounds(true);
    square->setAlpha(0.5);
    square->addSubview(coloured({0, 0, 30, 30}, Color::red()));
    square->addSubview(coloured({45, 45, 40, 40}, Color::green()));
    auto hidden = coloured({0, 30, 30, 30}, Color::black());
    hidden->setHidden(true);
    square->addSubview(hidden);
    window->addSubview(square);

    ImageContext context({100, 100}, false, 0);
    ASSERT_EQ(context.scale(), 2);
    drawScreen(context);

    // The subtree fades as one picture: red over white at half, not red over half-blue.
    EXPECT_TRUE(samePixel(pixelAt(context, 65, 35), 0xFFFF8080));
    EXPECT_TRUE(samePixel(pixelAt(context, 35, 35), 0xFF8080FF));
    EXPECT_TRUE(samePixel(pixelAt(context, 27, 72), 0xFF80FF80));
    // The green child's overhang, turned to the bottom left, is clipped away; the hidden view
    // (turned to the top left) draws nothing over the blue.
    EXPECT_TRUE(samePixel(pixelAt(context, 10, 90), kWhite));
    EXPECT_TRUE(samePixel(pixelAt(context, 40, 25), 0xFF8080FF));
    EXPECT_TRUE(samePixel(pixelAt(context, 5, 5), kWhite));
    EXPECT_TRUE(samePixel(pixelAt(context, 95, 50), kWhite));
}

TEST_F(UiDrawingTest, PrivateSubtreeIsFilledBlackWhereTheScreenShowsIt) {
    auto window = Window::make({0, 0, 100, 100});
    window->setBackgroundColor(Color::white());
    window->makeKeyAndVisible();
    auto panel = coloured({10, 10, 80, 80}, Color::green());
    window->addSubview(panel);
    auto secret = coloured({0, 0, 20, 20}, Color::magenta());
    secret->addSubview(coloured({5, 5, 10, 10}, Color::red()));
    panel->addSubview(secret);
    // The private view is in flight: on screen at (30, 30) in the panel, on its way to (0, 0).
    secret->setPresentationFrame({30, 30, 20, 20});

    ImageContext context({100, 100}, false, 1);
    drawScreen(context);
    EXPECT_TRUE(samePixel(pixelAt(context, 42, 42), kMagenta));
    EXPECT_TRUE(samePixel(pixelAt(context, 50, 50), kRed));
    EXPECT_TRUE(samePixel(pixelAt(context, 15, 15), kGreen));

    const Rect onScreen =
        secret->convertRect(secret->bounds(LayerTree::Presentation), nullptr, LayerTree::Presentation)
            .intersection(Screen::mainScreen()->bounds());
    EXPECT_EQ(onScreen, (Rect{40, 40, 20, 20}));
    context.setFillColor(Color::black());
    context.fillRect(onScreen);

    for (double x : {40.5, 50.0, 59.5}) {
        for (double y : {40.5, 50.0, 59.5}) {
            EXPECT_TRUE(samePixel(pixelAt(context, x, y), kBlack)) << x << "," << y;
        }
    }
    EXPECT_TRUE(samePixel(pixelAt(context, 39, 50), kGreen));
    EXPECT_TRUE(samePixel(pixelAt(context, 61, 50), kGreen));
    EXPECT_TRUE(samePixel(pixelAt(context, 15, 15), kGreen)) << "the model place of the view is not masked";
}

// A view or window scaled to nothing, as at the start of a pop-in animation, shows nothing: neither
// its content nor that of a private view inside it, whose mask is empty.
TEST_F(UiDrawingTest, SingularTransformsPaintNothing) {
    const std::vector<std::pair<const char*, std::function<void(View & panel, Window & top)>>> cases = {
        {"view scaled to zero",
         [](View& panel, Window&) { panel.setTransform(AffineTransform::makeScale(0, 0)); }},
        {"view flattened in x",
         [](View& panel, Window&) { panel.setTransform(AffineTransform::makeScale(0, 1)); }},
        {"view in flight from zero",
         [](View& panel, Window&) { panel.setPresentationTransform(AffineTransform::makeScale(0, 0)); }},
        {"window scaled to zero",
         [](View&, Window& top) { top.setTransform(AffineTransform::makeScale(0, 0)); }},
    };
    for (const auto& [name, apply] : cases) {
        SCOPED_TRACE(name);
        auto base = Window::make({0, 0, 100, 100});
        base->setBackgroundColor(Color::white());
        base->setHidden(false);
        auto top = Window::make({0, 0, 100, 100});
        top->makeKeyAndVisible();
        auto panel = coloured({20, 20, 60, 60}, Color::green());
        auto secret = coloured({10, 10, 40, 40}, Color::magenta());
        secret->addSubview(coloured({5, 5, 10, 10}, Color::red()));
        panel->addSubview(secret);
        top->addSubview(panel);
        apply(*panel, *top);

        ImageContext context({100, 100}, false, 1);
        drawScreen(context, {secret});
        EXPECT_EQ(histogram(context), (std::map<std::uint32_t, int>{{kWhite, 100 * 100}}));
    }
}

TEST_F(UiDrawingTest, DrawingIntoARectangleOfNoAreaPaintsNothing) {
    auto view = coloured({0, 0, 50, 50}, Color::red());
    for (const Rect& rect : {Rect{10, 10, 0, 40}, Rect{10, 10, 40, 0}, Rect{10, 10, 0, 0}}) {
        ImageContext context({50, 50}, false, 1);
        gfx::pushContext(context);
        view->drawViewHierarchyInRect(rect, false);
        gfx::popContext();
        EXPECT_EQ(histogram(context), (std::map<std::uint32_t, int>{{0u, 50 * 50}}))
            << rect.size.width << "x" << rect.size.height;
    }
}

// A view's own content lives in a backing store the size of its bounds; only subviews reach past
// them, unless the view clips.
TEST_F(UiDrawingTest, OwnDrawingStaysInsideTheBoundsAndSubviewsReachPastThem) {
    for (bool clips : {false, true}) {
        SCOPED_TRACE(clips ? "clipping" : "not clipping");
        auto root = coloured({0, 0, 60, 60}, Color::white());
        auto canvas = View::make(Rect{20, 20, 20, 20});
        canvas->setClipsToBounds(clips);
        canvas->setDrawCallback([](ImageContext& context, const Rect&) {
            context.setFillColor(Color::blue());
            context.fillRect({-20, -20, 60, 60});
        });
        canvas->addSubview(coloured({15, 15, 15, 15}, Color::red()));
        root->addSubview(canvas);

        ImageContext context({60, 60}, false, 1);
        root->renderInContext(context);
        EXPECT_TRUE(samePixel(pixelAt(context, 25, 25), kBlue));
        EXPECT_TRUE(samePixel(pixelAt(context, 37, 37), kRed));
        for (const auto& [x, y] :
             std::vector<std::pair<double, double>>{{10, 10}, {50, 30}, {30, 10}, {10, 50}}) {
            EXPECT_TRUE(samePixel(pixelAt(context, x, y), kWhite)) << x << "," << y;
        }
        // The part of the subview past the canvas's bounds shows only when the canvas does not clip.
        EXPECT_TRUE(samePixel(pixelAt(context, 45, 45), clips ? kWhite : kRed));
    }
}

TEST_F(UiDrawingTest, RenderInContextDrawsTheModelInLayerCoordinates) {
    auto window = Window::make({0, 0, 100, 100});
    window->makeKeyAndVisible();
    auto scroll = std::make_shared<ScrollView>();
    scroll->setFrame({0, 0, 100, 100});
    scroll->setBackgroundColor(Color::white());
    scroll->addSubview(coloured({0, 50, 100, 50}, Color::red()));
    scroll->setContentOffset({0, 50});
    window->addSubview(scroll);
    auto mover = coloured({0, 0, 10, 10}, Color::blue());
    mover->setPresentationFrame({0, 80, 10, 10});
    scroll->addSubview(mover);

    // What the screen shows: the offset scrolls the red rows up, the mover is where it flies.
    ImageContext shown({100, 100}, false, 1);
    gfx::pushContext(shown);
    ASSERT_TRUE(scroll->drawViewHierarchyInRect({0, 0, 100, 100}, false));
    gfx::popContext();
    EXPECT_TRUE(samePixel(pixelAt(shown, 50, 25), kRed));
    EXPECT_TRUE(samePixel(pixelAt(shown, 50, 75), kWhite));
    EXPECT_TRUE(samePixel(pixelAt(shown, 5, 35), kBlue));

    // The layer in its own coordinates: nothing moves by the offset, and the model is drawn.
    ImageContext layer({100, 100}, false, 1);
    scroll->renderInContext(layer);
    EXPECT_TRUE(samePixel(pixelAt(layer, 50, 75), kRed));
    EXPECT_EQ(pixelAt(layer, 50, 25), 0u);
    EXPECT_TRUE(samePixel(pixelAt(layer, 5, 5), kBlue)) << "the mover is drawn at its model place";
    EXPECT_TRUE(samePixel(pixelAt(layer, 5, 85), kRed));

    // After screen updates the model is drawn, scaled into the rectangle.
    ImageContext half({50, 50}, false, 1);
    gfx::pushContext(half);
    ASSERT_TRUE(scroll->drawViewHierarchyInRect({0, 0, 50, 50}, true));
    gfx::popContext();
    EXPECT_TRUE(samePixel(pixelAt(half, 25, 12), kRed));
    EXPECT_TRUE(samePixel(pixelAt(half, 25, 40), kWhite));
}

TEST_F(UiDrawingTest, OwnDrawingSubviewOrderAndLoneViewAlpha) {
    auto root = coloured({0, 0, 40, 40}, Color::white());
    std::vector<Rect> drawnRects;
    auto canvas = View::make(Rect{10, 10, 20, 20});
    canvas->setDrawCallback([&](ImageContext& context, const Rect& rect) {
        drawnRects.push_back(rect);
        context.setFillColor(Color::blue());
        context.fillRect({0, 0, 10, 20});
    });
    root->addSubview(canvas);
    root->addSubview(coloured({25, 0, 15, 15}, Color::red()));
    root->addSubview(coloured({30, 0, 10, 10}, Color::green()));
    auto faint = coloured({0, 30, 10, 10}, Color::black());
    faint->setAlpha(0.5);
    root->addSubview(faint);
    auto pixels = std::make_shared<ImageView>();
    pixels->setFrame({30, 30, 10, 10});
    pixels->setImage(gfx::Image::filled(2, 2, kMagenta));
    root->addSubview(pixels);

    ImageContext context({40, 40}, false, 1);
    root->renderInContext(context);
    EXPECT_EQ(drawnRects, std::vector<Rect>{Rect(0, 0, 20, 20)});
    EXPECT_TRUE(samePixel(pixelAt(context, 12, 20), kBlue));
    EXPECT_TRUE(samePixel(pixelAt(context, 25, 20), kWhite)) << "the callback drew in the view's coordinates";
    EXPECT_TRUE(samePixel(pixelAt(context, 27, 5), kRed));
    EXPECT_TRUE(samePixel(pixelAt(context, 35, 5), kGreen)) << "later subviews draw over earlier ones";
    EXPECT_TRUE(samePixel(pixelAt(context, 5, 35), 0xFF808080));
    EXPECT_TRUE(samePixel(pixelAt(context, 35, 35), kMagenta));
}

TEST_F(UiDrawingTest, NothingToDrawInto) {
    auto view = coloured({0, 0, 10, 10}, Color::red());
    EXPECT_FALSE(view->drawViewHierarchyInRect({0, 0, 10, 10}, false));
    ImageContext context({10, 10}, false, 1);
    gfx::pushContext(context);
    auto empty = coloured({0, 0, 0, 10}, Color::red());
    EXPECT_FALSE(empty->drawViewHierarchyInRect({0, 0, 10, 10}, false));
    view->setHidden(true);
    EXPECT_TRUE(view->drawViewHierarchyInRect({0, 0, 10, 10}, false));
    gfx::popContext();
    EXPECT_EQ(pixelAt(context, 5, 5), 0u) << "a hidden view draws nothing";
}

}  // namespace
}  // namespace bdx::ui
