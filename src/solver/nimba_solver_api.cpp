// Exported functions of the heuristic solver wrapper.
#include "solver/nimba_driver.hpp"
#include "vexa/solver.h"

using namespace vexa;

extern "C" {

vexa_nimba_solver_wrapper *vexa_nimba_solver_wrapper_create(Model *model_handle) {
    return nimba_wrapper_create(model_handle->ref);
}

void vexa_nimba_solver_wrapper_destroy(vexa_nimba_solver_wrapper *w) {
    if (w != nullptr) nimba_wrapper_destroy(w);
}

nimba_solver_result *vexa_nimba_solver_wrapper_search(vexa_nimba_solver_wrapper *w, const vexa_param *params,
                                                      void *hint) {
    return nimba_wrapper_search(*w, params, hint);
}

nimba_solver_result *vexa_nimba_solver_wrapper_search_int(vexa_nimba_solver_wrapper *w, const vexa_param *params,
                                                          const uint64_t *hint_bits, const void *hint_ints,
                                                          uint64_t hint_int_count) {
    return nimba_wrapper_search_int(*w, params, hint_bits, static_cast<const coeff_t *>(hint_ints), hint_int_count);
}

void vexa_nimba_solver_wrapper_terminate(vexa_nimba_solver_wrapper *w) { nimba_wrapper_terminate(*w); }

}  // extern "C"
