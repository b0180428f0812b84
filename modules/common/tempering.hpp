// Parallel tempering with replica exchange on binary models, in number type
// T (int64_t on models proven to fit, coeff_t otherwise).
//
// Each thread keeps a ladder of R replicas, one per temperature, the
// temperatures geometric between a hot end (the mean one-flip change at a
// random state) and a cold end (a fraction of the small uphill changes
// left at a local minimum). A round sweeps every replica once with
// Metropolis moves on the exact incremental gains (a flip costs the
// variable's adjacency and constraint occurrences), then offers exchanges
// between neighbouring temperatures, and quenches a copy of the coldest
// replica by greedy descent to record the local minimum below it. A ladder
// that finds nothing new for a long time restarts from random states, one
// replica from the shared best. Threads share only the best state, the
// solution list, the stop flag and the hints.
//
// The inner temperatures are retuned a few times early in the run so that
// every neighbouring pair trades replicas about equally often. On models
// where the overlap clusters of two random states stay small (sparse
// ones), a thread runs two ladders at the same temperatures and after each
// round trades one overlap cluster between the two replicas of each
// temperature (overlap_cluster.hpp), a move that is always taken; these
// ladders start from a lower hot end.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "flip_model.hpp"
#include "hint_box.hpp"
#include "search_shared.hpp"

namespace vexa::mod {

struct TemperingStats {
    std::atomic<uint64_t> sweeps{0};       // replica sweeps (n move attempts each)
    std::atomic<uint64_t> flips{0};        // accepted moves
    std::atomic<uint64_t> swap_tries{0};
    std::atomic<uint64_t> swaps{0};        // accepted exchanges
    std::atomic<uint64_t> descents{0};     // quenches of the coldest replica
    std::atomic<uint64_t> restarts{0};     // ladder restarts after stagnation
    std::atomic<uint64_t> hints_taken{0};  // hints loaded into a ladder
    std::atomic<uint64_t> cluster_moves{0};  // clusters traded between paired ladders
    std::atomic<uint32_t> replicas{0};
};

// One thread's counts, added to the shared statistics once, when it ends.
struct TemperingCounts {
    uint64_t sweeps = 0, flips = 0, swap_tries = 0, swaps = 0, descents = 0, restarts = 0, hints_taken = 0,
             cluster_moves = 0;

    void add_to(TemperingStats &stats) const {
        stats.sweeps.fetch_add(sweeps);
        stats.flips.fetch_add(flips);
        stats.swap_tries.fetch_add(swap_tries);
        stats.swaps.fetch_add(swaps);
        stats.descents.fetch_add(descents);
        stats.restarts.fetch_add(restarts);
        stats.hints_taken.fetch_add(hints_taken);
        stats.cluster_moves.fetch_add(cluster_moves);
    }
};

// Settings shared by every model; nothing depends on the instance beyond
// its size and its gains.
struct TemperingSchedule {
    double hot_factor = 0.7;     // hot temperature = this * mean |gain| at a random state
    double paired_hot_factor = 0.2;  // the same for paired ladders, which mix at colder temperatures
    double cold_divisor = 12.0;  // cold temperature = small uphill gain at a local minimum / this
    uint32_t min_replicas = 8;
    uint32_t max_replicas = 32;
    uint64_t stagnation_rounds = 4000;  // rounds without a new ladder best before a restart
    bool cluster_moves = true;          // two ladders trading clusters of differing variables
};

// The temperature ladder between the hot end and a cold end taken from the
// uphill gains `up` seen at a local minimum (their tenth percentile over the
// schedule's divisor; hot / 100 without any, and below hot in any case):
// geometric inverse temperatures, slot 0 the coldest, each slot holding the
// replica of its own index. `up` is reordered.
// Inverse temperatures geometric from `cold` (slot 0) to `hot`.
void geometric_ladder(double cold, double hot, uint32_t replicas, std::vector<double> &beta);

void build_ladder(double hot, std::vector<double> &up, const TemperingSchedule &schedule, uint32_t replicas,
                  std::vector<double> &beta, std::vector<uint32_t> &at);

// One ladder on the calling thread, for engines that give a thread (or a
// share of one) of their own portfolio to tempering. It ends with the
// search, or at `until` (seconds on the search clock) without stopping the
// search.
template <class T>
void run_tempering_thread(const FlipModel<T> &fm, const coeff_t &c0, SearchShared &shared, HintBox &hints,
                          uint64_t hint_seen, uint64_t seed, TemperingStats &stats,
                          const TemperingSchedule &schedule = {}, double until = kNoTimeLimit);

template <class T>
void run_tempering(const FlipModel<T> &fm, const coeff_t &c0, SearchShared &shared, HintBox &hints,
                   uint64_t hint_seen, uint32_t threads, uint64_t seed, TemperingStats &stats,
                   const TemperingSchedule &schedule = {});

extern template void run_tempering_thread<int64_t>(const FlipModel<int64_t> &, const coeff_t &, SearchShared &,
                                                   HintBox &, uint64_t, uint64_t, TemperingStats &,
                                                   const TemperingSchedule &, double);
extern template void run_tempering_thread<coeff_t>(const FlipModel<coeff_t> &, const coeff_t &, SearchShared &,
                                                   HintBox &, uint64_t, uint64_t, TemperingStats &,
                                                   const TemperingSchedule &, double);
extern template void run_tempering<int64_t>(const FlipModel<int64_t> &, const coeff_t &, SearchShared &,
                                            HintBox &, uint64_t, uint32_t, uint64_t, TemperingStats &,
                                            const TemperingSchedule &);
extern template void run_tempering<coeff_t>(const FlipModel<coeff_t> &, const coeff_t &, SearchShared &,
                                            HintBox &, uint64_t, uint32_t, uint64_t, TemperingStats &,
                                            const TemperingSchedule &);

}  // namespace vexa::mod
