#include "foundation/Clock.h"
#include "foundation/Singleton.h"

#include <chrono>
#include <mutex>
#include <vector>

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

// Leaked on purpose: worker threads may still read the clock while static objects are destroyed at
// exit.
struct ClockState {
    std::mutex mutex;
    std::shared_ptr<Clock> clock = std::make_shared<RealClock>();
    std::mutex observersMutex;
    std::vector<Clock::InstallObserver> observers;
};

ClockState& state() {
    return neverDestroyed<ClockState>();
}

}  // namespace

std::shared_ptr<Clock> Clock::current() {
    ClockState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.clock;
}

void Clock::install(std::shared_ptr<Clock> clock) {
    ClockState& s = state();
    std::shared_ptr<Clock> previous;
    std::shared_ptr<Clock> installed = clock ? std::move(clock) : std::make_shared<RealClock>();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        previous = std::move(s.clock);
        s.clock = installed;
    }
    std::vector<InstallObserver> observers;
    {
        std::lock_guard<std::mutex> lock(s.observersMutex);
        observers = s.observers;
    }
    for (auto& observer : observers) {
        observer(previous, installed);
    }
}

void Clock::addInstallObserver(InstallObserver observer) {
    if (!observer) {
        return;
    }
    ClockState& s = state();
    std::lock_guard<std::mutex> lock(s.observersMutex);
    s.observers.push_back(std::move(observer));
}

}  // namespace bdx
