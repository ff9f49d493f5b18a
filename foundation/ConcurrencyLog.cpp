#include "foundation/ConcurrencyLog.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "foundation/Console.h"

namespace bdx {
namespace {

void writeLine(const char* format, va_list args) {
    // One buffer and one write, so that lines from several threads do not interleave.
    char line[1024];
    int prefix = std::snprintf(line, sizeof line, "[Brindlex] ");
    std::vsnprintf(line + prefix, sizeof line - static_cast<size_t>(prefix) - 1, format, args);
    Console::logFault(line);
}

}  // namespace

void ConcurrencyLog::error(const char* format, ...) {
    va_list args;
    va_start(args, format);
    writeLine(format, args);
    va_end(args);
}

bool ConcurrencyLog::runGuarded(const char* edge, const std::function<void()>& work) noexcept {
    try {
        work();
        return true;
    } catch (const std::exception& e) {
        error("An exception escaped %s and was dropped: %s", edge, e.what());
    } catch (...) {
        error("An exception escaped %s and was dropped", edge);
    }
    return false;
}

void ConcurrencyLog::fatal(const char* format, ...) {
    // A programming error is said on standard error even when a host silenced the console: the process
    // is about to stop and this line is all its developer gets.
    Console::setProcessOutputEnabled(true);
    va_list args;
    va_start(args, format);
    writeLine(format, args);
    va_end(args);
    std::abort();
}

}  // namespace bdx
