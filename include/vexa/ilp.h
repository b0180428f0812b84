/* The linear view of a model, for outside MIP and ILP solvers: columns
 * (binary or integer unknowns with bounds), a linear objective and two-sided
 * rows lower <= sum coeff * column <= upper. The view copies what it needs and
 * keeps no reference to the model. No accessor checks its index. */
#ifndef VEXA_ILP_H
#define VEXA_ILP_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct IlpImpl IlpImpl;

/* The view, or NULL when the model is no ILP; the reason is then in
 * vexa_ilp_last_error (one string per thread, emptied by every build). */
VEXA_API IlpImpl *vexa_model_ilp_build(Model *m);
VEXA_API const char *vexa_ilp_last_error(void);
VEXA_API void vexa_ilp_destroy(IlpImpl *p);

/* Columns: kind 0 binary, 1 integer. model_var is the dense variable index
 * of a binary column, the dense integer index of a native integer column,
 * and all ones for an integer column read from the bits of an encoded
 * integer, whose value is offset + sum bit_coeff[i] * bit i. */
VEXA_API uint64_t vexa_ilp_ncols(const IlpImpl *p);
VEXA_API int vexa_ilp_col_kind(const IlpImpl *p, uint32_t c);
VEXA_API uint32_t vexa_ilp_col_model_var(const IlpImpl *p, uint32_t c);
VEXA_API void vexa_ilp_col_bounds(const IlpImpl *p, uint32_t c, vexa_bigint *lo, vexa_bigint *hi);
VEXA_API uint64_t vexa_ilp_col_nbits(const IlpImpl *p, uint32_t c);
VEXA_API uint32_t vexa_ilp_col_bit_var(const IlpImpl *p, uint32_t c, uint32_t i);
VEXA_API void vexa_ilp_col_bit_coeff(const IlpImpl *p, uint32_t c, uint32_t i, vexa_bigint *out);
/* The bits (nbits bytes, 0 or 1, in bit order) of an integer value of c. */
VEXA_API void vexa_ilp_col_decode(const IlpImpl *p, uint32_t c, const vexa_bigint *value, uint8_t *bits_out);

VEXA_API void vexa_ilp_obj(const IlpImpl *p, uint32_t c, vexa_bigint *out);
VEXA_API void vexa_ilp_obj_constant(const IlpImpl *p, vexa_bigint *out);

/* Rows; a free side cannot bind and its value is still reported. */
VEXA_API uint64_t vexa_ilp_nrows(const IlpImpl *p);
VEXA_API uint64_t vexa_ilp_row_nnz(const IlpImpl *p, uint64_t r);
VEXA_API uint32_t vexa_ilp_row_col(const IlpImpl *p, uint64_t r, uint64_t k);
VEXA_API void vexa_ilp_row_coeff(const IlpImpl *p, uint64_t r, uint64_t k, vexa_bigint *out);
VEXA_API void vexa_ilp_row_bounds(const IlpImpl *p, uint64_t r, vexa_bigint *lo, vexa_bigint *hi,
                                  uint32_t *lower_free, uint32_t *upper_free);

#ifdef __cplusplus
}
#endif

#endif
