#include "annotation/BDXShapeRecognizer.h"

#include <utility>

#include "foundation/DispatchQueue.h"
#include "foundation/Singleton.h"

namespace {

std::mutex& queueMutex() {
    return bdx::neverDestroyed<std::mutex, struct RecognitionQueueTag>();
}

std::shared_ptr<bdx::DispatchQueue>& sharedQueue() {
    return bdx::neverDestroyed<std::shared_ptr<bdx::DispatchQueue>, struct RecognitionQueueTag>();
}

}  // namespace

std::shared_ptr<BDXShapeRecognizer> BDXShapeRecognizer::init() {
    auto queue = bdx::DispatchQueue::create("com.bdx.shapeRecogentionQueue",
                                            bdx::DispatchQueue::Attribute::Concurrent);
    {
        std::lock_guard<std::mutex> guard(queueMutex());
        sharedQueue() = std::move(queue);
    }
    return std::make_shared<BDXShapeRecognizer>(Passkey{});
}

std::shared_ptr<bdx::DispatchQueue> BDXShapeRecognizer::recognitionQueue() {
    std::lock_guard<std::mutex> guard(queueMutex());
    return sharedQueue();
}

std::shared_ptr<BDXShapeRecognitionEngine> BDXShapeRecognizer::recgonizingEngine() {
    std::lock_guard<std::mutex> guard(engineMutex_);
    if (!recgonizingEngine_) {
        recgonizingEngine_ = std::make_shared<BDXShapeRecognitionEngine>();
    }
    return recgonizingEngine_;
}

void BDXShapeRecognizer::recognizeDrawing(const bdx::gfx::Image& image,
                                          const std::vector<bdx::gfx::Point>& points,
                                          ReturnBlock withReturnBlock) {
    std::shared_ptr<bdx::DispatchQueue> queue = recognitionQueue();
    if (!queue) {
        return;
    }
    // Held weakly: a recogniser dropped before its turn comes recognises nothing and calls nobody back.
    std::weak_ptr<BDXShapeRecognizer> weakSelf = weak_from_this();
    queue->async([weakSelf, image, points, block = std::move(withReturnBlock)] {
        if (std::shared_ptr<BDXShapeRecognizer> self = weakSelf.lock()) {
            self->recgonizingEngine()->recognizeDrawing(image, points, block);
        }
    });
}
