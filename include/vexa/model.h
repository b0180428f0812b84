/* Models: the frozen, flat form of a simplified expression.
 * A Model handle shares the model; every pointer returned here points into it
 * and stays valid while any holder (handle, Sol, solver wrapper) lives. */
#ifndef VEXA_MODEL_H
#define VEXA_MODEL_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* New handle, caller owns it (release: vexa_model_destroy). e must be in
 * binary simplified form; declared constraints become native constraints. */
VEXA_API Model *vexa_model_create(const ExprImpl *e);
/* Same; the scale argument is accepted and has no effect. */
VEXA_API Model *vexa_model_create_scaled(const ExprImpl *e, double scale);
/* New handle on the same model. */
VEXA_API Model *vexa_model_clone(Model *m);
VEXA_API void vexa_model_destroy(Model *m);

VEXA_API uint64_t vexa_model_var_count(Model *m);
VEXA_API uint32_t vexa_model_var(Model *m, uint32_t i);
VEXA_API int vexa_model_has(Model *m, uint32_t word);
VEXA_API uint32_t vexa_model_var_index(Model *m, uint32_t word);

/* Degrees count from 1. */
VEXA_API uint32_t vexa_model_max_degree(Model *m);
VEXA_API uint64_t vexa_model_term_count(Model *m, uint32_t d);
VEXA_API const uint32_t *vexa_model_term_vars(Model *m, uint32_t d);
/* The library's own coefficient objects; only same-variant code may read them. */
VEXA_API const void *vexa_model_coeff_array(Model *m, uint32_t d);
VEXA_API void vexa_model_coeff_at(Model *m, uint32_t d, uint64_t i, vexa_bigint *out);
VEXA_API void vexa_model_constant(Model *m, vexa_bigint *out);
VEXA_API double vexa_model_scale(Model *m);
VEXA_API int vexa_model_has_negated_literals(Model *m);

VEXA_API uint64_t vexa_model_int_var_count(Model *m);
VEXA_API uint32_t vexa_model_int_var_orig(Model *m, uint64_t i);
VEXA_API void vexa_model_int_var_bounds(Model *m, uint64_t i, vexa_bigint *lo, vexa_bigint *hi);

VEXA_API uint64_t vexa_model_native_cons_count(Model *m);
VEXA_API uint64_t vexa_model_native_cons_nterms(Model *m, uint64_t i);
VEXA_API const uint32_t *vexa_model_native_cons_vars(Model *m, uint64_t i);
VEXA_API const void *vexa_model_native_cons_coeffs(Model *m, uint64_t i);
VEXA_API void vexa_model_native_cons_bounds(Model *m, uint64_t i, vexa_bigint *lo, vexa_bigint *hi,
                                            vexa_bigint *body_constant, vexa_bigint *weight);
VEXA_API void vexa_model_native_cons_shape(Model *m, uint64_t i, uint32_t *exponent, uint32_t *hinge);
VEXA_API int vexa_model_has_penalty_shapes(Model *m);

VEXA_API int vexa_model_has_remainder(Model *m);
VEXA_API void vexa_model_remainder_info(Model *m, vexa_bigint *constant, uint64_t *nterms);
VEXA_API const uint64_t *vexa_model_remainder_head(Model *m);
VEXA_API const uint32_t *vexa_model_remainder_vars(Model *m);
VEXA_API const void *vexa_model_remainder_coeffs(Model *m);

/* The flat polynomial (without native constraints) on packed bits. */
VEXA_API void vexa_model_eval(Model *m, const uint64_t *bits, vexa_bigint *out);
/* Any expression on a model's packed bits; unknown variables drop their terms. */
VEXA_API void vexa_expr_eval_with_model(const ExprImpl *e, Model *m, const uint64_t *bits,
                                        vexa_bigint *out);

#ifdef __cplusplus
}
#endif

#endif
