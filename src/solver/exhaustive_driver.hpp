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
// integer one.
nimba_solver_result *exhaustive_wrapper_search(const vexa_exhaustive_wrapper &w, const vexa_param *params);

}  // namespace vexa
