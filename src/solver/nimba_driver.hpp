// NimbaSolver, the heuristic solver driver. The exported vexa_nimba_solver_
// wrapper_* functions call these.
#pragma once

#include <cstdint>
#include <memory>

#include "model/model.hpp"
#include "solver/result.hpp"
#include "vexa/common.h"

namespace vexa {

// A wrapper on the model. A binary model is handed to the heuristic module of
// its variant word, with its constraints and remainder; a model with integer
// variables opens nothing here.
vexa_nimba_solver_wrapper *nimba_wrapper_create(std::shared_ptr<ModelImpl> model);
// Destroys the module's handle, if any, then the wrapper (not null).
void nimba_wrapper_destroy(vexa_nimba_solver_wrapper *w);

// One search: a binary model in the module (hint passed on as it stands), an
// integer model in the library or the module's unified engine (a hint is
// fatal here).
nimba_solver_result *nimba_wrapper_search(const vexa_nimba_solver_wrapper &w, const vexa_param *params, void *hint);
// The integer search with an optional hint; fatal on a binary model.
nimba_solver_result *nimba_wrapper_search_int(const vexa_nimba_solver_wrapper &w, const vexa_param *params,
                                              const uint64_t *hint_bits, const coeff_t *hint_ints,
                                              uint64_t hint_int_count);

// Asks the wrapper's running search, or else its next one, to stop and
// return its best so far (the rule is in solver/stop_request.hpp). Only an
// atomic store: safe from any thread and from a signal handler. A binary
// model's search stops only if its module takes the stop byte.
void nimba_wrapper_terminate(const vexa_nimba_solver_wrapper &w);

}  // namespace vexa
