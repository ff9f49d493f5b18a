#include "testing/WorkerAtExit.h"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>

namespace bdx::testing {
namespace {

struct Hand {
    std::mutex mutex;
    std::condition_variable changed;
    bool released = false;
    bool finished = false;
    std::function<void()> work;
};

// Plain pointer: an exit handler must not depend on a static that exit destroys.
Hand* hand = nullptr;

void writeLine(const std::string& line) {
    const std::string text = line + "\n";
    [[maybe_unused]] auto written = ::write(STDERR_FILENO, text.data(), text.size());
}

void releaseWorkerAndWait() {
    std::unique_lock lock(hand->mutex);
    hand->released = true;
    hand->changed.notify_all();
    if (!hand->changed.wait_for(lock, std::chrono::seconds(60), [] { return hand->finished; })) {
        writeLine("the worker did not finish during exit");
        ::_exit(3);
    }
}

}  // namespace

void runOnWorkerDuringExit(std::function<void()> work) {
    hand = new Hand;
    hand->work = std::move(work);
    std::thread([] {
        {
            std::unique_lock lock(hand->mutex);
            hand->changed.wait(lock, [] { return hand->released; });
        }
        hand->work();
        std::lock_guard lock(hand->mutex);
        hand->finished = true;
        hand->changed.notify_all();
    }).detach();
    // Handlers and static destructors run in the reverse order of their registration: registered before
    // the object under test is first made, this runs after that object's static would be destroyed.
    std::atexit(releaseWorkerAndWait);
}

EndsProcessWhenDropped::~EndsProcessWhenDropped() {
    writeLine(message_);
    ::_exit(2);
}

}  // namespace bdx::testing
