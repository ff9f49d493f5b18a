#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

#include "foundation/DispatchQueue.h"

// A list that keeps only its newest entries: the ring behind every in-memory log. Adding never waits
// for a reader; a read sees every add made before it.
template <typename Object>
class BDXCountLimitedArray {
  public:
    BDXCountLimitedArray() : BDXCountLimitedArray(100) {}
    explicit BDXCountLimitedArray(std::size_t maximumCount)
        : state_(std::make_shared<State>()),
          queue_(bdx::DispatchQueue::create("BDXCountLimitedArrayQueue",
                                            bdx::DispatchQueue::Attribute::Serial)) {
        state_->maximumCount = maximumCount;
    }
    static std::shared_ptr<BDXCountLimitedArray> initWithMaximumCount(std::size_t maximumCount) {
        return std::make_shared<BDXCountLimitedArray>(maximumCount);
    }

    // Appends on the array's queue and returns at once; past the maximum the oldest entry goes.
    void addObject(Object object) {
        // The block holds the entries, not the array, so that an add still queued when the array goes
        // touches nothing freed.
        queue_->barrierAsync([state = state_, object = std::move(object)]() mutable {
            state->objects.push_back(std::move(object));
            if (state->objects.size() > state->maximumCount) {
                state->objects.pop_front();
            }
        });
    }

    // A copy of the entries, oldest first.
    std::vector<Object> objects() const {
        std::vector<Object> copy;
        queue_->sync([&] { copy.assign(state_->objects.begin(), state_->objects.end()); });
        return copy;
    }

    std::size_t maximumCount() const { return state_->maximumCount; }

  private:
    struct State {
        std::deque<Object> objects;
        std::size_t maximumCount = 100;
    };
    std::shared_ptr<State> state_;
    std::shared_ptr<bdx::DispatchQueue> queue_;
};
