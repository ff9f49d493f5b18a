#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace bdx::testing {

// The bytes of a file as a string; empty when it cannot be read.
inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Replaces a file's content with `bytes`.
inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace bdx::testing
