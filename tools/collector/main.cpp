// bdx_collector: the reference collector. Run it on loopback in place of the service and point the library at
// it (BRINDLEX_BASE_URL=http://127.0.0.1:PORT/api/sdk/v3); every request it receives lands in a folder of its
// own, and /_collector/requests lists them.

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <thread>

#include "CollectorServer.h"

namespace {

namespace fs = std::filesystem;
using bdx::collector::CollectorOptions;
using bdx::collector::CollectorServer;
using bdx::collector::Json;

const char* const kUsage =
    "usage: bdx_collector [--port N] [--dir DIR] [--cert PEM --key PEM] [--script FILE.json] "
    "[--watch-stdin]\n"
    "  --port N       port on 127.0.0.1 (0 or absent: a free one)\n"
    "  --dir DIR      where each request is stored (absent: a fresh temporary folder)\n"
    "  --cert, --key  serve HTTPS with this certificate and private key\n"
    "  --script FILE  a JSON array of scripted answers, as POST /_collector/script takes them\n"
    "  --watch-stdin  stop when standard input reaches its end (for a parent that may die without a word)\n";

int usage(const std::string& problem) {
    std::cerr << "bdx_collector: " << problem << "\n" << kUsage;
    return 2;
}

}  // namespace

#if defined(__SANITIZE_THREAD__)
// The HTTP server library comes built without the thread sanitizer, which therefore misses the
// synchronisation inside it and reports its internal hand-offs between connection threads as races.
extern "C" const char* __tsan_default_suppressions() {
    return "called_from_lib:libcpp-httplib.so\n";
}
#endif

int main(int argc, char** argv) {
    CollectorOptions options;
    std::string scriptPath;
    bool watchStdin = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        auto value = [&](std::string* into) {
            if (i + 1 >= argc) {
                return false;
            }
            *into = argv[++i];
            return true;
        };
        std::string text;
        if (argument == "--help" || argument == "-h") {
            std::cout << kUsage;
            return 0;
        } else if (argument == "--port") {
            if (!value(&text) || text.empty() || text.find_first_not_of("0123456789") != std::string::npos ||
                std::stol(text) > 65535) {
                return usage("--port needs a number from 0 to 65535");
            }
            options.port = std::stoi(text);
        } else if (argument == "--dir") {
            if (!value(&text) || text.empty()) {
                return usage("--dir needs a folder");
            }
            options.folder = text;
        } else if (argument == "--cert") {
            if (!value(&options.certificate)) {
                return usage("--cert needs a PEM file");
            }
        } else if (argument == "--key") {
            if (!value(&options.privateKey)) {
                return usage("--key needs a PEM file");
            }
        } else if (argument == "--script") {
            if (!value(&scriptPath)) {
                return usage("--script needs a JSON file");
            }
        } else if (argument == "--watch-stdin") {
            watchStdin = true;
        } else {
            return usage("unknown argument '" + argument + "'");
        }
    }
    if (options.certificate.empty() != options.privateKey.empty()) {
        return usage("--cert and --key go together");
    }

    std::error_code ec;
    if (options.folder.empty()) {
        fs::path base = fs::temp_directory_path(ec);
        std::string pattern = ((ec ? fs::path("/tmp") : base) / "bdx-collector-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            std::cerr << "bdx_collector: cannot make a folder under " << base << ": " << std::strerror(errno)
                      << "\n";
            return 1;
        }
        options.folder = pattern;
    } else if (!fs::create_directories(options.folder, ec) && ec) {
        std::cerr << "bdx_collector: cannot make " << options.folder << ": " << ec.message() << "\n";
        return 1;
    }
    options.folder = fs::absolute(options.folder).lexically_normal();

    // Signals are taken by one thread of their own; every other thread, the server's included, blocks them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    ::signal(SIGPIPE, SIG_IGN);

    CollectorServer server(options);
    if (!scriptPath.empty()) {
        std::ifstream in(scriptPath);
        Json script;
        try {
            script = Json::parse(in);
        } catch (const Json::exception& e) {
            std::cerr << "bdx_collector: " << scriptPath << ": " << e.what() << "\n";
            return 2;
        }
        if (!script.is_array()) {
            std::cerr << "bdx_collector: " << scriptPath << ": the script must be a JSON array\n";
            return 2;
        }
        auto error = server.addScripts(script);
        if (!error.empty()) {
            std::cerr << "bdx_collector: " << scriptPath << ": " << error << "\n";
            return 2;
        }
    }
    std::string error;
    if (!server.bind(&error)) {
        std::cerr << "bdx_collector: " << error << "\n";
        return 1;
    }
    std::printf("listening on %s %s\n", server.rootURL().c_str(), server.folder().c_str());
    std::fflush(stdout);

    std::atomic<bool> stopRequested{false};
    std::thread stopper([&server, &stopRequested, stopSignals] {
        int signal = 0;
        sigwait(&stopSignals, &signal);
        stopRequested = true;
        server.stop();
        // Every request's folder is complete before its answer goes out, so once no handler runs nothing is
        // lost; idle kept-alive connections are not worth waiting for.
        server.waitForHandlers(std::chrono::seconds(2));
        std::fflush(stdout);
        ::_exit(0);
    });
    if (watchStdin) {
        std::thread([] {
            char buffer[256];
            while (::read(STDIN_FILENO, buffer, sizeof buffer) > 0) {
            }
            ::kill(::getpid(), SIGTERM);
        }).detach();
    }

    server.run();
    if (stopRequested) {
        stopper.join();  // it ends the process
    }
    std::cerr << "bdx_collector: the server stopped on its own\n";
    std::fflush(stdout);
    ::_exit(1);
}
