// Time to recognise one hand-drawn stroke, drawing every template with the stroke against counting on
// template masks, on the same strokes in one run. The first stroke of each method is timed on its own:
// for the masks it includes drawing all 1,332 template rasters, which happens once per process.

#include <benchmark/benchmark.h>

#include <vector>

#include "annotation/BDXShapeRecognitionEngine.h"
#include "testing/HandDrawnStrokes.h"

namespace {

using bdx::gfx::Point;
using Method = BDXShapeRecognitionEngine::MatchingMethod;

const std::vector<std::vector<Point>>& strokes() {
    static const std::vector<std::vector<Point>> all = [] {
        bdx::testing::HandDrawnStrokes hand(7);
        std::vector<std::vector<Point>> made;
        for (int i = 0; i < 32; ++i) {
            Point centre{hand.uniform(120, 270), hand.uniform(200, 600)};
            double size = hand.uniform(60, 140);
            switch (i % 4) {
                case 0:
                    made.push_back(
                        hand.loop(centre, size, size * hand.uniform(0.6, 1.0), hand.uniform(0, 180)));
                    break;
                case 1:
                    made.push_back(
                        hand.box(centre, size * 1.5, size * hand.uniform(0.5, 1.5), hand.uniform(-8, 8)));
                    break;
                case 2:
                    made.push_back(hand.arrow(centre, size * 1.8, 90 * (i % 16 / 4) + hand.uniform(-3, 3)));
                    break;
                default:
                    made.push_back(
                        hand.line(centre, {centre.x + size, centre.y + hand.uniform(-size, size)}));
            }
        }
        return made;
    }();
    return all;
}

void recognise(BDXShapeRecognitionEngine& engine, const std::vector<Point>& points) {
    engine.recognizeDrawing(bdx::gfx::Image(), points,
                            [](BDXRecognizedShape shape, double angle, bdx::gfx::Rect, bdx::gfx::Rect) {
                                benchmark::DoNotOptimize(shape);
                                benchmark::DoNotOptimize(angle);
                            });
}

void recognitionPerStroke(benchmark::State& state, Method method) {
    BDXShapeRecognitionEngine engine(method);
    const auto& all = strokes();
    std::size_t next = 0;
    for (auto _ : state) {
        recognise(engine, all[next]);
        next = (next + 1) % all.size();
    }
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

// Registered in this order on purpose: the masks' first stroke must find the template rasters undrawn.
BENCHMARK_CAPTURE(recognitionPerStroke, masks_first_stroke, Method::TemplateMasks)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(recognitionPerStroke, masks_steady, Method::TemplateMasks)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(recognitionPerStroke, drawing_first_stroke, Method::Drawing)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(recognitionPerStroke, drawing_steady, Method::Drawing)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
