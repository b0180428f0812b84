/* Solutions: one assignment of a model's variables with its exact energy. */
#ifndef VEXA_SOL_H
#define VEXA_SOL_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* New solutions, caller owns them (release: vexa_sol_destroy). */
VEXA_API Sol *vexa_sol_create(Model *m);
VEXA_API Sol *vexa_sol_create_from_expr(const ExprImpl *e);
VEXA_API Sol *vexa_sol_clone(const Sol *s);
VEXA_API void vexa_sol_destroy(Sol *s);
VEXA_API void vexa_sol_set_from_sol(Sol *dst, const Sol *src);

VEXA_API int vexa_sol_get(const Sol *s, uint32_t var);
VEXA_API void vexa_sol_set(Sol *s, uint32_t var, int value);
VEXA_API void vexa_sol_flip(Sol *s, uint32_t var);
VEXA_API void vexa_sol_get_int(const Sol *s, uint32_t var, vexa_bigint *out);
VEXA_API void vexa_sol_set_int(Sol *s, uint32_t var, const vexa_bigint *value);
VEXA_API int vexa_sol_has(const Sol *s, uint32_t var);

VEXA_API void vexa_sol_energy(const Sol *s, vexa_bigint *out);
VEXA_API void vexa_sol_energy_int(const Sol *s, vexa_bigint *out);
VEXA_API void vexa_sol_compute_energy(Sol *s, vexa_bigint *out);
VEXA_API void vexa_sol_set_energy(Sol *s, const vexa_bigint *value);
VEXA_API int vexa_sol_energy_valid(const Sol *s);
VEXA_API double vexa_sol_tts(const Sol *s);
VEXA_API void vexa_sol_set_tts(Sol *s, double t);
VEXA_API double vexa_sol_scale(const Sol *s);

VEXA_API uint64_t vexa_sol_var_count(const Sol *s);
VEXA_API uint32_t vexa_sol_model_var(const Sol *s, uint32_t i);
/* Borrowed Model handle (the Sol itself); never pass it to vexa_model_destroy. */
VEXA_API Model *vexa_sol_model(Sol *s);
VEXA_API uint64_t *vexa_sol_bits(Sol *s);
VEXA_API void *vexa_sol_int_vals(Sol *s);
VEXA_API uint64_t vexa_sol_int_count(const Sol *s);
/* out takes over the bit words; the Sol is left with none. */
VEXA_API void vexa_sol_steal_bits(Sol *s, vexa_word_vector *out);

/* "energy:{{name,value},...}" in a per-thread buffer. */
VEXA_API const char *vexa_sol_str(const Sol *s);

#ifdef __cplusplus
}
#endif

#endif
