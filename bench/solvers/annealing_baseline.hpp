// A reference simulated annealing for comparisons at equal processor time:
// geometric schedule, 1,000 sweeps per read, reads repeated until the time is
// spent, one independent annealer per thread, the best of them reported.
#pragma once

#include <cstdint>

#include "instance_reader.hpp"

namespace bench {

struct AnnealingResult {
    int64_t energy = 0;
    uint64_t reads = 0;  // over all threads
};

// Anneals q for `seconds` on each of `threads` threads.
AnnealingResult anneal_baseline(const Qubo &q, double seconds, uint32_t threads, uint64_t seed);

}  // namespace bench
