// TessixSolver, the accelerated solver driver. The exported
// vexa_tessix_wrapper_* functions call these.
#pragma once

#include <cstdint>
#include <memory>

#include "model/model.hpp"
#include "model/sol.hpp"
#include "solver/result.hpp"
#include "vexa/solver.h"

namespace vexa {

// A wrapper on the model. A binary model is handed at once to the GPU or the
// CPU side of the accelerated module, with its constraints; a model with
// integer variables opens the module only when gpu_mode asks for the GPU
// integer engine. gpu_mode: positive demands the GPU (fatal without one),
// zero is the CPU, negative takes the GPU integer engine where there is one.
vexa_tessix_wrapper *tessix_wrapper_create(std::shared_ptr<ModelImpl> model, int32_t gpu_mode);
// Destroys the module's handle, if any, then the wrapper (not null).
void tessix_wrapper_destroy(vexa_tessix_wrapper *w);

// One search. A binary model goes to the module with `hint` as it stands; an
// integer model runs the native integer search (or the module's unified
// engine), and a hint there is fatal.
nimba_solver_result *tessix_wrapper_search(vexa_tessix_wrapper &w, const vexa_param *params, void *hint);
// The integer search with an optional hint; fatal on a binary model.
nimba_solver_result *tessix_wrapper_search_int(vexa_tessix_wrapper &w, const vexa_param *params,
                                               const uint64_t *hint_bits, const coeff_t *hint_ints,
                                               uint64_t hint_int_count);

// Offers a solution to the running search, or else to the next one. A
// solution that does not fit the model is dropped without a word.
void tessix_wrapper_hint(vexa_tessix_wrapper &w, const Sol *sol);

// The user's callback for the next searches (null: none).
void tessix_wrapper_set_callback(vexa_tessix_wrapper &w, vexa_search_callback callback, void *ctx);

// Sets the stop byte. Every search clears it when it starts, so only a
// search already running is stopped. A plain byte store: safe from any
// thread and from a signal handler.
void tessix_wrapper_terminate(vexa_tessix_wrapper &w) noexcept;

// The GPUs that the accelerated module sees (0 in a build without the GPU
// side, or on a machine without a device). Loads the module.
int32_t tessix_device_count();

}  // namespace vexa
