// Public header: installed with the library for hosts to include.
#pragma once

#include <filesystem>

namespace bdx {

// The application's own directories, as the platform gives them to an app: a root (the home of the app) with
// Library, Library/Caches, Library/Preferences, Documents and tmp below it. The host sets the root; without
// one it is a folder per program under $XDG_DATA_HOME (or ~/.local/share)/BrindlexCore.
//
// Every accessor creates its directory when it is missing; a directory that cannot be made is logged and its
// path is returned all the same, so that the caller's own file operation fails and reports as usual.
class Sandbox {
  public:
    // The sandbox in force. A copy: a later setRoot() does not move it.
    static Sandbox current();
    // Makes `root` the sandbox of the process; an empty path goes back to the default root.
    static void setRoot(const std::filesystem::path& root);
    static std::filesystem::path defaultRoot();

    const std::filesystem::path& root() const { return root_; }
    std::filesystem::path library() const;
    std::filesystem::path documents() const;
    // The app's own temporary folder ("tmp" under the root), not the system's.
    std::filesystem::path temporary() const;
    std::filesystem::path caches() const;
    std::filesystem::path preferences() const;

  private:
    explicit Sandbox(std::filesystem::path root) : root_(std::move(root)) {}
    std::filesystem::path directory(const std::filesystem::path& relative) const;

    std::filesystem::path root_;
};

}  // namespace bdx
