// What the threads of one search share: the stop flag and clock, the best
// state with its exact energy, the solution list, counters and the user's
// callback. Every write of the best and the list happens under `mutex`.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "core/coeff.hpp"
#include "search_params.hpp"
#include "solution_list.hpp"
#include "stopwatch.hpp"
#include "vexa/solver_module.h"

namespace vexa::mod {

// A time on the search clock that never comes.
inline constexpr double kNoTimeLimit = 1e300;

// What a top-k list still admits: everything while it is not full, else
// states below its last entry. Threads keep a copy to filter their offers.
struct ListGate {
    bool open = true;
    coeff_t worst;
};

struct SearchShared {
    Stopwatch clock;
    double time_limit = 10.0;
    bool has_target = false;
    coeff_t target_energy;
    std::atomic<bool> stop{false};
    std::atomic<bool> target_reached{false};

    std::mutex mutex;
    bool have_best = false;
    coeff_t best_energy;
    std::vector<uint64_t> best_bits;
    std::vector<coeff_t> best_ints;  // integer handles only
    double best_tts = 0.0;
    SolutionList list;

    std::atomic<uint64_t> moves{0};
    std::atomic<uint64_t> restarts{0};       // fresh random starts
    std::atomic<uint64_t> perturbations{0};  // breakout kicks
    std::atomic<uint64_t> tabu_runs{0};
    std::atomic<uint64_t> relinks{0};

    vexa_module_callback callback = nullptr;
    void *callback_ctx = nullptr;
    // The integer form of the callback (integer handles); takes the place
    // of `callback` when set.
    vexa_module_int_callback int_callback = nullptr;
    // What the last callback answered: the interval of the timer event in
    // seconds (0 off); -1.0 until a callback set it.
    std::atomic<double> timer{-1.0};
    // The caller's stop byte (set_external_stop), null if none.
    const volatile uint8_t *external_stop = nullptr;

    // The clock starts here: construct this record when the search is
    // entered, so that preparing the model counts against the time limit.
    SearchShared(const SearchParams &p, vexa_module_callback cb, void *cb_ctx,
                 const volatile uint8_t *external = nullptr);

    // Seconds kept back from the limit for what follows the search (the
    // exact check of the returned states): the search proper stops that
    // much earlier, so that the call as a whole keeps the limit.
    double finish_reserve = 0.0;

    // Sets `stop` once the time limit (less the finish reserve) has passed;
    // true when the search must end, or when `until` (the end of a caller's
    // own phase, on the same clock) has come, which leaves the search going.
    bool check_clock(double until = kNoTimeLimit) {
        const double now = clock.seconds();
        if (now + finish_reserve >= time_limit) stop.store(true, std::memory_order_relaxed);
        return stopped() || now >= until;
    }

    // The best state so far unpacked into x (n values); false, x untouched,
    // when there is none yet.
    bool copy_best(uint32_t n, uint8_t *x);

    // The search must end: the time limit, a reached target or the caller's
    // stop byte.
    bool stopped() {
        if (stop.load(std::memory_order_relaxed)) return true;
        if (external_stop != nullptr && *external_stop != 0) {
            stop.store(true, std::memory_order_relaxed);
            return true;
        }
        return false;
    }

    // Records a state with its exact energy: the best (first found wins among
    // equals), the list, the callback on a new best, and the target test
    // (energy at or below the target stops the search). `ints` (int_count
    // values) is given by the integer engine, null otherwise.
    ListGate offer(const coeff_t &energy, const uint64_t *bits, size_t words, const coeff_t *ints = nullptr,
                   size_t int_count = 0);

    // Calls whichever callback is set with `event`, and keeps its answer as
    // the timer interval: a positive value or zero replaces it, a negative
    // one or NaN leaves it.
    void notify(uint32_t event, const coeff_t &energy, const uint64_t *bits, const coeff_t *ints, size_t int_count,
                double tts);
    bool has_callback() const { return callback != nullptr || int_callback != nullptr; }
};

}  // namespace vexa::mod
