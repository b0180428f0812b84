// The model as the integer engines read it: every literal renumbered to a
// flat literal (flat index, binary variables first, then integer ones, with
// the negation bit kept), every coefficient in the engine's arithmetic type
// T. Constraints are priced by constraint/pricing.hpp, as a solution is.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "constraint/pricing.hpp"
#include "core/literal.hpp"
#include "model/model.hpp"
#include "solver/search_arith.hpp"

namespace vexa {

template <class T>
struct FlatTerm {
    T coeff;
    uint32_t lit[2];  // lit[1] is kEmptyLiteral for a degree-1 term
};

// A native constraint with flat literals in place of dense words; the
// fields carry the names of NativeConstraint's.
template <class T>
struct FlatCons {
    T weight, lower, upper, body_constant;
    std::vector<uint32_t> vars;  // flat literals of the degree-1 terms of the body
    std::vector<T> coeffs;
    std::vector<uint64_t> quad_head;  // rows exist when it has two entries or more
    std::vector<uint32_t> quad_vars;
    std::vector<T> quad_coeffs;
    std::vector<std::pair<T, T>> allowed;
    uint8_t shape_exponent = 2;
    uint8_t shape_hinge = 0;
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
                FlatTerm<T> t{from_coeff<T>(coeffs[i]), {flat_literal(words[i * d], n_bin), kEmptyLiteral}};
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
                c.vars.push_back(flat_literal(nc.vars[i], n_bin));
                c.coeffs.push_back(from_coeff<T>(nc.coeffs[i]));
            }
            c.quad_head = nc.quad_head;
            for (uint32_t w : nc.quad_vars) c.quad_vars.push_back(flat_literal(w, n_bin));
            for (const coeff_t &q : nc.quad_coeffs) c.quad_coeffs.push_back(from_coeff<T>(q));
            for (const auto &[lo, hi] : nc.allowed) c.allowed.emplace_back(from_coeff<T>(lo), from_coeff<T>(hi));
            c.shape_exponent = nc.shape_exponent;
            c.shape_hinge = nc.shape_hinge;
            cons.push_back(std::move(c));
        }
        for (uint32_t k = 0; k < n_int; ++k) {
            lower.push_back(from_coeff<T>(m.int_lower[k]));
            upper.push_back(from_coeff<T>(m.int_upper[k]));
        }
    }

    // A term's value; a zero factor ends the product.
    static T term_value(const FlatTerm<T> &t, const T *x) {
        T p = t.coeff;
        if (!times_flat_literal(p, t.lit[0], x)) return T(0);
        if (t.lit[1] != kEmptyLiteral && !times_flat_literal(p, t.lit[1], x)) return T(0);
        return p;
    }

    // The body value of a constraint under the state x.
    static T body(const FlatCons<T> &c, const T *x) {
        return constraint_body<T>(c, [x](T &p, uint32_t lit) { return times_flat_literal(p, lit, x); });
    }

    // Constant, every term, every constraint's penalty on its body.
    T full_energy(const T *x) const {
        T e = constant;
        for (const FlatTerm<T> &t : terms) e += term_value(t, x);
        for (const FlatCons<T> &c : cons) e += constraint_penalty(c, body(c, x));
        return e;
    }
};

}  // namespace vexa
