/* Solver drivers and their result record. */
#ifndef VEXA_SOLVER_H
#define VEXA_SOLVER_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The coefficient variant word of the modules that suit this expression;
 * always "cppint" in this build. Static string. */
VEXA_API const char *vexa_expr_solver_type(const ExprImpl *expr);

/* A user callback of the native integer search. event 0: the start state,
 * before any search thread; 1: a new best solution; 2: the timer fired. The
 * callee owns sol and destroys it. A positive result sets the timer to that
 * many seconds, zero turns it off, a negative result or NaN leaves it. */
typedef double (*vexa_search_callback)(void *ctx, Sol *sol, uint32_t event);

/* ---- heuristic solver (NimbaSolver) ---- */
/* Takes a new reference on the model; caller owns the wrapper. */
VEXA_API vexa_nimba_solver_wrapper *vexa_nimba_solver_wrapper_create(Model *m);
VEXA_API void vexa_nimba_solver_wrapper_destroy(vexa_nimba_solver_wrapper *w);
/* New result, caller owns it (release: vexa_nimba_solver_result_destroy).
 * hint is passed to the module unread; NULL for none. */
VEXA_API nimba_solver_result *vexa_nimba_solver_wrapper_search(vexa_nimba_solver_wrapper *w,
                                                               const vexa_param *params, void *hint);
/* Integer models only. hint_ints points at hint_int_count library coefficients. */
VEXA_API nimba_solver_result *vexa_nimba_solver_wrapper_search_int(
    vexa_nimba_solver_wrapper *w, const vexa_param *params, const uint64_t *hint_bits,
    const void *hint_ints, uint64_t hint_int_count);
/* Stop request: the search running on w, or else the next search started on
 * it, ends as soon as it notices and returns its best so far as usual. The
 * request stays pending until a search call on w returns, and the return of
 * the last search running on w clears it; so a request is never lost for a
 * running search, and a request made between searches stops the next one at
 * once. Only stores to a lock-free atomic byte: callable from any thread and
 * from a signal handler. A binary model's search can be stopped only if its
 * solver module takes the stop byte (vexa_nimba_solver_set_external_stop). */
VEXA_API void vexa_nimba_solver_wrapper_terminate(vexa_nimba_solver_wrapper *w);

/* ---- exhaustive solver (ExhaustiveSolver) ---- */
VEXA_API vexa_exhaustive_wrapper *vexa_exhaustive_wrapper_create(Model *m);
VEXA_API void vexa_exhaustive_wrapper_destroy(vexa_exhaustive_wrapper *w);
/* A search cut short by "time_limit" or a stop request returns the best of
 * the states it visited, and its info has the pair "stopped_early" "1". */
VEXA_API nimba_solver_result *vexa_exhaustive_wrapper_search(vexa_exhaustive_wrapper *w,
                                                             const vexa_param *params);
/* Stop request, with the rules of vexa_nimba_solver_wrapper_terminate. */
VEXA_API void vexa_exhaustive_wrapper_terminate(vexa_exhaustive_wrapper *w);

/* ---- accelerated solver (TessixSolver) ---- */
/* Takes a new reference on the model; caller owns the wrapper. gpu_mode:
 * positive demands the GPU (fatal on a machine without one), 0 runs on the
 * CPU, negative uses the GPU integer engine where there is one and the CPU
 * otherwise. */
VEXA_API vexa_tessix_wrapper *vexa_tessix_wrapper_create(Model *m, int32_t gpu_mode);
VEXA_API void vexa_tessix_wrapper_destroy(vexa_tessix_wrapper *w);
/* New result, caller owns it. A binary model's hint is passed to the module
 * unread (NULL for none); an integer model takes no hint here. With no
 * "time_limit" a binary search runs for the module's own default. */
VEXA_API nimba_solver_result *vexa_tessix_wrapper_search(vexa_tessix_wrapper *w, const vexa_param *params,
                                                         void *hint);
/* Integer models only. hint_ints points at hint_int_count library
 * coefficients; a hint that does not fit the model is fatal. */
VEXA_API nimba_solver_result *vexa_tessix_wrapper_search_int(vexa_tessix_wrapper *w, const vexa_param *params,
                                                             const uint64_t *hint_bits, const void *hint_ints,
                                                             uint64_t hint_int_count);
/* Offers sol to the search running on w (from another thread), or else to
 * the next one. A sol with too few words or integers, or with an integer out
 * of its bounds, is dropped without a message. NULL does nothing. */
VEXA_API void vexa_tessix_wrapper_hint(vexa_tessix_wrapper *w, const Sol *sol);
/* The callback of the next searches on w, with its context (callback NULL:
 * none). Each improvement, and the timer, reach it with a new Sol. */
VEXA_API void vexa_tessix_wrapper_set_callback(vexa_tessix_wrapper *w, vexa_search_callback callback, void *ctx);
/* Stops the search running on w, which returns its best so far. Each search
 * clears the request when it starts, so a request made while no search runs
 * has no effect. A single byte store: callable from any thread and from a
 * signal handler. A binary search stops only if the module takes the stop
 * byte. */
VEXA_API void vexa_tessix_wrapper_terminate(vexa_tessix_wrapper *w);
/* The number of GPUs the accelerated module can use: 0 in a build without
 * its GPU side or on a machine without a device. A positive gpu_mode needs
 * at least one. Loads the module (fatal if it is missing). */
VEXA_API int32_t vexa_tessix_device_count(void);

/* ---- results ---- */
VEXA_API void vexa_nimba_solver_result_energy(const nimba_solver_result *r, vexa_bigint *out);
VEXA_API double vexa_nimba_solver_result_tts(const nimba_solver_result *r);
VEXA_API const uint64_t *vexa_nimba_solver_result_bits(const nimba_solver_result *r);
VEXA_API uint64_t vexa_nimba_solver_result_topk_count(const nimba_solver_result *r);
VEXA_API void vexa_nimba_solver_result_topk_energy(const nimba_solver_result *r, uint64_t i,
                                                   vexa_bigint *out);
VEXA_API double vexa_nimba_solver_result_topk_tts(const nimba_solver_result *r, uint64_t i);
VEXA_API const uint64_t *vexa_nimba_solver_result_topk_bits(const nimba_solver_result *r, uint64_t i);
/* out takes over the bit words; the result is left with none. */
VEXA_API void vexa_nimba_solver_result_steal_bits(nimba_solver_result *r, vexa_word_vector *out);
VEXA_API void vexa_nimba_solver_result_steal_topk_bits(nimba_solver_result *r, uint64_t i,
                                                       vexa_word_vector *out);
VEXA_API uint64_t vexa_nimba_solver_result_info_count(const nimba_solver_result *r);
/* Strings owned by the result. */
VEXA_API const char *vexa_nimba_solver_result_info_key(const nimba_solver_result *r, uint64_t i);
VEXA_API const char *vexa_nimba_solver_result_info_value(const nimba_solver_result *r, uint64_t i);
/* New Sol (caller owns it) sharing model m; the bits are moved out of r. */
VEXA_API Sol *vexa_nimba_solver_result_to_sol(nimba_solver_result *r, Model *m);
VEXA_API Sol *vexa_nimba_solver_result_topk_to_sol(nimba_solver_result *r, uint64_t i, Model *m);
VEXA_API void vexa_nimba_solver_result_destroy(nimba_solver_result *r);

#ifdef __cplusplus
}
#endif

#endif
