// A progress line on standard error while a search runs: the binary search
// path reports nothing until it ends, so a thread ticks once a second.
#pragma once

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

namespace vexa::cli {

class Progress {
public:
    // Nothing is printed during the first second, nor at all when disabled.
    Progress(bool enabled, std::optional<double> limit) {
        if (!enabled) return;
        tty_ = isatty(STDERR_FILENO) != 0;
        thread_ = std::jthread([this, limit](std::stop_token stop) { run(stop, limit); });
    }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    ~Progress() {
        if (!thread_.joinable()) return;
        thread_.request_stop();
        thread_.join();
        if (tty_ && printed_) std::fputs("\r\033[K", stderr);
    }

private:
    void run(const std::stop_token &stop, std::optional<double> limit) {
        std::mutex m;
        std::unique_lock lock(m);
        const auto start = std::chrono::steady_clock::now();
        for (auto next = start + std::chrono::seconds(1);; next += std::chrono::seconds(1)) {
            if (wake_.wait_until(lock, stop, next, [] { return false; }) || stop.stop_requested()) return;
            const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            std::string line = "vexa: searching, " + std::to_string(static_cast<long>(elapsed)) + " s";
            if (limit) line += " of " + std::to_string(static_cast<long>(*limit + 0.5)) + " s";
            std::fputs(tty_ ? ("\r" + line).c_str() : (line + "\n").c_str(), stderr);
            std::fflush(stderr);
            printed_ = true;
        }
    }

    bool tty_ = false;
    bool printed_ = false;
    std::condition_variable_any wake_;
    std::jthread thread_;
};

}  // namespace vexa::cli
