#include "foundation/Sandbox.h"

#include <errno.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <string>
#include <system_error>

#include "foundation/Console.h"
#include "foundation/Singleton.h"

namespace bdx {
namespace {

struct InstalledRoot {
    std::mutex mutex;
    std::filesystem::path root;
};

std::mutex& rootMutex() {
    return neverDestroyed<InstalledRoot>().mutex;
}

std::filesystem::path& installedRoot() {
    return neverDestroyed<InstalledRoot>().root;
}

std::string programName() {
    std::string name = program_invocation_short_name ? program_invocation_short_name : "";
    return name.empty() ? std::string("app") : name;
}

}  // namespace

std::filesystem::path Sandbox::defaultRoot() {
    std::filesystem::path base;
    if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg == '/') {
        base = xdg;
    } else if (const char* home = std::getenv("HOME"); home && *home == '/') {
        base = std::filesystem::path(home) / ".local" / "share";
    } else {
        std::error_code ec;
        base = std::filesystem::temp_directory_path(ec);
        if (ec) {
            base = "/tmp";
        }
        base /= "BrindlexCore-" + std::to_string(::getuid());
    }
    return base / "BrindlexCore" / programName();
}

Sandbox Sandbox::current() {
    std::lock_guard<std::mutex> lock(rootMutex());
    if (installedRoot().empty()) {
        installedRoot() = defaultRoot();
    }
    return Sandbox(installedRoot());
}

void Sandbox::setRoot(const std::filesystem::path& root) {
    std::lock_guard<std::mutex> lock(rootMutex());
    installedRoot() = root;
}

std::filesystem::path Sandbox::directory(const std::filesystem::path& relative) const {
    std::filesystem::path path = relative.empty() ? root_ : root_ / relative;
    std::error_code ec;
    std::filesystem::create_directories(path, ec);
    if (ec) {
        Console::logFault("cannot create the directory " + path.string() + ": " + ec.message());
    }
    return path;
}

std::filesystem::path Sandbox::library() const {
    return directory("Library");
}

std::filesystem::path Sandbox::documents() const {
    return directory("Documents");
}

std::filesystem::path Sandbox::temporary() const {
    return directory("tmp");
}

std::filesystem::path Sandbox::caches() const {
    return directory(std::filesystem::path("Library") / "Caches");
}

std::filesystem::path Sandbox::preferences() const {
    return directory(std::filesystem::path("Library") / "Preferences");
}

}  // namespace bdx
