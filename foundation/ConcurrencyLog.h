#pragma once

#include <functional>

namespace bdx {

// Where the queues, timers and operations report what goes wrong: an exception that escaped a block,
// a misuse that is ignored, or a programming error that cannot go on (a sync that would wait for
// itself). Lines go to standard error with the library's prefix.
class ConcurrencyLog {
  public:
    // Logs one line and carries on.
    [[gnu::format(printf, 1, 2)]] static void error(const char* format, ...);
    // Logs one line and aborts the process: for errors that would otherwise hang it silently.
    [[noreturn, gnu::format(printf, 1, 2)]] static void fatal(const char* format, ...);
    // Runs `work` behind an exception barrier, for code that the library runs at its edges (the host's
    // handlers, callbacks, thread entries): whatever it throws is logged as a fault line naming
    // `edge` and dropped, and the caller goes on. False when something was thrown.
    static bool runGuarded(const char* edge, const std::function<void()>& work) noexcept;
};

}  // namespace bdx
