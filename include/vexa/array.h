/* N-dimensional arrays over variable codes, integers, terms and expressions.
 *
 * Arrays are row-major and own their elements; every function that yields an
 * array yields a new one the caller owns (release: vexa_array_<f>_destroy).
 * Element access takes one flat index. Nothing here checks an index, an axis
 * or a range: that is the caller's job. Binary operations that need equal
 * shapes abort on a mismatch. */
#ifndef VEXA_ARRAY_H
#define VEXA_ARRAY_H

#include "vexa/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque array handles, one per element type. The type tags einsum takes are
 * 0 var, 1 int, 2 term, 3 expr. */
typedef struct vexa_var_array vexa_var_array;
typedef struct vexa_int_array vexa_int_array;
typedef struct vexa_term_array vexa_term_array;
typedef struct vexa_expr_array vexa_expr_array;

#define VEXA_ARRAY_TAG_VAR 0u
#define VEXA_ARRAY_TAG_INT 1u
#define VEXA_ARRAY_TAG_TERM 2u
#define VEXA_ARRAY_TAG_EXPR 3u

/* ---- construction: shape has ndim extents; rank 0 holds one element ---- */
VEXA_API vexa_var_array *vexa_array_var_create(const uint64_t *shape, uint64_t ndim);
VEXA_API vexa_var_array *vexa_array_var_create_data(const uint32_t *data, const uint64_t *shape, uint64_t ndim);
/* One group of fresh variables named `name` (an automatic name when null). */
VEXA_API vexa_var_array *vexa_array_var_create_named(const char *name, const uint64_t *shape, uint64_t ndim);
VEXA_API vexa_var_array *vexa_array_var_create_unnamed(const uint64_t *shape, uint64_t ndim);
VEXA_API vexa_int_array *vexa_array_int_create(const uint64_t *shape, uint64_t ndim);
VEXA_API vexa_int_array *vexa_array_int_create_zero(const uint64_t *shape, uint64_t ndim);
VEXA_API vexa_int_array *vexa_array_int_create_data(const vexa_bigint *data, const uint64_t *shape, uint64_t ndim);
VEXA_API vexa_term_array *vexa_array_term_create(const uint64_t *shape, uint64_t ndim);
VEXA_API vexa_term_array *vexa_array_term_create_data(const TermImpl *const *data, const uint64_t *shape,
                                                      uint64_t ndim);
VEXA_API vexa_expr_array *vexa_array_expr_create(const uint64_t *shape, uint64_t ndim);
VEXA_API vexa_expr_array *vexa_array_expr_create_zero(const uint64_t *shape, uint64_t ndim);
VEXA_API vexa_expr_array *vexa_array_expr_create_data(const ExprImpl *const *data, const uint64_t *shape,
                                                      uint64_t ndim);
VEXA_API vexa_expr_array *vexa_array_expr_create_constant_int(const uint64_t *shape, uint64_t ndim,
                                                              const vexa_bigint *c);
VEXA_API vexa_expr_array *vexa_array_expr_create_constant_var(const uint64_t *shape, uint64_t ndim, uint32_t var);

VEXA_API void vexa_array_var_destroy(vexa_var_array *a);
VEXA_API void vexa_array_int_destroy(vexa_int_array *a);
VEXA_API void vexa_array_term_destroy(vexa_term_array *a);
VEXA_API void vexa_array_expr_destroy(vexa_expr_array *a);

/* ---- queries; shape points into the array ---- */
VEXA_API uint64_t vexa_array_var_size(const vexa_var_array *a);
VEXA_API uint64_t vexa_array_int_size(const vexa_int_array *a);
VEXA_API uint64_t vexa_array_term_size(const vexa_term_array *a);
VEXA_API uint64_t vexa_array_expr_size(const vexa_expr_array *a);
VEXA_API uint64_t vexa_array_var_ndim(const vexa_var_array *a);
VEXA_API uint64_t vexa_array_int_ndim(const vexa_int_array *a);
VEXA_API uint64_t vexa_array_term_ndim(const vexa_term_array *a);
VEXA_API uint64_t vexa_array_expr_ndim(const vexa_expr_array *a);
VEXA_API const uint64_t *vexa_array_var_shape(const vexa_var_array *a);
VEXA_API const uint64_t *vexa_array_int_shape(const vexa_int_array *a);
VEXA_API const uint64_t *vexa_array_term_shape(const vexa_term_array *a);
VEXA_API const uint64_t *vexa_array_expr_shape(const vexa_expr_array *a);
VEXA_API uint64_t vexa_array_var_shape_at(const vexa_var_array *a, uint64_t axis);
VEXA_API uint64_t vexa_array_int_shape_at(const vexa_int_array *a, uint64_t axis);
VEXA_API uint64_t vexa_array_term_shape_at(const vexa_term_array *a, uint64_t axis);
VEXA_API uint64_t vexa_array_expr_shape_at(const vexa_expr_array *a, uint64_t axis);
VEXA_API const uint32_t *vexa_array_var_data(const vexa_var_array *a);

/* ---- element access by flat index ---- */
VEXA_API uint32_t vexa_array_var_get(const vexa_var_array *a, uint64_t i);
VEXA_API void vexa_array_var_set(vexa_var_array *a, uint64_t i, uint32_t code);
VEXA_API void vexa_array_int_get(const vexa_int_array *a, uint64_t i, vexa_bigint *out);
VEXA_API void vexa_array_int_set(vexa_int_array *a, uint64_t i, const vexa_bigint *v);
/* A fresh copy the caller owns. */
VEXA_API TermImpl *vexa_array_term_get(const vexa_term_array *a, uint64_t i);
VEXA_API void vexa_array_term_set(vexa_term_array *a, uint64_t i, const TermImpl *t);
/* A fresh copy, attr word included. */
VEXA_API ExprImpl *vexa_array_expr_get(const vexa_expr_array *a, uint64_t i);
/* The element itself: never destroyed by the caller, valid while the array lives. */
VEXA_API const ExprImpl *vexa_array_expr_ref(const vexa_expr_array *a, uint64_t i);
VEXA_API void vexa_array_expr_set(vexa_expr_array *a, uint64_t i, const ExprImpl *e);
/* An array of fresh encoded integers of [lo, hi], one per element. The bits
 * of all elements are one variable group `name` of shape followed by the bit
 * count: a bit of element (i, j) reads name[i][j][k]. */
VEXA_API vexa_expr_array *vexa_array_varint_create_uniform(const char *name, const uint64_t *shape, uint64_t ndim,
                                                           const vexa_bigint *lo, const vexa_bigint *hi);
/* A fresh copy with a plain attr word. */
VEXA_API ExprImpl *vexa_array_varint_get_expr(const vexa_expr_array *a, uint64_t i);
VEXA_API ExprImpl *vexa_array_exprexpr_get_penalty(const vexa_expr_array *a, uint64_t i);

/* ---- copies ---- */
VEXA_API vexa_var_array *vexa_array_var_clone(const vexa_var_array *a);
VEXA_API vexa_int_array *vexa_array_int_clone(const vexa_int_array *a);
VEXA_API vexa_term_array *vexa_array_term_clone(const vexa_term_array *a);
VEXA_API vexa_expr_array *vexa_array_expr_clone(const vexa_expr_array *a);
/* The slice at index i of the first axis; null for rank 0. */
VEXA_API vexa_var_array *vexa_array_var_subarray(const vexa_var_array *a, uint64_t i);
VEXA_API vexa_int_array *vexa_array_int_subarray(const vexa_int_array *a, uint64_t i);
VEXA_API vexa_term_array *vexa_array_term_subarray(const vexa_term_array *a, uint64_t i);
VEXA_API vexa_expr_array *vexa_array_expr_subarray(const vexa_expr_array *a, uint64_t i);
/* Rank n, shaped as a's last n axes, from the run starting at flat `offset`. */
VEXA_API vexa_int_array *vexa_array_int_clone_subview(const vexa_int_array *a, uint64_t offset, uint64_t n);
VEXA_API vexa_expr_array *vexa_array_expr_clone_subview(const vexa_expr_array *a, uint64_t offset, uint64_t n);
/* Axis k < naxes is the range [begin[k], end[k]), or fixed at begin[k] and
 * removed when drop[k] is nonzero; later axes are left out. */
VEXA_API vexa_var_array *vexa_array_var_view(const vexa_var_array *a, const uint64_t *begin, const uint64_t *end,
                                             const uint8_t *drop, uint64_t naxes);
VEXA_API vexa_int_array *vexa_array_int_view(const vexa_int_array *a, const uint64_t *begin, const uint64_t *end,
                                             const uint8_t *drop, uint64_t naxes);
VEXA_API vexa_term_array *vexa_array_term_view(const vexa_term_array *a, const uint64_t *begin,
                                               const uint64_t *end, const uint8_t *drop, uint64_t naxes);
VEXA_API vexa_expr_array *vexa_array_expr_view(const vexa_expr_array *a, const uint64_t *begin,
                                               const uint64_t *end, const uint8_t *drop, uint64_t naxes);
/* a then b along `axis`; the other extents are taken from a. */
VEXA_API vexa_var_array *vexa_array_var_concat(const vexa_var_array *a, const vexa_var_array *b, int axis);
VEXA_API vexa_int_array *vexa_array_int_concat(const vexa_int_array *a, const vexa_int_array *b, int axis);
VEXA_API vexa_term_array *vexa_array_term_concat(const vexa_term_array *a, const vexa_term_array *b, int axis);
VEXA_API vexa_expr_array *vexa_array_expr_concat(const vexa_expr_array *a, const vexa_expr_array *b, int axis);

/* ---- text: nested braces, "{}" for rank 0 ---- */
VEXA_API const char *vexa_array_var_str(const vexa_var_array *a);
VEXA_API const char *vexa_array_int_str(const vexa_int_array *a);
VEXA_API const char *vexa_array_term_str(const vexa_term_array *a);
VEXA_API const char *vexa_array_expr_str(const vexa_expr_array *a);

/* ---- element-wise arithmetic, one declaration per row of the table ---- */
#define VEXA_EW_SCALAR_TYPE_var uint32_t
#define VEXA_EW_SCALAR_TYPE_int const vexa_bigint *
#define VEXA_EW_SCALAR_TYPE_term const TermImpl *
#define VEXA_EW_SCALAR_TYPE_expr const ExprImpl *
#define VEXA_EW_ARRAY(l, op, r, res) \
    VEXA_API vexa_##res##_array *vexa_array_##l##_##op##_array_##r(const vexa_##l##_array *a, const vexa_##r##_array *b);
#define VEXA_EW_SCALAR(l, op, r, res) \
    VEXA_API vexa_##res##_array *vexa_array_##l##_##op##_##r(const vexa_##l##_array *a, VEXA_EW_SCALAR_TYPE_##r b);
#define VEXA_EW_INPLACE_ARRAY(l, op, r) \
    VEXA_API void vexa_array_##l##_##op##_eq_array_##r(vexa_##l##_array *a, const vexa_##r##_array *b);
#define VEXA_EW_INPLACE_SCALAR(l, op, r) \
    VEXA_API void vexa_array_##l##_##op##_eq_##r(vexa_##l##_array *a, VEXA_EW_SCALAR_TYPE_##r b);
#define VEXA_EW_UNARY(l, op, res) VEXA_API vexa_##res##_array *vexa_array_##l##_##op(const vexa_##l##_array *a);
#define VEXA_EW_CMP(l, op) \
    VEXA_API vexa_expr_array *vexa_array_##l##_##op##_int(const vexa_##l##_array *a, const vexa_bigint *c);
#define VEXA_EW_CMP_ARRAY(l, op)                                                           \
    VEXA_API vexa_expr_array *vexa_array_##l##_##op##_array_int(const vexa_##l##_array *a, \
                                                                const vexa_int_array *c);
#define VEXA_EW_BETWEEN(l)                                                                                  \
    VEXA_API vexa_expr_array *vexa_array_##l##_between(const vexa_##l##_array *a, const vexa_bigint *lo,    \
                                                       const vexa_bigint *hi);                              \
    VEXA_API vexa_expr_array *vexa_array_##l##_between_array_int(const vexa_##l##_array *a,                 \
                                                                 const vexa_int_array *lo, const vexa_int_array *hi);
#include "vexa/array_elementwise.def"
#undef VEXA_EW_ARRAY
#undef VEXA_EW_SCALAR
#undef VEXA_EW_INPLACE_ARRAY
#undef VEXA_EW_INPLACE_SCALAR
#undef VEXA_EW_UNARY
#undef VEXA_EW_CMP
#undef VEXA_EW_CMP_ARRAY
#undef VEXA_EW_BETWEEN

/* Each element with every literal vars[k] replaced by values[k], in place. */
VEXA_API void vexa_array_expr_replace(vexa_expr_array *a, const uint32_t *vars, const ExprImpl *const *values,
                                      uint64_t n);

/* ---- reductions: fresh, unmerged expressions ---- */
VEXA_API ExprImpl *vexa_array_var_sum(const vexa_var_array *a);
VEXA_API ExprImpl *vexa_array_int_sum(const vexa_int_array *a);
VEXA_API ExprImpl *vexa_array_term_sum(const vexa_term_array *a);
/* The sum with the attr word of the sum of its elements. */
VEXA_API ExprImpl *vexa_array_expr_sum(const vexa_expr_array *a);
/* A plain sum of n expressions. */
VEXA_API ExprImpl *vexa_array_sum(const ExprImpl *const *items, uint64_t n);
/* Sums along `axis`, which leaves the result's shape. */
VEXA_API vexa_expr_array *vexa_array_var_vector_sum(const vexa_var_array *a, int axis);
VEXA_API vexa_expr_array *vexa_array_int_vector_sum(const vexa_int_array *a, int axis);
VEXA_API vexa_expr_array *vexa_array_term_vector_sum(const vexa_term_array *a, int axis);
VEXA_API vexa_expr_array *vexa_array_expr_vector_sum(const vexa_expr_array *a, int axis);
/* The same over raw elements: kind 0 const ExprImpl *[], 1 uint32 codes,
 * 2 packed TermImpl records. out receives one fresh expression per element
 * of the shape without `axis`. */
VEXA_API void vexa_array_vector_sum(const void *elements, uint32_t kind, const uint64_t *shape, uint64_t ndim,
                                    int axis, ExprImpl **out);

/* ---- one-hot decoding and read-outs ---- */
/* Per row of the last axis: the position of the last 1 when the row sums to
 * 1, else -1. */
VEXA_API void vexa_onehot_to_int(const int32_t *values, const uint64_t *shape, uint64_t ndim, int32_t *out);
/* Per line along `axis` (negative counts from the end): the position of the
 * single 1 among 0s, else -1. Null for rank 0 or a bad axis. */
VEXA_API vexa_int_array *vexa_array_int_onehot_to_int(const vexa_int_array *a, int axis);
/* Each element as int32, saturated; out holds size elements. */
VEXA_API void vexa_array_int_to_ints(const vexa_int_array *a, int32_t *out);
/* The solution's bit of each variable code (negated codes inverted); a
 * variable the model does not hold reads as 0. */
VEXA_API vexa_int_array *vexa_array_int_from_sol(const Sol *sol, const vexa_var_array *vars);

/* ---- contraction ----
 * Contracts n_inputs arrays (tags[k] the type tag of arrays[k]) under a
 * subscript such as "ij,jk->ik". expr_output nonzero: an expression array
 * (an unmerged sum of products); zero: an integer array, all inputs integer.
 * out_dim is the rank the caller expects. */
VEXA_API void *vexa_einsum(const char *subscript, int n_inputs, const uint32_t *tags, const void *const *arrays,
                           uint32_t expr_output, uint64_t out_dim);

#ifdef __cplusplus
}
#endif

#endif
