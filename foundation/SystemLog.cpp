#include "foundation/SystemLog.h"

#include <errno.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

#include "foundation/Singleton.h"
#include "foundation/SingletonReset.h"

namespace bdx {
namespace {

struct SystemLogState {
    std::mutex mutex;
    std::string path = SystemLog::kDefaultSocketPath;
    // Connected to `path` once the first line went out; -1 before and after a failure.
    int socket = -1;
    bool stream = false;
    bool resetRegistered = false;
};

SystemLogState& state() {
    return neverDestroyed<SystemLogState>();
}

void closeLocked(SystemLogState& s) {
    if (s.socket >= 0) {
        ::close(s.socket);
        s.socket = -1;
    }
}

bool connectLocked(SystemLogState& s) {
    if (s.socket >= 0) {
        return true;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (s.path.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, s.path.c_str(), s.path.size() + 1);
    // Datagrams as syslog services take them; a service that listens on a stream socket instead gets
    // the lines as the C library sends them there, each ended by a NUL.
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        const int fd = ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
        if (fd < 0) {
            return false;
        }
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            s.socket = fd;
            s.stream = type == SOCK_STREAM;
            return true;
        }
        const int failure = errno;
        ::close(fd);
        if (failure != EPROTOTYPE) {
            return false;
        }
    }
    return false;
}

// What the C library's syslog() puts in front of the message, with the program's short name as the tag.
std::string header(int priority) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%h %e %T", &local);
    char text[128];
    std::snprintf(text, sizeof text, "<%d>%s %s[%d]: ", LOG_USER | (priority & LOG_PRIMASK), stamp,
                  program_invocation_short_name, static_cast<int>(::getpid()));
    return text;
}

}  // namespace

std::string SystemLog::socketPath() {
    auto& s = state();
    std::lock_guard<std::mutex> guard(s.mutex);
    return s.path;
}

void SystemLog::setSocketPath(std::string path) {
    auto& s = state();
    std::lock_guard<std::mutex> guard(s.mutex);
    closeLocked(s);
    s.path = std::move(path);
    if (!s.resetRegistered) {
        s.resetRegistered = true;
        registerSingletonReset([] {
            auto& reset = state();
            std::lock_guard<std::mutex> resetGuard(reset.mutex);
            closeLocked(reset);
            reset.path = kDefaultSocketPath;
            reset.resetRegistered = false;
        });
    }
}

bool SystemLog::isAvailable() {
    struct stat status {};
    return ::stat(socketPath().c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

void SystemLog::send(int priority, std::string_view line) {
    std::string datagram = header(priority);
    datagram.append(line);
    auto& s = state();
    std::lock_guard<std::mutex> guard(s.mutex);
    // A restarted syslog service leaves the old connection dead: reconnect once and try again.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!connectLocked(s)) {
            return;
        }
        if (::send(s.socket, datagram.data(), datagram.size() + (s.stream ? 1 : 0), MSG_NOSIGNAL) >= 0) {
            return;
        }
        if (errno == EMSGSIZE) {
            return;
        }
        closeLocked(s);
    }
}

}  // namespace bdx
