// The unified integer engine: a module's own search of a model with integer
// variables, chosen by VEXA_INT_UNIFIED.
#pragma once

#include <cstdint>
#include <string>

#include "model/model.hpp"
#include "solver/result.hpp"
#include "vexa/common.h"

namespace vexa {

// VEXA_INT_UNIFIED begins with "1".
bool unified_requested();

// The list keeps no solution lists, the model has no remainder and no
// quadratic constraint body, and the variant word is empty or "cppint".
bool unified_applicable(const vexa_param *params, const ModelImpl &m, const std::string &variant);

// The heuristic module's create_int / search_int on the model. `stop` (may
// be null) is the caller's stop byte, handed to the module when it takes one.
nimba_solver_result *nimba_unified_search(const ModelImpl &m, const std::string &variant,
                                          const vexa_param *params, const volatile uint8_t *stop);

}  // namespace vexa
