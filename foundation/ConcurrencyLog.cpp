#include "foundation/ConcurrencyLog.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace bdx {
namespace {

void writeLine(const char* format, va_list args) {
    // One buffer and one write, so that lines from several threads do not interleave.
    char line[1024];
    int prefix = std::snprintf(line, sizeof line, "[Brindlex] ");
    std::vsnprintf(line + prefix, sizeof line - static_cast<size_t>(prefix) - 1, format, args);
    std::fprintf(stderr, "%s\n", line);
    std::fflush(stderr);
}

}  // namespace

void ConcurrencyLog::error(const char* format, ...) {
    va_list args;
    va_start(args, format);
    writeLine(format, args);
    va_end(args);
}

void ConcurrencyLog::fatal(const char* format, ...) {
    va_list args;
    va_start(args, format);
    writeLine(format, args);
    va_end(args);
    std::abort();
}

}  // namespace bdx
