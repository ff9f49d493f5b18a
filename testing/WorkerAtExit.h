#pragma once

#include <functional>
#include <string>

namespace bdx::testing {

// The host's process ending while a worker of the library still runs, made deterministic: a worker thread
// starts now and waits; when the process exits, after the statics made from this call on have been
// destroyed, the worker is released to run `work` and the exit waits for it to finish. Call it before the
// first use of what the test watches, and end the process with std::exit(). For death-test children only.
void runOnWorkerDuringExit(std::function<void()> work);

// An object whose destruction ends the process at once with `message` on stderr and status 2: captured in
// what a process-wide object keeps, it tells that the object was destroyed at exit.
class EndsProcessWhenDropped {
  public:
    explicit EndsProcessWhenDropped(std::string message) : message_(std::move(message)) {}
    EndsProcessWhenDropped(const EndsProcessWhenDropped&) = delete;
    EndsProcessWhenDropped& operator=(const EndsProcessWhenDropped&) = delete;
    ~EndsProcessWhenDropped();

  private:
    std::string message_;
};

}  // namespace bdx::testing
