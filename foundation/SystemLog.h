// Public header: installed with the library for hosts to include.
#pragma once

#include <string>
#include <string_view>

namespace bdx {

// The system log of a Linux host: syslog lines ("<priority>Mmm dd hh:mm:ss tag[pid]: message", facility
// user) sent as datagrams to the syslog socket. The C library's syslog() always talks to /dev/log; this
// writer takes the socket's path as a setting, so that a host in a container (or a test) can hand the lines
// to a socket of its own choosing and read them back.
//
// Safe from any thread; one datagram per line, so lines of different threads never mix. A service that
// listens on a stream socket gets each line ended by a NUL, as the C library sends it.
class SystemLog {
  public:
    static constexpr const char* kDefaultSocketPath = "/dev/log";

    // The socket that lines go to; kDefaultSocketPath until set. Dropped by resetAllSingletons().
    static std::string socketPath();
    static void setSocketPath(std::string path);

    // Whether a syslog service listens at socketPath(): the path is a socket.
    static bool isAvailable();

    // Sends the line at `priority` (a LOG_* level of <syslog.h>; the user facility is added). A line that
    // cannot be delivered is dropped: the system log is never worth failing the caller for.
    static void send(int priority, std::string_view line);
};

}  // namespace bdx
