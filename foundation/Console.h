// Public header: installed with the library for hosts to include.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace bdx {

// The process's text outputs: the console (standard output, what `puts` writes), the system log (syslog,
// standing for the platform's unified log) and the foundation's own fault line for what it cannot do.
//
// Sinks let tests and tools watch every line that goes out; they are called on the writing thread, outside
// any lock, and a line written from inside a sink reaches the process streams only (never the sinks again).
// Installed sinks are dropped by resetAllSingletons().
class Console {
  public:
    enum class Channel { StandardOutput, SystemLog, Fault };
    // The platform log's message types, mapped onto syslog priorities.
    enum class LogType { Default, Info, Debug, Error, Fault };

    struct Line {
        Channel channel;
        LogType type;
        std::string text;
    };
    using Sink = std::function<void(const Line&)>;
    using SinkToken = std::uint64_t;

    // Writes the line and a newline to standard output.
    static void puts(std::string_view line);
    // Writes the line to the system log (bdx::SystemLog), at the type's priority.
    static void systemLog(std::string_view line, LogType type = LogType::Default);
    // The syslog priority of a type: notice, info, debug, error and critical.
    static int syslogPriority(LogType type);
    // The foundation's diagnostic for a failure it absorbs: to the system log (as an error) and to standard
    // error, so that it is seen with or without a log viewer.
    static void logFault(std::string_view line);

    static SinkToken addSink(Sink sink);
    static void removeSink(SinkToken token);

    // Off: lines reach the sinks only. Tests that capture output turn it off to keep their own output clean;
    // resetAllSingletons() turns it back on.
    static void setProcessOutputEnabled(bool enabled);
    static bool isProcessOutputEnabled();
};

}  // namespace bdx
