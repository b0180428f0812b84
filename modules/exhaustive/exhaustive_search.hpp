// The exhaustive search: every assignment of a binary model, split over
// threads by fixing the top bits of the state (one partition per value of
// those bits, handed out from a shared counter), in 64-bit words when the
// model is proven to fit and in exact integers otherwise. Results are merged
// in partition order, so the best state, its ties and the lists follow the
// enumeration order whatever the thread count.
#pragma once

#include <cstdint>

#include "model_arrays.hpp"
#include "search_params.hpp"
#include "solution_list.hpp"
#include "stopwatch.hpp"

namespace vexa::mod {

inline constexpr const char *kExhaustiveTag = "ExhaustiveSolver";

// Above this the enumeration (2^n states) cannot finish in any useful time;
// create refuses such models.
inline constexpr uint32_t kMaxExhaustiveVariables = 48;

struct ExhaustiveOutcome {
    coeff_t best_energy;
    uint64_t best_state = 0;  // bit i is variable i
    double best_tts = 0.0;
    SolutionList list;
    uint64_t states = 0;
    bool complete = false;
    bool target_reached = false;
    bool time_limit_reached = false;
    bool stop_requested = false;  // the caller's stop byte ended the search
    bool machine_word = false;
    bool block_path = false;
    uint32_t partitions = 0;
    uint32_t threads = 0;
    double seconds = 0.0;
};

// `clock` started when the search was entered: the time limit counts from
// there. `external_stop` is the caller's stop byte (may be null).
ExhaustiveOutcome run_exhaustive(const ModelArrays &arrays, const SearchParams &params, const Stopwatch &clock,
                                 const volatile uint8_t *external_stop);

}  // namespace vexa::mod
