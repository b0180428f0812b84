// Exported functions of the accelerated solver wrapper.
#include "solver/tessix_driver.hpp"
#include "vexa/solver.h"

using namespace vexa;

extern "C" {

vexa_tessix_wrapper *vexa_tessix_wrapper_create(Model *model_handle, int32_t gpu_mode) {
    return tessix_wrapper_create(model_handle->ref, gpu_mode);
}

void vexa_tessix_wrapper_destroy(vexa_tessix_wrapper *w) {
    if (w != nullptr) tessix_wrapper_destroy(w);
}

nimba_solver_result *vexa_tessix_wrapper_search(vexa_tessix_wrapper *w, const vexa_param *params, void *hint) {
    return tessix_wrapper_search(*w, params, hint);
}

nimba_solver_result *vexa_tessix_wrapper_search_int(vexa_tessix_wrapper *w, const vexa_param *params,
                                                    const uint64_t *hint_bits, const void *hint_ints,
                                                    uint64_t hint_int_count) {
    return tessix_wrapper_search_int(*w, params, hint_bits, static_cast<const coeff_t *>(hint_ints), hint_int_count);
}

void vexa_tessix_wrapper_hint(vexa_tessix_wrapper *w, const Sol *sol) { tessix_wrapper_hint(*w, sol); }

void vexa_tessix_wrapper_set_callback(vexa_tessix_wrapper *w, vexa_search_callback callback, void *ctx) {
    tessix_wrapper_set_callback(*w, callback, ctx);
}

void vexa_tessix_wrapper_terminate(vexa_tessix_wrapper *w) { tessix_wrapper_terminate(*w); }

int32_t vexa_tessix_device_count(void) { return tessix_device_count(); }

}  // extern "C"
