/* Expressions: an exact constant plus a list of terms, built by appending.
 *
 * Ownership words: create/clone return a new expression the caller owns
 * (release: vexa_expr_destroy); i<op> changes the first argument in place;
 * move/_mm/_ml consume the named term handles; raw terms are given as
 * (coefficient, literal array, count); packed literals are two 32-bit slots in
 * one uint64, slot 0 low. Coefficient records are read only during the call. */
#ifndef VEXA_EXPR_H
#define VEXA_EXPR_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- creation ---- */
VEXA_API ExprImpl *vexa_expr_create(void);
VEXA_API ExprImpl *vexa_expr_create_int(const vexa_bigint *constant);
VEXA_API ExprImpl *vexa_expr_create_var(uint32_t var);
/* steal != 0: t's coefficient is moved out and t is released; 0: t is copied. */
VEXA_API ExprImpl *vexa_expr_create_term(TermImpl *t, int steal);
VEXA_API ExprImpl *vexa_expr_create_raw_term(const vexa_bigint *coeff, const uint32_t *vars,
                                             uint32_t nvars, const vexa_bigint *constant);
/* The spare pointer is freed by the callee (free()). */
VEXA_API ExprImpl *vexa_expr_create_move_term(const vexa_bigint *coeff, uint64_t packed_vars,
                                              void *spare, const vexa_bigint *constant);
VEXA_API ExprImpl *vexa_expr_create_add_term_term(const TermImpl *a, const TermImpl *b);
/* Both terms consumed. */
VEXA_API ExprImpl *vexa_expr_create_add_term_term_mm(TermImpl *a, TermImpl *b);
/* a consumed, b read. */
VEXA_API ExprImpl *vexa_expr_create_add_term_term_ml(TermImpl *a, const TermImpl *b);
VEXA_API ExprImpl *vexa_expr_create_sub_term_term(const TermImpl *a, const TermImpl *b);
VEXA_API ExprImpl *vexa_expr_create_add_var_var(uint32_t a, uint32_t b);
VEXA_API ExprImpl *vexa_expr_create_add_term_var(const TermImpl *t, uint32_t v);
VEXA_API ExprImpl *vexa_expr_create_add_var_int(uint32_t v, const vexa_bigint *c);
VEXA_API ExprImpl *vexa_expr_create_sub_int_var(const vexa_bigint *c, uint32_t v);
VEXA_API ExprImpl *vexa_expr_create_add_term_int(const TermImpl *t, const vexa_bigint *c);
VEXA_API ExprImpl *vexa_expr_create_sub_int_term(const vexa_bigint *c, const TermImpl *t);
VEXA_API ExprImpl *vexa_expr_create_add_raw_terms(const vexa_bigint *c0, const uint32_t *vars0,
                                                  uint32_t nvars0, const vexa_bigint *c1,
                                                  const uint32_t *vars1, uint32_t nvars1);
/* n terms as parallel arrays: coeffs[n], counts[n] literal counts, vars holding
 * all literals back to back. */
VEXA_API ExprImpl *vexa_expr_create_from_bulk(const vexa_bigint *constant, uint64_t n,
                                              const vexa_bigint *coeffs, const uint32_t *counts,
                                              const uint32_t *vars);

/* ---- copies with one operation applied; arguments stay as they were ---- */
VEXA_API ExprImpl *vexa_expr_clone(const ExprImpl *e);
VEXA_API ExprImpl *vexa_expr_clone_add_int(const ExprImpl *e, const vexa_bigint *c);
VEXA_API ExprImpl *vexa_expr_clone_sub_int(const ExprImpl *e, const vexa_bigint *c);
VEXA_API ExprImpl *vexa_expr_clone_add_var(const ExprImpl *e, uint32_t v);
VEXA_API ExprImpl *vexa_expr_clone_sub_var(const ExprImpl *e, uint32_t v);
VEXA_API ExprImpl *vexa_expr_clone_add_term(const ExprImpl *e, const TermImpl *t);
VEXA_API ExprImpl *vexa_expr_clone_sub_term(const ExprImpl *e, const TermImpl *t);
VEXA_API ExprImpl *vexa_expr_clone_add_expr(const ExprImpl *a, const ExprImpl *b);
VEXA_API ExprImpl *vexa_expr_clone_sub_expr(const ExprImpl *a, const ExprImpl *b);
VEXA_API ExprImpl *vexa_expr_clone_mul_int(const ExprImpl *e, const vexa_bigint *k);

/* ---- in place ---- */
VEXA_API void vexa_expr_iadd_int(ExprImpl *e, const vexa_bigint *c);
VEXA_API void vexa_expr_isub_int(ExprImpl *e, const vexa_bigint *c);
VEXA_API void vexa_expr_iadd_var(ExprImpl *e, uint32_t v);
VEXA_API void vexa_expr_isub_var(ExprImpl *e, uint32_t v);
VEXA_API void vexa_expr_iadd_term(ExprImpl *e, const TermImpl *t);
VEXA_API void vexa_expr_isub_term(ExprImpl *e, const TermImpl *t);
/* t consumed. */
VEXA_API void vexa_expr_iadd_term_move(ExprImpl *e, TermImpl *t);
VEXA_API void vexa_expr_iadd_raw_term(ExprImpl *e, const vexa_bigint *coeff, const uint32_t *vars,
                                      uint32_t nvars);
VEXA_API void vexa_expr_isub_raw_term(ExprImpl *e, const vexa_bigint *coeff, const uint32_t *vars,
                                      uint32_t nvars);
/* The spare pointer is freed by the callee (free()). */
VEXA_API void vexa_expr_iadd_move_term(ExprImpl *e, const vexa_bigint *coeff, uint64_t packed_vars,
                                       void *spare);
VEXA_API void vexa_expr_isub_move_term(ExprImpl *e, const vexa_bigint *coeff, uint64_t packed_vars,
                                       void *spare);
VEXA_API void vexa_expr_iadd_terms_bulk(ExprImpl *e, const vexa_bigint *constant, uint64_t n,
                                        const vexa_bigint *coeffs, const uint32_t *counts,
                                        const uint32_t *vars);
/* e and o may be the same object. */
VEXA_API void vexa_expr_iadd_expr(ExprImpl *e, const ExprImpl *o);
VEXA_API void vexa_expr_isub_expr(ExprImpl *e, const ExprImpl *o);
VEXA_API void vexa_expr_imul_int(ExprImpl *e, const vexa_bigint *k);
/* Exact division; aborts when a coefficient or the constant is not divisible. */
VEXA_API void vexa_expr_idiv_int(ExprImpl *e, const vexa_bigint *d);
VEXA_API void vexa_expr_imul_var(ExprImpl *e, uint32_t v);
VEXA_API void vexa_expr_imul_term_direct(ExprImpl *e, const vexa_bigint *coeff, uint64_t packed_vars);
VEXA_API void vexa_expr_imul_expr(ExprImpl *e, const ExprImpl *o);
VEXA_API void vexa_expr_negate(ExprImpl *e);

/* ---- products (new expressions, unsimplified) ---- */
VEXA_API ExprImpl *vexa_expr_mul_expr(const ExprImpl *a, const ExprImpl *b);
VEXA_API ExprImpl *vexa_expr_sqr(const ExprImpl *e);

/* ---- canonical forms (new expressions) ---- */
VEXA_API ExprImpl *vexa_expr_simplify(const ExprImpl *e);
VEXA_API ExprImpl *vexa_expr_simplify_as_binary(const ExprImpl *e);
/* The same, replacing e's value: its terms are rewritten and merged where they
 * are, with no copy, which halves the memory a big expression needs. */
VEXA_API void vexa_expr_simplify_as_binary_in_place(ExprImpl *e);
VEXA_API ExprImpl *vexa_expr_simplify_as_spin(const ExprImpl *e);
/* The result is 2^D times the input, D the input's maximal degree. */
VEXA_API ExprImpl *vexa_expr_binary_to_spin(const ExprImpl *e);
VEXA_API ExprImpl *vexa_expr_spin_to_binary(const ExprImpl *e);
VEXA_API ExprImpl *vexa_expr_reduce(const ExprImpl *e);

/* ---- reading ---- */
VEXA_API void vexa_expr_gcd(const ExprImpl *e, vexa_bigint *out);
VEXA_API void vexa_expr_constant(const ExprImpl *e, vexa_bigint *out);
VEXA_API uint32_t vexa_expr_attr(const ExprImpl *e);
VEXA_API uint64_t vexa_expr_term_count(const ExprImpl *e);
VEXA_API uint64_t vexa_expr_term_count_degree(const ExprImpl *e, uint32_t degree);
VEXA_API uint32_t vexa_expr_max_degree(const ExprImpl *e);
/* Interior pointer, read-only, valid until e changes; never destroy it. */
VEXA_API const TermImpl *vexa_expr_term_at(const ExprImpl *e, uint64_t index);
/* Writes coefficient, packed literals and a spare word (always 0). */
VEXA_API void vexa_expr_term_at_data(const ExprImpl *e, uint64_t index, vexa_bigint *coeff_out,
                                     uint64_t *packed_vars_out, uint64_t *spare_out);
VEXA_API int vexa_expr_has(const ExprImpl *e, uint32_t var);
VEXA_API int vexa_expr_has_int_atom(const ExprImpl *e);

/* ---- evaluation and text ---- */
/* values[i] is the value of vars[i]; a missing variable aborts. */
VEXA_API void vexa_expr_eval_map(const ExprImpl *e, const uint32_t *vars,
                                 const vexa_bigint *const *values, uint64_t n, vexa_bigint *out);
/* Substitutes exprs[i] for the literal vars[i]; new unsimplified expression. */
VEXA_API ExprImpl *vexa_expr_replace(const ExprImpl *e, const uint32_t *vars,
                                     const ExprImpl *const *exprs, uint64_t n);
/* Interval bounds of the value over the binary form. */
VEXA_API void vexa_expr_neg_sum(const ExprImpl *e, vexa_bigint *out);
VEXA_API void vexa_expr_pos_sum(const ExprImpl *e, vexa_bigint *out);
/* Text in a per-thread buffer, valid until the next call on this thread. */
VEXA_API const char *vexa_expr_str(const ExprImpl *e);

VEXA_API void vexa_expr_destroy(ExprImpl *e);

#ifdef __cplusplus
}
#endif

#endif
