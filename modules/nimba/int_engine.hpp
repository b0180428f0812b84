// The unified integer engine: a search over binary variables and native
// integer variables with bounds, all arithmetic exact (coeff_t). Each thread
// runs an iterated local search: a descent that tries, per variable, a flip
// (binary) or steps of +-1, +-2, +-4, ... within bounds (integer) and takes
// the best improving candidate, then a kick of a few random variables (flips,
// random steps, random resets within bounds) from its incumbent, and a fresh
// random start after a long run without improvement. A move is priced from
// the terms and constraints that hold the variable only; linear constraint
// bodies are updated by one product, nonlinear ones recomputed.
#pragma once

#include <cstdint>

#include "model_arrays.hpp"
#include "search_shared.hpp"

namespace vexa::mod {

// Fills `shared` (best state with bits and ints, counters). Terms may hold
// integer atoms; constraint words are flat indices.
void run_int_search(const ModelArrays &arrays, SearchShared &shared, uint32_t threads,
                    uint64_t seed);

}  // namespace vexa::mod
