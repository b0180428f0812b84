/* Constraint tags carried by expressions. */
#ifndef VEXA_CONSTRAINT_H
#define VEXA_CONSTRAINT_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 1 when e carries declared constraints (a live constraint sum). */
VEXA_API int vexa_expr_is_declared(const ExprImpl *e);
/* 1 for a declared sum made only of abs/relu shape terms, with no free-form part. */
VEXA_API int vexa_expr_all_objective_only(const ExprImpl *e);
/* 1 when e holds exactly one constraint whose body can be asked for. */
VEXA_API int vexa_expr_has_body(const ExprImpl *e);

/* Classic constraints: a penalty polynomial tagged with a record of its body
 * and bounds. The tag only records what the penalty came from. */
VEXA_API ExprImpl *vexa_exprexprelem_create(const ExprImpl *penalty, const ExprImpl *body);
VEXA_API void vexa_exprexpr_set_bounds(ExprImpl *e, const vexa_bigint *lo, const vexa_bigint *hi);
/* 1 and the bounds; 0 when e is no classic constraint or has none. */
VEXA_API int vexa_exprexpr_get_bounds(const ExprImpl *e, vexa_bigint *lo_out, vexa_bigint *hi_out);
VEXA_API void vexa_exprexpr_set_allowed(ExprImpl *e, const vexa_bigint *lows, const vexa_bigint *highs,
                                        uint64_t n);
/* The body of a single constraint, owned by the library: never free it. */
VEXA_API const ExprImpl *vexa_exprexprelem_get_body(const ExprImpl *e);
VEXA_API ExprImpl *vexa_exprexprelem_clone(const ExprImpl *e);
VEXA_API void vexa_exprexprelem_destroy(ExprImpl *e);

/* Declared constraints: empty polynomials whose constraints reach the model
 * as native constraints. */
VEXA_API ExprImpl *vexa_cons_mark(const ExprImpl *e);
VEXA_API ExprImpl *vexa_cons_between(const ExprImpl *body, const vexa_bigint *lo, const vexa_bigint *hi);
/* body in one of the n ranges [lows[i], highs[i]]. */
VEXA_API ExprImpl *vexa_cons_equal(const ExprImpl *body, const vexa_bigint *lows, const vexa_bigint *highs,
                                   uint64_t n);

/* Soft costs |body|^k and max(0, body)^k, k 1 or 2, as declared values. */
VEXA_API ExprImpl *vexa_abs_term(const ExprImpl *body, uint32_t k);
VEXA_API ExprImpl *vexa_relu_term(const ExprImpl *body, uint32_t k);

/* Expansion into plain polynomials. vexa_between may register slack bits. */
VEXA_API ExprImpl *vexa_between(const ExprImpl *f, const vexa_bigint *lo, const vexa_bigint *hi);
/* One fresh penalty per element into out[0 .. n-1], made in element order.
 * elements by kind: 0 const ExprImpl *[n], 1 uint32 variable codes, 2 packed
 * TermImpl records; any other kind gives zero expressions. */
#define VEXA_BETWEEN_KIND_EXPR 0u
#define VEXA_BETWEEN_KIND_VAR 1u
#define VEXA_BETWEEN_KIND_TERM 2u
VEXA_API void vexa_array_between(const void *elements, uint32_t kind, const vexa_bigint *lo, const vexa_bigint *hi,
                                 ExprImpl **out, uint64_t n);
VEXA_API ExprImpl *vexa_expr_expand_cons(const ExprImpl *e);
VEXA_API ExprImpl *vexa_expr_binarize(const ExprImpl *e);

/* Encoded integers: lo + c0*b0 + c1*b1 + ... over binary bits, with a record
 * of the range and bits that lasts while the value is unchanged. */
VEXA_API uint64_t vexa_comp_coeffs_count(const vexa_bigint *lo, const vexa_bigint *hi);
/* out holds vexa_comp_coeffs_count(lo, hi) records. */
VEXA_API void vexa_comp_coeffs(const vexa_bigint *lo, const vexa_bigint *hi, vexa_bigint *out);
VEXA_API ExprImpl *vexa_varintelem_create(const char *name, const vexa_bigint *lo, const vexa_bigint *hi);
VEXA_API ExprImpl *vexa_varintelem_create_with_vars(const char *name, const vexa_bigint *lo, const vexa_bigint *hi,
                                                    const vexa_bigint *coeffs, const uint32_t *vars, uint64_t n);
VEXA_API void vexa_varintelem_min(const ExprImpl *e, vexa_bigint *out);
VEXA_API void vexa_varintelem_max(const ExprImpl *e, vexa_bigint *out);
VEXA_API uint64_t vexa_varintelem_var_count(const ExprImpl *e);
VEXA_API uint32_t vexa_varintelem_var(const ExprImpl *e, uint64_t i);
VEXA_API void vexa_varintelem_coeff(const ExprImpl *e, uint64_t i, vexa_bigint *out);
/* Per bit its code and its 0/1 value for `value`; returns the bit count. */
VEXA_API uint64_t vexa_varintelem_decompose(const ExprImpl *e, const vexa_bigint *value, uint32_t *vars_out,
                                            vexa_bigint *bits_out);
/* Replaces e's polynomial by src's and keeps e an encoded integer. */
VEXA_API void vexa_varintelem_replace_expr(ExprImpl *e, const ExprImpl *src);
VEXA_API ExprImpl *vexa_varintelem_clone(const ExprImpl *e);
VEXA_API void vexa_varintelem_destroy(ExprImpl *e);

/* Constraint inspection against a solution. Items: the constraints of a sum in
 * order, then its free-form part; one item for any other expression. */
VEXA_API uint64_t vexa_cons_item_count(const ExprImpl *e);
VEXA_API int vexa_cons_item_shape(const ExprImpl *e, uint64_t i, uint32_t *exponent, uint32_t *hinge);
VEXA_API uint64_t vexa_cons_item_allowed(const ExprImpl *e, uint64_t i, vexa_bigint *lows, vexa_bigint *highs,
                                         uint64_t max);
/* *body receives a new expression that the caller destroys. */
VEXA_API int vexa_cons_item_info(const ExprImpl *e, uint64_t i, ExprImpl **body, vexa_bigint *weight,
                                 vexa_bigint *lo, vexa_bigint *hi);
VEXA_API int vexa_cons_item_eval(const ExprImpl *e, uint64_t i, const Sol *s, vexa_bigint *value,
                                 vexa_bigint *lo, vexa_bigint *hi, vexa_bigint *distance, vexa_bigint *weight);
VEXA_API uint64_t vexa_cons_violation_count(const ExprImpl *e, const Sol *s);
/* Value of e on s plus the penalty of its declared constraints. */
VEXA_API void vexa_sol_eval_expr(const Sol *s, const ExprImpl *e, vexa_bigint *out);

#ifdef __cplusplus
}
#endif

#endif
