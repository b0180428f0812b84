// Search settings read from the text pairs of a module call. Unknown keys are
// ignored; later pairs of a key overwrite earlier ones.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/coeff.hpp"
#include "vexa/common.h"

namespace vexa::mod {

struct SearchParams {
    bool has_time_limit = false;
    double time_limit = 0.0;      // seconds; at or below 0 means one evaluated state per thread
    bool has_target = false;
    coeff_t target_energy;        // stop once the best energy is at or below it
    bool has_seed = false;
    uint64_t seed = 0;
    uint32_t threads = 0;         // 0: the default thread count
    uint64_t topk = 0;            // 0: no top-k list
    bool best_energy = false;     // list the states of the best energy
    uint64_t best_energy_cap = 0; // 0: no cap
};

// Keys: "time_limit" (strtod), "target_energy" (decimal integer), "seed"
// (strtoull), "threads" and "thread_count" (strtoul, at least 1), "topk_sols"
// (strtoul, at least 1), "best_energy_sols" (the cap if the text begins with
// a digit, else no cap). Bad values are fatal with `tag`.
SearchParams parse_search_params(std::string_view tag, const vexa_param *params);

// The threads of the process's affinity mask, else the hardware concurrency, else 1.
uint32_t default_thread_count();

// The seed for a search: the given one, else a fresh draw.
uint64_t resolve_seed(const SearchParams &p);

}  // namespace vexa::mod
