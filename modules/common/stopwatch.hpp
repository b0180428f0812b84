// Monotonic clock helpers for time limits and times to solution.
#pragma once

#include <chrono>

namespace vexa::mod {

struct Stopwatch {
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();

    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
};

}  // namespace vexa::mod
