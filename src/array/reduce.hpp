// Reductions of arrays: sums to one expression, sums along an axis, one-hot
// decoding and the read-outs into integers.
#pragma once

#include <cstdint>

#include "array/array.hpp"

struct Sol;

namespace vexa {

// Adds one element to an accumulating expression: a variable as a term of
// coefficient 1, an integer to the constant, a term as it is, an expression
// by its constant, head and tail. Nothing is merged; attr words are ignored.
inline void add_element(ExprImpl &acc, unsigned int v) {
    TermImpl t{coeff_t(1), {}};
    t.vars.append(v);
    acc.add_term(std::move(t));
}
inline void add_element(ExprImpl &acc, const coeff_t &c) { acc.constant += c; }
inline void add_element(ExprImpl &acc, const TermImpl &t) { acc.add_term(t); }
inline void add_element(ExprImpl &acc, const ExprImpl &e) { acc.append_terms(e); }

// All elements in flat order on the calling thread; plain attr word.
template <class T>
ExprImpl serial_sum(const T *elements, uint64_t n) {
    ExprImpl acc;
    for (uint64_t i = 0; i < n; ++i) add_element(acc, elements[i]);
    return acc;
}

// Sum of n expressions. From 10,000 items on (and with two threads or more)
// hardware_threads() plain threads each sum a contiguous chunk; the partials'
// terms are then moved behind one another in chunk order, so the terms come
// out in the order a single thread would give, all in the tail.
ExprImpl sum_exprs(const ExprImpl *const *items, uint64_t n);
// The sum of an expression array, with the attr word of summing its elements.
ExprImpl sum_expr_array(const ArrayImpl<ExprImpl> &a);

// Sums along `axis` (taken as given): an expression array without that axis.
template <class T>
ArrayImpl<ExprImpl> *do_vector_sum(const ArrayImpl<T> &a, int axis);

// The raw form for the front end: kind 0 const ExprImpl *[], 1 codes, 2
// TermImpl records; out gets one new expression per output element.
void raw_vector_sum(const void *elements, uint32_t kind, const uint64_t *shape, uint64_t ndim, int axis,
                    ExprImpl **out);

void onehot_rows(const int32_t *values, const uint64_t *shape, uint64_t ndim, int32_t *out);
// Null for rank 0 or an axis outside [-ndim, ndim).
ArrayImpl<coeff_t> *onehot_to_index(const ArrayImpl<coeff_t> &a, int axis);
void to_int32(const ArrayImpl<coeff_t> &a, int32_t *out);
ArrayImpl<coeff_t> *values_from_sol(const Sol &sol, const ArrayImpl<unsigned int> &vars);

}  // namespace vexa
