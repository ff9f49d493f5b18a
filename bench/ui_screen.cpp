// What a screenshot of the host costs through the UI model: a phone screen of 390x844 points at
// scale 3 with about 200 views (a navigation bar, a table of cells with images, texts and turned
// translucent badges, a tab bar and a translucent card over everything), drawn by the model's view
// renderer the way a screenshot draws it, then encoded as JPEG at quality 1.0 and as PNG.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <vector>

#include "platform/gfx/ImageCodecs.h"
#include "platform/gfx/ImageContext.h"
#include "platform/gfx/Path.h"
#include "platform/ui/Application.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/Label.h"
#include "platform/ui/Screen.h"
#include "platform/ui/TableView.h"
#include "platform/ui/TableViewCell.h"
#include "platform/ui/Window.h"

namespace {

using namespace bdx;
using gfx::AffineTransform;
using gfx::Color;
using gfx::Rect;

constexpr double kScale = 3;

// A fixed pseudo-random sequence, so every run draws the same screen.
struct Lcg {
    std::uint32_t s = 12345;
    double next() {
        s = s * 1664525u + 1013904223u;
        return (s >> 8) / double(1 << 24);
    }
};

gfx::Image photo() {
    std::vector<std::uint32_t> px(300 * 200);
    Lcg rng;
    for (int y = 0; y < 200; ++y) {
        for (int x = 0; x < 300; ++x) {
            const auto n = static_cast<std::uint32_t>(rng.next() * 24);
            px[y * 300 + x] = 0xFF000000u | (x * 255 / 300 + n) % 256 << 16 | (y * 255 / 200 + n) % 256 << 8 |
                              (128 + n * 3);
        }
    }
    return gfx::Image::withPixels(300, 200, std::move(px), 1.0);
}

std::shared_ptr<ui::View> box(const Rect& frame, Color colour, double alpha = 1, bool clips = false) {
    auto view = ui::View::make(frame);
    view->setBackgroundColor(colour);
    view->setAlpha(alpha);
    view->setClipsToBounds(clips);
    return view;
}

// A label whose text is drawn as a grey bar the width of the text.
std::shared_ptr<ui::View> textLine(const Rect& frame, double alpha) {
    auto label = std::make_shared<ui::Label>();
    label->setFrame(frame);
    label->setText("Lorem ipsum");
    label->setDrawCallback([alpha](gfx::ImageContext& context, const Rect& rect) {
        context.setFillColor(Color::rgba(0.1, 0.1, 0.1, alpha));
        context.fillRect(rect);
    });
    return label;
}

std::shared_ptr<ui::View> bordered(const Rect& frame, Color colour, double alpha = 1) {
    auto view = box(frame, colour, alpha, true);
    view->setDrawCallback([](gfx::ImageContext& context, const Rect& rect) {
        gfx::Path border = gfx::Path::withRoundedRect(rect.insetBy(1, 1), 8);
        border.setLineWidth(2);
        context.setStrokeColor(Color::rgba(0, 0, 0, 0.3));
        context.stroke(border);
    });
    return view;
}

struct Screen {
    std::shared_ptr<ui::Window> window;
    int views = 0;
};

int count(const ui::View& view) {
    int n = 1;
    for (const auto& subview : view.subviews()) {
        n += count(*subview);
    }
    return n;
}

Screen buildScreen() {
    ui::Screen::mainScreen()->setScale(kScale);
    Lcg rng;
    const gfx::Image picture = photo();
    auto window = ui::Window::make({0, 0, 390, 844});
    window->setBackgroundColor(Color::white());
    window->makeKeyAndVisible();

    auto nav = box({0, 0, 390, 100}, Color::rgba(0.97, 0.97, 0.98), 0.94);
    for (int i = 0; i < 3; ++i) {
        nav->addSubview(bordered({16 + i * 120.0, 54, 100, 34}, Color::rgba(0.2, 0.4, 0.9)));
    }
    window->addSubview(nav);

    auto table = std::make_shared<ui::TableView>();
    table->setFrame({0, 100, 390, 700});
    table->setBackgroundColor(Color::rgba(0.95, 0.95, 0.96));
    table->setClipsToBounds(true);
    table->setContentOffset({0, 22});
    for (int row = 0; row < 17; ++row) {
        auto cell = std::make_shared<ui::TableViewCell>();
        cell->setFrame({0, row * 44.0, 390, 43});
        cell->setBackgroundColor(Color::white());
        cell->setClipsToBounds(true);
        auto content = cell->contentView();
        content->setFrame({12, 4, 366, 36});
        auto image = std::make_shared<ui::ImageView>();
        image->setFrame({0, 0, 36, 36});
        image->setImage(picture);
        image->setClipsToBounds(true);
        content->addSubview(image);
        auto texts = ui::View::make(Rect{48, 2, 250, 32});
        for (int t = 0; t < 4; ++t) {
            texts->addSubview(textLine({0, t * 8.0, 60 + rng.next() * 170, 6}, t == 0 ? 1 : 0.6));
        }
        content->addSubview(texts);
        auto badge = bordered({320, 6, 36, 24}, Color::rgba(0.9, 0.2, 0.2), 0.85);
        badge->setTransform(AffineTransform::makeRotation(0.2 * (row % 3 - 1)));
        badge->addSubview(box({8, 6, 20, 12}, Color::white()));
        content->addSubview(badge);
        cell->addSubview(box({12, 43, 378, 1}, Color::rgba(0.85, 0.85, 0.85)));
        table->addSubview(cell);
    }
    window->addSubview(table);

    auto tabs = box({0, 800, 390, 44}, Color::rgba(0.98, 0.98, 0.98), 0.9);
    for (int i = 0; i < 5; ++i) {
        auto tab = box({i * 78.0 + 19, 4, 40, 36}, Color::clear(), 1, true);
        auto icon = ui::View::make(Rect{10, 2, 20, 20});
        icon->setDrawCallback([](gfx::ImageContext& context, const Rect& rect) {
            context.setFillColor(Color::rgba(0.3, 0.3, 0.35));
            context.fillEllipseInRect(rect);
        });
        tab->addSubview(icon);
        tab->addSubview(textLine({4, 26, 32, 6}, 1));
        tabs->addSubview(tab);
    }
    window->addSubview(tabs);

    auto card = bordered({40, 300, 310, 180}, Color::rgba(0.15, 0.15, 0.2), 0.8);
    card->setTransform(AffineTransform::makeRotation(-0.05));
    auto cardImage = std::make_shared<ui::ImageView>();
    cardImage->setFrame({20, 20, 270, 100});
    cardImage->setImage(picture);
    card->addSubview(cardImage);
    card->addSubview(bordered({20, 135, 120, 30}, Color::rgba(0.3, 0.6, 1.0)));
    card->addSubview(bordered({170, 135, 120, 30}, Color::rgba(0.5, 0.5, 0.55)));
    window->addSubview(card);
    return {window, count(*window)};
}

const Screen& screen() {
    static const Screen s = buildScreen();
    return s;
}

gfx::Image drawScreen(bool renderInContext) {
    const auto& window = screen().window;
    gfx::beginImageContextWithOptions(window->bounds().size, false, 0);
    auto* context = gfx::currentContext();
    if (renderInContext) {
        window->renderInContext(*context);
    } else {
        window->drawViewHierarchyInRect(window->bounds(), false);
    }
    gfx::Image image = gfx::imageFromCurrentImageContext();
    gfx::endImageContext();
    return image;
}

const gfx::Image& drawnScreen() {
    static const gfx::Image image = drawScreen(false);
    return image;
}

void BM_DrawViewHierarchy(benchmark::State& state) {
    state.counters["views"] = screen().views;
    for (auto _ : state) {
        benchmark::DoNotOptimize(drawScreen(false));
    }
}
BENCHMARK(BM_DrawViewHierarchy)->Unit(benchmark::kMillisecond);

void BM_RenderInContext(benchmark::State& state) {
    state.counters["views"] = screen().views;
    for (auto _ : state) {
        benchmark::DoNotOptimize(drawScreen(true));
    }
}
BENCHMARK(BM_RenderInContext)->Unit(benchmark::kMillisecond);

// The renderer alone: the same context is drawn into again and again, so that opening a bitmap of
// 1170x2532 pixels and copying it into an image are left out.
void BM_RenderOnly(benchmark::State& state) {
    const auto& window = screen().window;
    gfx::ImageContext context(window->bounds().size, false, 0);
    for (auto _ : state) {
        context.clearRect(window->bounds());
        window->renderInContext(context);
        benchmark::DoNotOptimize(context.pixelAt(0, 0));
    }
    state.counters["views"] = screen().views;
}
BENCHMARK(BM_RenderOnly)->Unit(benchmark::kMillisecond);

void BM_EncodeJpegQuality1(benchmark::State& state) {
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes = gfx::jpegData(drawnScreen(), 1.0).size();
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodeJpegQuality1)->Unit(benchmark::kMillisecond);

void BM_EncodePng(benchmark::State& state) {
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes = gfx::pngData(drawnScreen()).size();
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodePng)->Unit(benchmark::kMillisecond);

// Converting the on-screen rectangle of every view to the window, as masking and the view hierarchy
// do once per view.
void BM_ConvertEveryViewToWindow(benchmark::State& state) {
    std::vector<std::shared_ptr<ui::View>> all;
    std::vector<std::shared_ptr<ui::View>> pending{screen().window};
    while (!pending.empty()) {
        auto view = pending.back();
        pending.pop_back();
        all.push_back(view);
        pending.insert(pending.end(), view->subviews().begin(), view->subviews().end());
    }
    for (auto _ : state) {
        for (const auto& view : all) {
            benchmark::DoNotOptimize(view->convertRect(view->bounds(), nullptr, ui::LayerTree::Presentation));
        }
    }
    state.counters["views"] = static_cast<double>(all.size());
}
BENCHMARK(BM_ConvertEveryViewToWindow)->Unit(benchmark::kMicrosecond);

}  // namespace

// BDX_BENCH_SCREEN_PNG=<file> writes the drawn screen there first, to look at what is measured.
int main(int argc, char** argv) {
    if (const char* path = std::getenv("BDX_BENCH_SCREEN_PNG")) {
        const bdx::Data png = gfx::pngData(drawnScreen());
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
