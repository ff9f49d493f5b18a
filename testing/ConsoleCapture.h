#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "foundation/Console.h"

namespace bdx::testing {

// Collects every line written through Console while it lives, from any thread, and keeps them off the
// process's streams so that the test output stays readable.
class ConsoleCapture {
  public:
    ConsoleCapture();
    ~ConsoleCapture();
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    std::vector<Console::Line> lines() const;
    std::vector<std::string> lines(Console::Channel channel) const;
    // True when some line of that channel contains `fragment`.
    bool contains(Console::Channel channel, const std::string& fragment) const;

  private:
    mutable std::mutex mutex_;
    std::vector<Console::Line> lines_;
    Console::SinkToken token_;
    bool wasEnabled_;
};

}  // namespace bdx::testing
