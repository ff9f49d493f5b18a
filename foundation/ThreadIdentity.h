#pragma once

#include <cstdint>

namespace bdx {

// Cheap identity of the calling thread, for the checks the dispatch machinery makes on every block
// (which thread is main, who holds a one-time guard). A token is never reused within the process.
class ThreadIdentity {
  public:
    // A token of the calling thread; never 0.
    static std::uint64_t token();
    // True on the thread the process started with (the one running main()).
    static bool isInitialThread();
};

}  // namespace bdx
