#include "annotation/BDXShapeRecognizer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>

#include "foundation/DispatchQueue.h"
#include "testing/DispatchTesting.h"
#include "testing/HandDrawnStrokes.h"

using bdx::gfx::Rect;

namespace {

class BDXShapeRecognizerTest : public bdx::testing::DispatchTest {
  protected:
    // Holds the work queue until release(): a barrier runs alone, and everything queued after it waits.
    void holdQueue(const std::shared_ptr<bdx::DispatchQueue>& queue) {
        std::shared_future<void> released = release_.get_future().share();
        queue->barrierAsync([released] { released.wait(); });
    }
    void release() { release_.set_value(); }

    std::vector<bdx::gfx::Point> loop = bdx::testing::HandDrawnStrokes(5, 0.0).loop({200, 400}, 100, 90, 0);

  private:
    std::promise<void> release_;
};

}  // namespace

TEST_F(BDXShapeRecognizerTest, RecognisesOnItsConcurrentQueueAndCallsBackExactlyOnce) {
    std::shared_ptr<BDXShapeRecognizer> recognizer = BDXShapeRecognizer::init();
    std::shared_ptr<bdx::DispatchQueue> queue = BDXShapeRecognizer::recognitionQueue();
    ASSERT_TRUE(queue);
    EXPECT_EQ(queue->label(), "com.bdx.shapeRecogentionQueue");
    EXPECT_FALSE(queue->isSerial());
    EXPECT_EQ(recognizer->recgonizingEngine(), recognizer->recgonizingEngine()) << "made once, on first read";

    holdQueue(queue);
    std::atomic<int> calls{0};
    std::string label;
    bool onMain = true;
    BDXRecognizedShape shape = BDXRecognizedShapeNone;
    recognizer->recognizeDrawing({}, loop, [&](BDXRecognizedShape s, double, Rect, Rect) {
        label = bdx::DispatchQueue::currentLabel();
        onMain = bdx::DispatchQueue::main()->isCurrent();
        shape = s;
        ++calls;
    });
    EXPECT_EQ(calls, 0) << "the call returns before the stroke is looked at";
    release();
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(label, "com.bdx.shapeRecogentionQueue");
    EXPECT_FALSE(onMain);
    EXPECT_EQ(shape, BDXRecognizedShapeCircle);
}

TEST_F(BDXShapeRecognizerTest, ARecognizerGoneBeforeItsTurnNeverCallsBack) {
    std::shared_ptr<BDXShapeRecognizer> recognizer = BDXShapeRecognizer::init();
    holdQueue(BDXShapeRecognizer::recognitionQueue());
    std::atomic<int> calls{0};
    recognizer->recognizeDrawing({}, loop, [&](BDXRecognizedShape, double, Rect, Rect) { ++calls; });
    std::weak_ptr<BDXShapeRecognizer> watched = recognizer;
    recognizer.reset();
    EXPECT_TRUE(watched.expired()) << "the queued stroke does not keep its recogniser";
    release();
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(calls, 0);
}

TEST_F(BDXShapeRecognizerTest, EachNewRecognizerReplacesTheQueueAllOfThemUse) {
    std::shared_ptr<BDXShapeRecognizer> first = BDXShapeRecognizer::init();
    std::shared_ptr<bdx::DispatchQueue> firstQueue = BDXShapeRecognizer::recognitionQueue();
    std::shared_ptr<BDXShapeRecognizer> second = BDXShapeRecognizer::init();
    std::shared_ptr<bdx::DispatchQueue> secondQueue = BDXShapeRecognizer::recognitionQueue();
    ASSERT_NE(firstQueue, secondQueue);
    EXPECT_NE(first->recgonizingEngine(), second->recgonizingEngine());

    // Held on the newer queue, the older recogniser's stroke waits too.
    holdQueue(secondQueue);
    std::atomic<int> calls{0};
    first->recognizeDrawing({}, loop, [&](BDXRecognizedShape, double, Rect, Rect) { ++calls; });
    firstQueue->barrierSync([] {});
    EXPECT_EQ(calls, 0);
    release();
    bdx::testing::waitUntilIdle();
    EXPECT_EQ(calls, 1);
}
