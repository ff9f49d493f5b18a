#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "annotation/BDXShapeRecognitionEngine.h"
#include "platform/gfx/Geometry.h"
#include "platform/gfx/Image.h"

namespace bdx {
class DispatchQueue;
}

// The front door of stroke recognition: hands each stroke to its engine on a concurrent background
// queue, so that the caller's thread never waits for the matching. The result comes back on that queue;
// moving it to the main queue is the caller's business.
class BDXShapeRecognizer : public std::enable_shared_from_this<BDXShapeRecognizer> {
    struct Passkey {};

  public:
    using ReturnBlock = BDXShapeRecognitionEngine::ReturnBlock;

    // A recogniser, and a new work queue "com.bdx.shapeRecogentionQueue" that replaces the process-wide
    // one every recogniser sends its strokes to.
    static std::shared_ptr<BDXShapeRecognizer> init();
    explicit BDXShapeRecognizer(Passkey) {}

    // Made on first read; one per recogniser.
    std::shared_ptr<BDXShapeRecognitionEngine> recgonizingEngine();

    // Queues the stroke (view coordinates) and returns at once. The block runs exactly once, on the work
    // queue, unless this recogniser is gone by the time the queue gets to the stroke: then nothing runs.
    void recognizeDrawing(const bdx::gfx::Image& image, const std::vector<bdx::gfx::Point>& points,
                          ReturnBlock withReturnBlock);

    // The work queue in force: the one the latest recogniser made, or nullptr before the first.
    static std::shared_ptr<bdx::DispatchQueue> recognitionQueue();

  private:
    std::mutex engineMutex_;
    std::shared_ptr<BDXShapeRecognitionEngine> recgonizingEngine_;
};
