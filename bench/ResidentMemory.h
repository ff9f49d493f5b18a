#pragma once

#include <fstream>
#include <string>

// The process's resident set in KiB as the kernel reports it (VmRSS), 0 when it cannot be read: the
// benchmarks report its growth over a run.
inline long residentKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::stol(line.substr(6));
        }
    }
    return 0;
}
