#include "testing/Collector.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>

extern char** environ;

namespace bdx::testing {

namespace {

std::string collectorBinary() {
    if (const char* path = std::getenv("BDX_COLLECTOR"); path && *path) {
        return path;
    }
#ifdef BDX_COLLECTOR_BUILT_AT
    return BDX_COLLECTOR_BUILT_AT;
#else
    throw std::runtime_error("BDX_COLLECTOR is not set: where is bdx_collector?");
#endif
}

// Reads one line (without its end) from `fd`, waiting at most until `deadline`.
bool readLine(int fd, std::chrono::steady_clock::time_point deadline, std::string* line) {
    line->clear();
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return false;
        }
        pollfd ready{fd, POLLIN, 0};
        const int polled =
            ::poll(&ready, 1, left > std::chrono::hours(1) ? -1 : static_cast<int>(left.count()));
        if (polled < 0 && errno == EINTR) {
            continue;
        }
        if (polled <= 0) {
            return false;
        }
        char c = 0;
        const ssize_t got = ::read(fd, &c, 1);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        if (c == '\n') {
            return true;
        }
        line->push_back(c);
    }
}

size_t appendTo(char* data, size_t size, size_t count, void* into) {
    static_cast<std::string*>(into)->append(data, size * count);
    return size * count;
}

}  // namespace

Collector::Collector() : Collector(Options{}) {}

Collector::Collector(Options options) {
    static std::once_flag curlReady;
    std::call_once(curlReady, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });

    if (options.folder.empty()) {
        ownFolder_ = std::make_unique<TemporaryDirectory>();
        options.folder = ownFolder_->path();
    }
    std::vector<std::string> arguments = {collectorBinary(), "--dir",  options.folder.string(),
                                          "--watch-stdin",   "--port", std::to_string(options.port)};
    if (!options.certificate.empty() || !options.privateKey.empty()) {
        arguments.insert(arguments.end(), {"--cert", options.certificate, "--key", options.privateKey});
    }
    if (!options.script.empty()) {
        arguments.insert(arguments.end(), {"--script", options.script.string()});
    }
    std::vector<char*> argv;
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);

    int out[2], in[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(in, O_CLOEXEC) != 0) {
        throw std::runtime_error(std::string("cannot make a pipe for the collector: ") +
                                 std::strerror(errno));
    }
    // posix_spawn rather than fork: the test process has threads of its own.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    const int spawned = ::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    ::close(in[0]);
    stdoutFd_ = out[0];
    stdinFd_ = in[1];
    if (spawned != 0) {
        pid_ = -1;
        ::close(stdoutFd_);
        ::close(stdinFd_);
        throw std::runtime_error("cannot start " + arguments[0] + ": " + std::strerror(spawned));
    }

    std::string first;
    static const std::string prefix = "listening on ";
    const bool read =
        readLine(stdoutFd_, std::chrono::steady_clock::now() + std::chrono::seconds(30), &first);
    const auto urlEnd = first.find(' ', prefix.size());
    const auto portAt = first.rfind(':', urlEnd);
    if (!read || first.compare(0, prefix.size(), prefix) != 0 || urlEnd == std::string::npos ||
        portAt == std::string::npos) {
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
        ::close(stdoutFd_);
        ::close(stdinFd_);
        throw std::runtime_error("the collector did not announce itself (got '" + first + "')");
    }
    rootURL_ = first.substr(prefix.size(), urlEnd - prefix.size());
    port_ = std::stoi(first.substr(portAt + 1, urlEnd - portAt - 1));
    folder_ = first.substr(urlEnd + 1);

    // The collector's output is drained all along: a full pipe would stop it in the middle of a request.
    reader_ = std::thread([this] {
        std::string line;
        while (readLine(stdoutFd_, std::chrono::steady_clock::time_point::max(), &line)) {
            {
                std::lock_guard<std::mutex> lock(linesMutex_);
                lines_.push_back(line);
            }
            linesChanged_.notify_all();
        }
    });
}

Collector::~Collector() {
    stop();
}

int Collector::stop() {
    if (pid_ <= 0) {
        return exitStatus_;
    }
    ::kill(pid_, SIGTERM);
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    ::close(stdinFd_);
    if (reader_.joinable()) {
        reader_.join();  // the pipe reached its end with the child
    }
    ::close(stdoutFd_);
    return exitStatus_;
}

std::string Collector::control(const std::string& method, const std::string& pathAndQuery,
                               const std::string& body, long timeoutSeconds) const {
    CURL* curl = curl_easy_init();
    if (!curl) {
        throw std::runtime_error("curl_easy_init failed");
    }
    std::string answer;
    curl_easy_setopt(curl, CURLOPT_URL, (rootURL_ + pathAndQuery).c_str());
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    if (method == "POST") {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    }
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, appendTo);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, timeoutSeconds);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    // The control channel talks to the child this object started; whether its certificate is trusted is what
    // the tests of the library examine, not something this channel should trip over.
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    const CURLcode result = curl_easy_perform(curl);
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_cleanup(curl);
    if (result != CURLE_OK) {
        throw std::runtime_error("collector " + method + " " + pathAndQuery + ": " +
                                 curl_easy_strerror(result));
    }
    if (status != 200) {
        throw std::runtime_error("collector " + method + " " + pathAndQuery + " answered " +
                                 std::to_string(status) + ": " + answer);
    }
    return answer;
}

void Collector::script(const std::string& path, const bdx::Value& responses, const std::string& method) {
    bdx::Value entry = {{"path", path}, {"responses", responses}};
    if (!method.empty()) {
        entry["method"] = method;
    }
    control("POST", "/_collector/script", entry.dump(), 10);
}

void Collector::reset(bool requests) {
    control("POST", requests ? "/_collector/reset?requests=1" : "/_collector/reset", "", 10);
}

bdx::Value Collector::requests() const {
    return bdx::Value::parse(control("GET", "/_collector/requests", "", 10));
}

bool Collector::waitForRequests(size_t count, double timeoutSeconds) const {
    const long timeoutMs = std::lround(timeoutSeconds * 1000);
    const auto answer = control(
        "GET",
        "/_collector/requests?at_least=" + std::to_string(count) + "&timeout_ms=" + std::to_string(timeoutMs),
        "", static_cast<long>(std::ceil(timeoutSeconds)) + 10);
    return bdx::Value::parse(answer).size() >= count;
}

std::vector<std::string> Collector::outputLines(size_t atLeast, double timeoutSeconds) const {
    std::unique_lock<std::mutex> lock(linesMutex_);
    linesChanged_.wait_for(lock, std::chrono::duration<double>(timeoutSeconds),
                           [&] { return lines_.size() >= atLeast; });
    return lines_;
}

}  // namespace bdx::testing
