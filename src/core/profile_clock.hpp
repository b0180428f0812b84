// Timing lines of VEXA_MODEL_PROFILE: each report writes the prefix, the
// label and the seconds since the previous report (or since construction)
// to the standard error stream when the variable is set. The variable is
// read at each report.
#pragma once

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <sstream>

namespace vexa {

class ProfileClock {
public:
    // prefix is a static string such as "  [Model] ".
    explicit ProfileClock(const char *prefix) : prefix_(prefix) {}

    void start() { last_ = std::chrono::steady_clock::now(); }
    void report(const char *label) {
        const auto now = std::chrono::steady_clock::now();
        if (std::getenv("VEXA_MODEL_PROFILE") != nullptr) {
            std::ostringstream line;
            line << prefix_ << label << ": " << std::chrono::duration<double>(now - last_).count() << "s\n";
            std::cerr << line.str() << std::flush;
        }
        last_ = std::chrono::steady_clock::now();
    }

private:
    const char *prefix_;
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

}  // namespace vexa
