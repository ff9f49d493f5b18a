#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/BDXFeatures.h"

namespace bdx::testing {

// A registered flag's delegate that writes down what it hears; it is told on the features queue.
class FeatureDelegateRecorder : public BDXFeatureServerValueDelegate {
  public:
    using Calls = std::vector<std::pair<std::string, bool>>;

    void didUpdateServerValueForFeature(const std::string& feature, bool withServerPermission) override {
        std::lock_guard<std::mutex> guard(mutex_);
        calls_.emplace_back(feature, withServerPermission);
    }
    Calls heard() {
        std::lock_guard<std::mutex> guard(mutex_);
        return calls_;
    }

  private:
    std::mutex mutex_;
    Calls calls_;
};

}  // namespace bdx::testing
