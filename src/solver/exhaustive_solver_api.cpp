// Exported functions of the exhaustive solver wrapper.
#include "solver/exhaustive_driver.hpp"
#include "vexa/solver.h"

using namespace vexa;

extern "C" {

vexa_exhaustive_wrapper *vexa_exhaustive_wrapper_create(Model *m) { return exhaustive_wrapper_create(m->ref); }

void vexa_exhaustive_wrapper_destroy(vexa_exhaustive_wrapper *w) {
    if (w != nullptr) exhaustive_wrapper_destroy(w);
}

nimba_solver_result *vexa_exhaustive_wrapper_search(vexa_exhaustive_wrapper *w, const vexa_param *params) {
    return exhaustive_wrapper_search(*w, params);
}

void vexa_exhaustive_wrapper_terminate(vexa_exhaustive_wrapper *w) { exhaustive_wrapper_terminate(*w); }

}  // extern "C"
