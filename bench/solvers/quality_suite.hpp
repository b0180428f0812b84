// The quality suite: every selected instance with several seeds and thread
// counts, against the best known energy and the peers' energies.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "best_known.hpp"
#include "peers.hpp"

namespace bench {

struct SuiteRun {
    int64_t energy = 0;
    double tts = 0.0;
};

// One search of an instance with a thread count and a seed.
using SolveFn = std::function<SuiteRun(const InstanceEntry &, uint32_t threads, uint64_t seed)>;

struct SuiteOptions {
    std::vector<uint32_t> thread_counts = {1, 2};
    uint32_t seeds = 3;  // seeds 1..seeds
};

// Runs the suite and prints one row per instance and thread count: the
// energy per seed, the median, the gap of the median to the best known, the
// median time to the returned state, and the best peer energy, marked "BEHIND"
// where seed 1 or the median is above it; then, per thread count, a summary
// of the gaps and of the instances behind a peer. Returns the number of rows
// behind a peer.
int run_quality_suite(const std::vector<InstanceEntry> &instances, const std::map<std::string, PeerRow> &peers,
                      const SuiteOptions &options, const SolveFn &solve);

}  // namespace bench
