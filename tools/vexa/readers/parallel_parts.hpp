// The tool's own fan-out for work on big inputs (parsing, ordering and
// copying entries): a fixed number of parts, one thread each, the caller
// taking part 0.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <optional>
#include <thread>
#include <vector>

namespace vexa::cli {

// The most threads the tool starts for anything.
inline constexpr uint32_t kMaxThreads = 4096;

// VEXA_NUM_THREADS when it holds a count above 0 (at most kMaxThreads).
inline std::optional<uint32_t> env_threads() {
    const char *env = std::getenv("VEXA_NUM_THREADS");
    if (env == nullptr) return std::nullopt;
    const long v = std::strtol(env, nullptr, 10);
    if (v <= 0) return std::nullopt;
    return static_cast<uint32_t>(std::min<long>(v, kMaxThreads));
}

// Parts for a job of `items`: one below `min_items`, else one per thread
// that VEXA_NUM_THREADS (or the hardware) allows, at most 8: past that the
// loops are bound by memory, not by processors.
inline uint32_t part_count(uint64_t items, uint64_t min_items = 1u << 20) {
    if (items < min_items) return 1;
    const uint32_t hw = std::max(1u, std::thread::hardware_concurrency());
    return std::clamp<uint32_t>(env_threads().value_or(hw), 1, 8);
}

// [begin, end) of part `k` of `parts` over n items.
inline std::pair<uint64_t, uint64_t> part_range(uint64_t n, uint32_t parts, uint32_t k) {
    return {n * k / parts, n * (k + 1) / parts};
}

// f(k) for k in [0, parts), part 0 on the caller. When parts throw, the
// exception of the lowest part is rethrown once all have ended.
template <class F>
void run_parts(uint32_t parts, F &&f) {
    if (parts <= 1) {
        f(uint32_t{0});
        return;
    }
    std::vector<std::exception_ptr> errors(parts);
    std::vector<std::thread> threads;
    threads.reserve(parts - 1);
    auto guarded = [&](uint32_t k) {
        try {
            f(k);
        } catch (...) {
            errors[k] = std::current_exception();
        }
    };
    for (uint32_t k = 1; k < parts; ++k) threads.emplace_back(guarded, k);
    guarded(0);
    for (std::thread &t : threads) t.join();
    for (const std::exception_ptr &e : errors) {
        if (e) std::rethrow_exception(e);
    }
}

}  // namespace vexa::cli
