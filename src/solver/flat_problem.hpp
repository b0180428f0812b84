// The model as the integer engines read it: every literal renumbered to a
// flat index (binary variables first, then integer ones), every coefficient
// in the engine's arithmetic type T.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "model/model.hpp"
#include "solver/search_arith.hpp"

namespace vexa {

// A literal: flat index, bit 31 for a negated binary literal (1 - x).
inline constexpr uint32_t kLitNegated = 0x80000000u;
inline constexpr uint32_t kNoLit = 0xFFFFFFFFu;

// Flat index of a dense model word: an integer atom (bit 30) follows the
// binary variables; otherwise the word without its negation bit.
inline uint32_t flat_index(uint32_t word, uint32_t n_bin) {
    return (word & 0x40000000u) != 0 ? (word & 0x3FFFFFFFu) + n_bin : (word & 0x7FFFFFFFu);
}
// The literal of a dense model word: flat index with the negation kept.
inline uint32_t flat_literal(uint32_t word, uint32_t n_bin) {
    return flat_index(word, n_bin) | (word & 0x80000000u);
}

template <class T>
struct FlatTerm {
    T coeff;
    uint32_t lit[2];  // lit[1] is kNoLit for a degree-1 term
};

template <class T>
struct FlatCons {
    T weight, lower, upper, body_constant;
    std::vector<uint32_t> lits;  // degree-1 terms of the body
    std::vector<T> coeffs;
    std::vector<uint64_t> quad_head;  // rows exist when it has two entries or more
    std::vector<uint32_t> quad_lits;
    std::vector<T> quad_coeffs;
    std::vector<std::pair<T, T>> allowed;
    uint8_t exponent = 2;
    uint8_t hinge = 0;
};

template <class T>
struct FlatProblem {
    uint32_t n_bin = 0, n_int = 0, total = 0;
    T constant;
    std::vector<FlatTerm<T>> terms;  // degree by degree, in model order
    std::vector<FlatCons<T>> cons;   // model order
    std::vector<T> lower, upper;     // per integer variable

    explicit FlatProblem(const ModelImpl &m) {
        n_bin = static_cast<uint32_t>(m.var_count());
        n_int = static_cast<uint32_t>(m.int_count());
        total = n_bin + n_int;
        constant = from_coeff<T>(m.constant);
        for (uint32_t d = 1; d <= m.max_degree; ++d) {
            const uint32_t *words = m.term_vars[d - 1].data();
            const coeff_t *coeffs = m.term_coeffs[d - 1].data();
            for (uint64_t i = 0; i < m.term_counts[d - 1]; ++i) {
                FlatTerm<T> t{from_coeff<T>(coeffs[i]), {flat_literal(words[i * d], n_bin), kNoLit}};
                if (d == 2) t.lit[1] = flat_literal(words[i * d + 1], n_bin);
                terms.push_back(std::move(t));
            }
        }
        for (const NativeConstraint &nc : m.native_constraints) {
            FlatCons<T> c;
            c.weight = from_coeff<T>(nc.weight);
            c.lower = from_coeff<T>(nc.lower);
            c.upper = from_coeff<T>(nc.upper);
            c.body_constant = from_coeff<T>(nc.body_constant);
            for (size_t i = 0; i < nc.vars.size(); ++i) {
                c.lits.push_back(flat_literal(nc.vars[i], n_bin));
                c.coeffs.push_back(from_coeff<T>(nc.coeffs[i]));
            }
            c.quad_head = nc.quad_head;
            for (uint32_t w : nc.quad_vars) c.quad_lits.push_back(flat_literal(w, n_bin));
            for (const coeff_t &q : nc.quad_coeffs) c.quad_coeffs.push_back(from_coeff<T>(q));
            for (const auto &[lo, hi] : nc.allowed) c.allowed.emplace_back(from_coeff<T>(lo), from_coeff<T>(hi));
            c.exponent = nc.shape_exponent;
            c.hinge = nc.shape_hinge;
            cons.push_back(std::move(c));
        }
        for (uint32_t k = 0; k < n_int; ++k) {
            lower.push_back(from_coeff<T>(m.int_lower[k]));
            upper.push_back(from_coeff<T>(m.int_upper[k]));
        }
    }

    // Value of a literal under the state x.
    static T lit_value(uint32_t lit, const T *x) {
        if (lit & kLitNegated) return T(1) - x[lit & ~kLitNegated];
        return x[lit];
    }

    // A term's value; a zero factor ends the product.
    T term_value(const FlatTerm<T> &t, const T *x) const {
        T v0 = lit_value(t.lit[0], x);
        if (is_zero(v0)) return T(0);
        if (t.lit[1] == kNoLit) return T(t.coeff * v0);
        T v1 = lit_value(t.lit[1], x);
        if (is_zero(v1)) return T(0);
        return T(t.coeff * v0 * v1);
    }

    T body(const FlatCons<T> &c, const T *x) const {
        T b = c.body_constant;
        for (size_t i = 0; i < c.lits.size(); ++i) {
            T v = lit_value(c.lits[i], x);
            if (!is_zero(v)) b += c.coeffs[i] * v;
        }
        for (size_t r = 0; r + 1 < c.quad_head.size(); ++r) {
            T p = c.quad_coeffs[r];
            for (uint64_t k = c.quad_head[r]; k < c.quad_head[r + 1] && !is_zero(p); ++k) {
                T v = lit_value(c.quad_lits[k], x);
                if (is_zero(v)) {
                    p = T(0);
                } else {
                    p *= v;
                }
            }
            b += p;
        }
        return b;
    }

    // Distance of a body value from what the constraint allows.
    static T distance(const FlatCons<T> &c, const T &b) {
        if (c.allowed.empty()) {
            if (b < c.lower) return T(c.lower - b);
            if (b > c.upper) return T(b - c.upper);
            return T(0);
        }
        T best;
        bool first = true;
        for (const auto &[lo, hi] : c.allowed) {
            T d = b < lo ? T(lo - b) : (b > hi ? T(b - hi) : T(0));
            if (first || d < best) best = d;
            first = false;
            if (is_zero(best)) break;
        }
        return best;
    }

    // weight * d, times d again unless the exponent is 1.
    static T penalty(const FlatCons<T> &c, const T &b) {
        const T d = distance(c, b);
        if (is_zero(d)) return T(0);
        T q = c.weight * d;
        if (c.exponent != 1) q *= d;
        return q;
    }

    // Constant, every term, every constraint's penalty on its body.
    T full_energy(const T *x) const {
        T e = constant;
        for (const FlatTerm<T> &t : terms) e += term_value(t, x);
        for (const FlatCons<T> &c : cons) e += penalty(c, body(c, x));
        return e;
    }
};

}  // namespace vexa
