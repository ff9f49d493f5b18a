#include "foundation/Console.h"

#include <syslog.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "foundation/Singleton.h"
#include "foundation/SingletonReset.h"
#include "foundation/SystemLog.h"

namespace bdx {
namespace {

struct SinkEntry {
    Console::SinkToken token;
    std::shared_ptr<Console::Sink> sink;
};

struct ConsoleState {
    std::mutex mutex;
    std::vector<SinkEntry> sinks;
    Console::SinkToken nextToken = 1;
    bool resetRegistered = false;
    std::atomic<bool> processOutput{true};
};

ConsoleState& state() {
    // Lines may be written by workers and by destructors of other statics at exit.
    return neverDestroyed<ConsoleState>();
}

// Set while this thread runs sinks, so that a sink that writes a line cannot recurse into the sinks.
thread_local bool deliveringToSinks = false;

}  // namespace

int Console::syslogPriority(Console::LogType type) {
    switch (type) {
        case Console::LogType::Default:
            return LOG_NOTICE;
        case Console::LogType::Info:
            return LOG_INFO;
        case Console::LogType::Debug:
            return LOG_DEBUG;
        case Console::LogType::Error:
            return LOG_ERR;
        case Console::LogType::Fault:
            return LOG_CRIT;
    }
    return LOG_NOTICE;
}

namespace {

void deliver(Console::Channel channel, Console::LogType type, std::string_view text) {
    if (deliveringToSinks) {
        return;
    }
    std::vector<std::shared_ptr<Console::Sink>> sinks;
    {
        auto& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        if (s.sinks.empty()) {
            return;
        }
        sinks.reserve(s.sinks.size());
        for (const auto& entry : s.sinks) {
            sinks.push_back(entry.sink);
        }
    }
    deliveringToSinks = true;
    const Console::Line line{channel, type, std::string(text)};
    for (const auto& sink : sinks) {
        try {
            (*sink)(line);
        } catch (...) {
            // A sink that throws loses its line; it must not take the writer down.
        }
    }
    deliveringToSinks = false;
}

void writeToStream(std::FILE* stream, std::string_view prefix, std::string_view text) {
    std::string buffer;
    buffer.reserve(prefix.size() + text.size() + 1);
    buffer.append(prefix).append(text).push_back('\n');
    // One write per line keeps lines from different threads whole.
    std::fwrite(buffer.data(), 1, buffer.size(), stream);
}

void resetConsole() {
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.sinks.clear();
    s.resetRegistered = false;
    s.processOutput = true;
}

void registerResetLocked(ConsoleState& s) {
    if (!s.resetRegistered) {
        s.resetRegistered = true;
        registerSingletonReset(resetConsole);
    }
}

}  // namespace

void Console::puts(std::string_view line) {
    if (state().processOutput) {
        writeToStream(stdout, {}, line);
    }
    deliver(Channel::StandardOutput, LogType::Default, line);
}

void Console::systemLog(std::string_view line, LogType type) {
    if (state().processOutput) {
        SystemLog::send(syslogPriority(type), line);
    }
    deliver(Channel::SystemLog, type, line);
}

void Console::logFault(std::string_view line) {
    if (state().processOutput) {
        SystemLog::send(LOG_ERR, line);
        writeToStream(stderr, "BrindlexCore: ", line);
    }
    deliver(Channel::Fault, LogType::Error, line);
}

Console::SinkToken Console::addSink(Sink sink) {
    if (!sink) {
        return 0;
    }
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    const SinkToken token = s.nextToken++;
    s.sinks.push_back({token, std::make_shared<Sink>(std::move(sink))});
    registerResetLocked(s);
    return token;
}

void Console::removeSink(SinkToken token) {
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::erase_if(s.sinks, [token](const SinkEntry& entry) { return entry.token == token; });
}

void Console::setProcessOutputEnabled(bool enabled) {
    auto& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.processOutput = enabled;
    if (!enabled) {
        registerResetLocked(s);
    }
}

bool Console::isProcessOutputEnabled() {
    return state().processOutput;
}

}  // namespace bdx
