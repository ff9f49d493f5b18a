#include "foundation/ThreadIdentity.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>

namespace bdx {
namespace {
std::atomic<std::uint64_t> nextToken{1};
}  // namespace

std::uint64_t ThreadIdentity::token() {
    thread_local const std::uint64_t token = nextToken.fetch_add(1, std::memory_order_relaxed);
    return token;
}

bool ThreadIdentity::isInitialThread() {
    // On Linux the initial thread's kernel id equals the process id.
    thread_local const bool initial = static_cast<pid_t>(::syscall(SYS_gettid)) == ::getpid();
    return initial;
}

}  // namespace bdx
