// Clocks and memory figures shared by the benchmark programs.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

namespace vexa::bench {

inline double seconds_since(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// Restarts the process's high-water mark (VmHWM) from its present size.
inline void reset_peak() { std::ofstream("/proc/self/clear_refs") << "5"; }

// A figure of /proc/self/status ("VmHWM:", "VmRSS:") in KiB; 0 if absent.
inline uint64_t status_kib(const std::string &key) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(key, 0) == 0) return std::strtoull(line.c_str() + key.size(), nullptr, 10);
    }
    return 0;
}

inline double status_mib(const std::string &key) { return static_cast<double>(status_kib(key)) / 1024.0; }

}  // namespace vexa::bench
