// Exact enumeration of a model with native integer variables.
#pragma once

#include <cstdint>

#include "model/model.hpp"
#include "solver/result.hpp"
#include "vexa/common.h"

namespace vexa {

// log2 of the number of states: binary variables plus log2 of each integer
// range, in floating point.
double enumeration_log2_states(const ModelImpl &m);

// Fatal unless the model has at most 2^32 states (by the estimate above).
void check_enumeration_size(const ModelImpl &m);

// Visits every state of the model in reflected mixed-radix Gray order on the
// calling thread, keeping the energy by exact incremental updates, and
// returns the best state. The only parameter is "best_energy_sols". A nonzero
// `stop` byte (may be null), read every few thousand states, ends the
// enumeration early: the result is the best state visited, and its info says
// "stopped_early" "1".
nimba_solver_result *enumerate_integer_model(const ModelImpl &m, const vexa_param *params,
                                             const volatile uint8_t *stop);

}  // namespace vexa
