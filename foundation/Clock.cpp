#include "foundation/Clock.h"

#include <atomic>
#include <chrono>
#include <mutex>

namespace bdx {
namespace {

class RealClock final : public Clock {
  public:
    double now() const override {
        using namespace std::chrono;
        return duration<double>(system_clock::now().time_since_epoch()).count();
    }
    double monotonicNow() const override {
        using namespace std::chrono;
        return duration<double>(steady_clock::now().time_since_epoch()).count();
    }
};

std::mutex& clockMutex() {
    static std::mutex m;
    return m;
}

std::shared_ptr<Clock>& installedClock() {
    static std::shared_ptr<Clock> clock = std::make_shared<RealClock>();
    return clock;
}

}  // namespace

std::shared_ptr<Clock> Clock::current() {
    std::lock_guard<std::mutex> lock(clockMutex());
    return installedClock();
}

void Clock::install(std::shared_ptr<Clock> clock) {
    std::lock_guard<std::mutex> lock(clockMutex());
    installedClock() = clock ? std::move(clock) : std::make_shared<RealClock>();
}

}  // namespace bdx
