#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>

// Text that keeps only its newest lines: a log that may be fed forever without growing.
class BDXLineLimitedString {
  public:
    BDXLineLimitedString();
    explicit BDXLineLimitedString(std::size_t linesLimit);

    // Appends one line; past the limit the oldest line goes.
    void addLine(const std::string& line);
    // The kept lines, oldest first, joined with "\n"; "" when none was added.
    std::string getString() const;

  private:
    std::deque<std::string> lines_;
    std::size_t linesLimit_;
    mutable std::mutex syncLock_;
};
