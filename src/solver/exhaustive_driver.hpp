// ExhaustiveSolver, the exhaustive solver driver. The exported
// vexa_exhaustive_wrapper_* functions call these.
#pragma once

#include <memory>

#include "model/model.hpp"
#include "solver/result.hpp"
#include "vexa/common.h"

namespace vexa {

// A wrapper on the model. A binary model is handed to "exhaustive_cppint.so"
// with its constraints and remainder; a model with integer variables is
// checked for its size and opens nothing.
vexa_exhaustive_wrapper *exhaustive_wrapper_create(std::shared_ptr<ModelImpl> model);
// Destroys the module's handle, if any, then the wrapper (not null).
void exhaustive_wrapper_destroy(vexa_exhaustive_wrapper *w);
// One search: the module's on a binary model, the enumeration here on an
// integer one. A search that did not visit every state, because its
// "time_limit" passed or a stop request came, says so in its result with the
// info pair "stopped_early" "1"; its best is the best of the states visited.
// A complete search has no such pair.
nimba_solver_result *exhaustive_wrapper_search(const vexa_exhaustive_wrapper &w, const vexa_param *params);
// Asks the wrapper's running search, or else its next one, to stop and
// return its best so far (the rule is in solver/stop_request.hpp). Only an
// atomic store: safe from any thread and from a signal handler. A binary
// model's search stops only if the module takes the stop byte.
void exhaustive_wrapper_terminate(const vexa_exhaustive_wrapper &w);

}  // namespace vexa
