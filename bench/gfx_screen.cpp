// What a screenshot costs: a phone screen of 390x844 points at scale 3 drawn as a view renderer
// draws it (about 200 nested views with transforms, clips, alpha and their own drawing), then
// encoded as JPEG at quality 1.0 and as PNG.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "platform/gfx/ImageCodecs.h"
#include "platform/gfx/ImageContext.h"

namespace {

using namespace bdx::gfx;

constexpr Size kScreen{390, 844};
constexpr double kScale = 3;

// A fixed pseudo-random sequence, so every run draws the same screen.
struct Lcg {
    std::uint32_t s = 12345;
    double next() {
        s = s * 1664525u + 1013904223u;
        return (s >> 8) / double(1 << 24);
    }
};

struct View {
    Rect frame;
    AffineTransform transform;
    double alpha = 1;
    bool clips = false;
    Color background;
    int drawing = 0;  // 0 none, 1 rounded border, 2 ellipse, 3 photo
    std::vector<View> subviews;
};

Image photo() {
    // A 300x200 picture with smooth gradients and fine noise, like a photo in a feed.
    std::vector<std::uint32_t> px(300 * 200);
    Lcg rng;
    for (int y = 0; y < 200; ++y) {
        for (int x = 0; x < 300; ++x) {
            const int n = static_cast<int>(rng.next() * 24);
            const std::uint32_t r = static_cast<std::uint32_t>(std::min(255, x * 255 / 300 + n));
            const std::uint32_t g = static_cast<std::uint32_t>(std::min(255, y * 255 / 200 + n));
            const std::uint32_t b = static_cast<std::uint32_t>(std::min(255, 128 + n * 3));
            px[y * 300 + x] = 0xFF000000u | r << 16 | g << 8 | b;
        }
    }
    return Image::withPixels(300, 200, std::move(px), 1.0);
}

int countViews(const View& v) {
    int n = 1;
    for (const View& s : v.subviews) {
        n += countViews(s);
    }
    return n;
}

// A window of list cells, each with a nested content tree, a few rotated badges and translucent
// overlays.
View buildScreen() {
    Lcg rng;
    View window{{0, 0, kScreen.width, kScreen.height}, {}, 1, false, Color::white(), 0, {}};
    View nav{{0, 0, 390, 100}, {}, 0.94, false, Color::rgba(0.97, 0.97, 0.98), 0, {}};
    for (int i = 0; i < 3; ++i) {
        nav.subviews.push_back(
            {{16 + i * 120.0, 54, 100, 34}, {}, 1, true, Color::rgba(0.2, 0.4, 0.9), 1, {}});
    }
    window.subviews.push_back(nav);
    View list{{0, 100, 390, 700}, {}, 1, true, Color::rgba(0.95, 0.95, 0.96), 0, {}};
    for (int row = 0; row < 16; ++row) {
        View cell{{0, row * 44.0, 390, 43}, {}, 1, true, Color::white(), 0, {}};
        View content{{12, 4, 366, 36}, {}, 1, true, Color::clear(), 0, {}};
        content.subviews.push_back(
            {{0, 0, 36, 36}, {}, 1, true, Color::rgba(0.8, 0.8, 0.8), row % 3 == 0 ? 3 : 2, {}});
        View texts{{48, 2, 250, 32}, {}, 1, false, Color::clear(), 0, {}};
        for (int t = 0; t < 4; ++t) {
            texts.subviews.push_back({{0, t * 8.0, 60 + rng.next() * 170, 6},
                                      {},
                                      1,
                                      false,
                                      Color::rgba(0.1, 0.1, 0.1, t == 0 ? 1 : 0.6),
                                      0,
                                      {}});
        }
        content.subviews.push_back(texts);
        View badge{{320, 6, 36, 24},
                   AffineTransform::makeRotation(0.2 * (row % 3 - 1)),
                   0.85,
                   false,
                   Color::rgba(0.9, 0.2, 0.2),
                   1,
                   {}};
        badge.subviews.push_back({{8, 6, 20, 12}, {}, 1, false, Color::white(), 0, {}});
        content.subviews.push_back(badge);
        cell.subviews.push_back(content);
        cell.subviews.push_back({{12, 43, 378, 1}, {}, 1, false, Color::rgba(0.85, 0.85, 0.85), 0, {}});
        list.subviews.push_back(cell);
    }
    window.subviews.push_back(list);
    View tabs{{0, 800, 390, 44}, {}, 0.9, false, Color::rgba(0.98, 0.98, 0.98), 0, {}};
    for (int i = 0; i < 5; ++i) {
        View tab{{i * 78.0 + 19, 4, 40, 36}, {}, 1, true, Color::clear(), 0, {}};
        tab.subviews.push_back({{10, 2, 20, 20}, {}, 1, false, Color::rgba(0.3, 0.3, 0.35), 2, {}});
        tab.subviews.push_back({{4, 26, 32, 6}, {}, 1, false, Color::rgba(0.3, 0.3, 0.35), 0, {}});
        tabs.subviews.push_back(tab);
    }
    window.subviews.push_back(tabs);
    // A floating translucent card turned slightly, over everything.
    View card{{40, 300, 310, 180},
              AffineTransform::makeRotation(-0.05),
              0.8,
              true,
              Color::rgba(0.15, 0.15, 0.2),
              1,
              {}};
    card.subviews.push_back({{20, 20, 270, 100}, {}, 1, true, Color::clear(), 3, {}});
    card.subviews.push_back({{20, 135, 120, 30}, {}, 1, true, Color::rgba(0.3, 0.6, 1.0), 1, {}});
    card.subviews.push_back({{170, 135, 120, 30}, {}, 1, true, Color::rgba(0.5, 0.5, 0.55), 1, {}});
    window.subviews.push_back(card);
    return window;
}

// Draws a view the way a layer tree is rendered: position by centre, transform about the anchor
// point, clip to bounds, alpha over the whole subtree.
void drawView(ImageContext& ctx, const View& v, const Image& picture) {
    ctx.saveGState();
    ctx.translateCTM(v.frame.midX(), v.frame.midY());
    ctx.concatCTM(v.transform);
    ctx.translateCTM(-v.frame.size.width / 2, -v.frame.size.height / 2);
    const Rect bounds{0, 0, v.frame.size.width, v.frame.size.height};
    const bool group = v.alpha < 1 && !v.subviews.empty();
    if (group) {
        ctx.setAlpha(v.alpha);
        ctx.beginTransparencyLayerWithRect(bounds);
    } else {
        ctx.setAlpha(v.alpha);
    }
    if (v.clips) {
        ctx.clipToRect(bounds);
    }
    if (v.background.a > 0) {
        ctx.setFillColor(v.background);
        ctx.fillRect(bounds);
    }
    switch (v.drawing) {
        case 1: {
            Path border = Path::withRoundedRect(bounds.insetBy(1, 1), 8);
            border.setLineWidth(2);
            ctx.setStrokeColor(Color::rgba(0, 0, 0, 0.3));
            ctx.stroke(border);
            break;
        }
        case 2:
            ctx.setFillColor(Color::rgba(0.4, 0.7, 0.4));
            ctx.fillEllipseInRect(bounds.insetBy(4, 4));
            break;
        case 3:
            ctx.drawImage(picture, bounds);
            break;
        default:
            break;
    }
    for (const View& s : v.subviews) {
        drawView(ctx, s, picture);
    }
    if (group) {
        ctx.endTransparencyLayer();
    }
    ctx.restoreGState();
}

Image drawScreen(const View& window, const Image& picture) {
    ImageContext ctx(kScreen, false, kScale);
    drawView(ctx, window, picture);
    return ctx.takeImage();
}

const View& screen() {
    static const View s = buildScreen();
    return s;
}

const Image& picture() {
    static const Image p = photo();
    return p;
}

const Image& drawnScreen() {
    static const Image i = drawScreen(screen(), picture());
    return i;
}

void BM_DrawScreen(benchmark::State& state) {
    state.counters["views"] = countViews(screen());
    for (auto _ : state) {
        benchmark::DoNotOptimize(drawScreen(screen(), picture()));
    }
}
BENCHMARK(BM_DrawScreen)->Unit(benchmark::kMillisecond);

void BM_EncodeJpegQuality1(benchmark::State& state) {
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes = bdx::gfx::jpegData(drawnScreen(), 1.0).size();
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodeJpegQuality1)->Unit(benchmark::kMillisecond);

void BM_EncodePng(benchmark::State& state) {
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes = bdx::gfx::pngData(drawnScreen()).size();
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodePng)->Unit(benchmark::kMillisecond);

void BM_DecodeJpeg(benchmark::State& state) {
    const bdx::Data jpeg = bdx::gfx::jpegData(drawnScreen(), 1.0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(bdx::gfx::imageWithData(jpeg, kScale));
    }
}
BENCHMARK(BM_DecodeJpeg)->Unit(benchmark::kMillisecond);

void BM_DecodePng(benchmark::State& state) {
    const bdx::Data png = bdx::gfx::pngData(drawnScreen());
    for (auto _ : state) {
        benchmark::DoNotOptimize(bdx::gfx::imageWithData(png, kScale));
    }
}
BENCHMARK(BM_DecodePng)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
