#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "core/BDXSafeMutableDictionary.h"
#include "foundation/DispatchQueue.h"

// Delayed blocks with at most one pending per identifier: a block asked for while another with its
// identifier waits, or runs, is dropped, and the pending one keeps its time. Pending blocks cannot be
// cancelled.
class BDXTimedDispatcher {
  public:
    static std::shared_ptr<BDXTimedDispatcher> sharedDispatcher();

    // Runs `block` on `On` at the absolute time `when` (see bdx::dispatchTime; a time already past runs
    // it at once, bdx::kDispatchTimeForever never) unless a block with the same identifier is pending.
    void dispatchAfter(bdx::DispatchTime when, const std::shared_ptr<bdx::DispatchQueue>& On,
                       const std::string& ID, std::function<void()> block);

  private:
    std::shared_ptr<BDXSafeMutableDictionary<std::string, std::function<void()>>> toBeDispatchedBlocks_ =
        std::make_shared<BDXSafeMutableDictionary<std::string, std::function<void()>>>();
    // Makes the look-up and the storing of an identifier one step.
    std::mutex admission_;
};
