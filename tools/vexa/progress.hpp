// A progress line on standard error while a search runs: once a second, the
// time spent, the limit as it was given, and the best energy found so far when
// the solver reports one.
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

// The best energy a running search has reported, as text; written by the
// search threads, read by the progress line.
class BestSoFar {
public:
    void set(std::string energy) {
        const std::lock_guard lock(m_);
        energy_ = std::move(energy);
    }
    std::optional<std::string> get() const {
        const std::lock_guard lock(m_);
        return energy_;
    }

private:
    mutable std::mutex m_;
    std::optional<std::string> energy_;
};

class Progress {
public:
    // Nothing is printed during the first second, nor at all when disabled.
    // `limit` is the time limit as the user wrote it.
    Progress(bool enabled, std::optional<std::string> limit, const BestSoFar *best) {
        if (!enabled) return;
        tty_ = isatty(STDERR_FILENO) != 0;
        thread_ = std::jthread([this, limit, best](std::stop_token stop) { run(stop, limit, best); });
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
    void run(const std::stop_token &stop, const std::optional<std::string> &limit, const BestSoFar *best) {
        std::mutex m;
        std::unique_lock lock(m);
        const auto start = std::chrono::steady_clock::now();
        for (auto next = start + std::chrono::seconds(1);; next += std::chrono::seconds(1)) {
            if (wake_.wait_until(lock, stop, next, [] { return false; }) || stop.stop_requested()) return;
            const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            std::string line = "vexa: searching, " + std::to_string(static_cast<long>(elapsed)) + " s";
            if (limit) line += " of " + *limit + " s";
            if (best != nullptr) {
                if (const auto e = best->get()) line += ", best energy " + *e;
            }
            std::fputs(tty_ ? ("\r\033[K" + line).c_str() : (line + "\n").c_str(), stderr);
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
