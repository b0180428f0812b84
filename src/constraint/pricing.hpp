// How a native constraint is priced, for every number type that evaluates
// one (int64_t and __int128 on models proven to fit, coeff_t otherwise) and
// for every record that holds one. A record C supplies the fields of a
// NativeConstraint it needs:
//   body:     body_constant, vars, coeffs, quad_head, quad_vars, quad_coeffs
//   distance: lower, upper, allowed (pairs low, high)
//   penalty:  weight, shape_exponent
//
//   B = body_constant + sum coeffs[i] * value(vars[i])
//       + for each row r of quad_head: quad_coeffs[r] * the product of its words
//   D = without allowed: max(lower - B, 0) + max(B - upper, 0), so that with
//       lower above upper a body between them is lower - upper away;
//       with allowed: the least distance to any (low, high), 0 inside one
//   Q = weight * D, times D once more when shape_exponent is 2.
//
// The weight may be negative; nothing here assumes a sign. Nothing here
// allocates, as these run in the innermost search loops. The templates are
// not declared inline on purpose: the compiler then spends its inlining
// budget on the callers' own loops first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/literal.hpp"
#include "core/number_type.hpp"

namespace vexa {

// The pricing part of a constraint, for users that keep the body elsewhere.
template <class T>
struct PenaltyShape {
    T weight, lower, upper;
    std::vector<std::pair<T, T>> allowed;
    uint8_t shape_exponent = 2;
};

// Value of a literal in a state of T values: the flat index is the word
// without its negation bit, and a negated literal reads 1 - x.
template <class T>
T flat_literal_value(uint32_t lit, const T *x) {
    if (literal_negated(lit)) return T(T(1) - x[literal_var_index(lit)]);
    return x[lit];
}

// The literal multipliers below scale p by the value of one literal and
// return false when that value is 0, leaving p meaningless: a product stops
// at its first zero factor, so big-integer products are not formed in vain.

// A flat literal over a state of T values.
template <class T>
bool times_flat_literal(T &p, uint32_t lit, const T *x) {
    const T &v = x[literal_var_index(lit)];
    if (literal_negated(lit)) {
        // 1 - x: 1 for the binary value 0, nothing to multiply
        if (is_zero(v)) return true;
        const T w = T(T(1) - v);
        if (is_zero(w)) return false;
        p *= w;
        return true;
    }
    if (is_zero(v)) return false;
    p *= v;
    return true;
}

// A variable with flat index `flat` over packed bits (the first n_bin flat
// indices) and integer values (the rest); `negated` reads 1 - bit.
template <class T>
bool times_packed_flat(T &p, uint32_t flat, bool negated, uint32_t n_bin, const uint64_t *bits, const T *ints) {
    if (flat < n_bin) return (((bits[flat >> 6] >> (flat & 63)) & 1u) != 0) != negated;
    const T &v = ints[flat - n_bin];
    if (is_zero(v)) return false;
    p *= v;
    return true;
}

// A dense model word over packed bits (by dense index) and integer values
// (by dense integer index).
template <class T>
bool times_dense_word(T &p, uint32_t w, const uint64_t *bits, const T *ints) {
    if (literal_is_int(w)) {
        const T &v = ints[literal_int_index(w)];
        if (is_zero(v)) return false;
        p *= v;
        return true;
    }
    const uint32_t i = literal_var_index(w);
    return (((bits[i >> 6] >> (i & 63)) & 1u) != 0) != literal_negated(w);
}

// p times the values of n literals, in order; false at the first zero.
template <class T, class Times>
bool times_all(T &p, const uint32_t *lits, size_t n, Times &&times) {
    for (size_t k = 0; k < n; ++k) {
        if (!times(p, lits[k])) return false;
    }
    return true;
}

// The body value B of a constraint; `times(p, word)` multiplies by the value
// of one of its words as above. A row with no words adds its coefficient.
template <class T, class C, class Times>
T constraint_body(const C &c, Times &&times) {
    T body = c.body_constant;
    T p;
    for (size_t i = 0; i < c.vars.size(); ++i) {
        p = c.coeffs[i];
        if (times(p, c.vars[i])) body += p;
    }
    for (size_t r = 0; r + 1 < c.quad_head.size(); ++r) {
        p = c.quad_coeffs[r];
        const uint64_t begin = c.quad_head[r];
        if (times_all(p, c.quad_vars.data() + begin, c.quad_head[r + 1] - begin, times)) body += p;
    }
    return body;
}

// The distance D of a body value from what the constraint allows.
template <class C, class T>
T constraint_distance(const C &c, const T &body) {
    if (c.allowed.empty()) {
        // Both sides count: with lower above upper, a body between them pays
        // both gaps, lower - upper in all.
        T d = T(0);
        if (body < c.lower) d = T(c.lower - body);
        if (body > c.upper) d += T(body - c.upper);
        return d;
    }
    T best = T(0);
    bool first = true;
    for (const auto &[low, high] : c.allowed) {
        T d = T(0);
        if (body < low) {
            d = T(low - body);
        } else if (body > high) {
            d = T(body - high);
        }
        if (first || d < best) best = std::move(d);
        first = false;
        if (is_zero(best)) break;
    }
    return best;
}

// The penalty Q = weight * D, times D again for a quadratic shape.
template <class C, class T>
T penalty_of_distance(const C &c, const T &d) {
    if (is_zero(d)) return T(0);
    T q = T(c.weight * d);
    if (c.shape_exponent == 2) q *= d;
    return q;
}

// The penalty Q of a constraint at body value `body`.
template <class C, class T>
T constraint_penalty(const C &c, const T &body) {
    return penalty_of_distance(c, constraint_distance(c, body));
}

}  // namespace vexa
