#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

namespace bdx::testing {

// The demo host application as a process of its own: started with its standard output on a pipe that the
// test reads line by line, ended by its own exit or by SIGKILL.
class DemoProcess {
  public:
    static std::string executable() {
        if (const char* path = std::getenv("BDX_DEMO")) {
            return path;
        }
#ifdef BDX_DEMO_BUILT_AT
        return BDX_DEMO_BUILT_AT;
#else
        throw std::runtime_error("the demo's path is unknown: set BDX_DEMO");
#endif
    }

    DemoProcess(const std::vector<std::string>& arguments, const std::string& baseURL) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe failed");
        }
        std::vector<std::string> args = {executable()};
        args.insert(args.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        for (auto& argument : args) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        std::vector<std::string> environment = {"BRINDLEX_BASE_URL=" + baseURL};
        if (!std::getenv("TSAN_OPTIONS")) {
            // A thread-sanitizer build waits a second at every exit by default; the kill table runs a
            // hundred.
            environment.emplace_back("TSAN_OPTIONS=atexit_sleep_ms=0");
        }
        for (char** entry = environ; *entry; ++entry) {
            if (std::strncmp(*entry, "BRINDLEX_BASE_URL=", 18) != 0) {
                environment.emplace_back(*entry);
            }
        }
        std::vector<char*> envp;
        for (auto& entry : environment) {
            envp.push_back(entry.data());
        }
        envp.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
        const int failed = ::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        ::close(fds[1]);
        if (failed != 0) {
            ::close(fds[0]);
            throw std::runtime_error("cannot start " + args[0] + ": " + std::strerror(failed));
        }
        fd_ = fds[0];
    }

    ~DemoProcess() {
        if (pid_ > 0) {
            kill();
        }
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    DemoProcess(const DemoProcess&) = delete;
    DemoProcess& operator=(const DemoProcess&) = delete;

    // The next line of output; nothing at the end of the output or when none came within the time.
    std::optional<std::string> readLine(double timeoutSeconds = 20) {
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
        for (;;) {
            if (auto end = buffer_.find('\n'); end != std::string::npos) {
                std::string line = buffer_.substr(0, end);
                buffer_.erase(0, end + 1);
                lines_.push_back(line);
                return line;
            }
            if (eof_) {
                return std::nullopt;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                return std::nullopt;
            }
            pollfd entry{fd_, POLLIN, 0};
            if (::poll(&entry, 1, static_cast<int>(left.count())) <= 0) {
                continue;
            }
            char chunk[4096];
            const ssize_t got = ::read(fd_, chunk, sizeof chunk);
            if (got <= 0) {
                eof_ = true;
            } else {
                buffer_.append(chunk, static_cast<std::size_t>(got));
            }
        }
    }

    // Reads every line up to the end of the output (the process exited or was killed).
    const std::vector<std::string>& readAll(double timeoutSeconds = 20) {
        while (readLine(timeoutSeconds)) {
        }
        return lines_;
    }

    // Kills the process at once and reaps it.
    void kill() {
        ::kill(pid_, SIGKILL);
        wait();
    }
    // Reaps the process; its exit status, or 128 + the signal that ended it.
    int wait() {
        int status = 0;
        if (pid_ > 0 && ::waitpid(pid_, &status, 0) == pid_) {
            pid_ = -1;
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        return status_;
    }

    const std::vector<std::string>& lines() const {
        return lines_;
    }

  private:
    pid_t pid_ = -1;
    int fd_ = -1;
    bool eof_ = false;
    int status_ = -1;
    std::string buffer_;
    std::vector<std::string> lines_;
};

}  // namespace bdx::testing
