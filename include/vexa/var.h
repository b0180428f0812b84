/* Variable registry: binary variables and native integer variables. */
#ifndef VEXA_VAR_H
#define VEXA_VAR_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Registers a binary variable; NULL or "" takes an automatic name "{N}". */
VEXA_API uint32_t vexa_new_var(const char *name);
/* Registers prod(dims) variables (row-major); returns the index of element 0. */
VEXA_API uint32_t vexa_new_var_array(const char *name, const uint64_t *dims, uint64_t ndims);
VEXA_API uint64_t vexa_var_count(void);
/* Binary variables plus the bit width of every integer variable. */
VEXA_API uint64_t vexa_used_var_count(void);
VEXA_API uint64_t vexa_int_var_count(void);
/* A fresh automatic name, in a per-thread buffer; no variable is created. */
VEXA_API const char *vexa_auto_var_name(void);
/* Text of a literal or integer atom; "?" for an unknown code. The pointer is
 * library storage: see the header notes of vexa.h on its lifetime. */
VEXA_API const char *vexa_var_str(uint32_t code);
/* Forgets every variable. Codes held anywhere become meaningless. */
VEXA_API void vexa_var_reset(void);

/* Native integer variables, lo < hi required. Return the atom's code (bit 30 set). */
VEXA_API uint32_t vexa_new_int_var(const char *name, const vexa_bigint *lo, const vexa_bigint *hi);
VEXA_API uint32_t vexa_new_int_var_array(const char *name, const uint64_t *shape, uint64_t ndim,
                                         const vexa_bigint *lo, const vexa_bigint *hi);
/* Fills both out records with the bounds of the variable. */
VEXA_API void vexa_int_var_bounds(uint32_t code, vexa_bigint *lo_out, vexa_bigint *hi_out);

#ifdef __cplusplus
}
#endif

#endif
