// The native integer search: multi-threaded annealing and greedy descent on
// models with binary and integer variables, with exact energies.
#pragma once

#include <cstdint>

#include "model/model.hpp"
#include "solver/params.hpp"
#include "solver/result.hpp"

namespace vexa {

// Runs one search. `opts` arrives with the driver's fields filled (tag, stop
// flag, callback, model, hint poll, GPU engine); everything else is read
// from `params`. hint_bits null means no hint; otherwise hint_ints holds
// hint_int_count values, which must match the model's integer variables.
nimba_solver_result *nimba_int_search(const ModelImpl &model, IntSearchOpts &opts, const vexa_param *params,
                                      const uint64_t *hint_bits, const coeff_t *hint_ints,
                                      uint64_t hint_int_count);

}  // namespace vexa
