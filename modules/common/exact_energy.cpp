#include "exact_energy.hpp"

#include "penalty.hpp"

namespace vexa::mod {

namespace {

// Multiplies p by the value of a literal; false when that value is 0.
bool times_literal(const ModelArrays &a, Literal lit, const uint64_t *bits, const coeff_t *ints,
                   coeff_t &p) {
    if (lit.flat < a.bin_count) {
        const bool bit = (bits[lit.flat / 64] >> (lit.flat % 64)) & 1u;
        return bit != lit.negated;
    }
    const coeff_t &v = ints[lit.flat - a.bin_count];
    if (v == 0) return false;
    p *= v;
    return true;
}

}  // namespace

coeff_t exact_body(const ModelArrays &a, const ConstraintRecord &c, const uint64_t *bits,
                   const coeff_t *ints) {
    coeff_t body = c.body_constant;
    for (size_t k = 0; k < c.vars.size(); ++k) {
        coeff_t p = c.coeffs[k];
        if (times_literal(a, constraint_literal(a, c.vars[k]), bits, ints, p)) body += p;
    }
    for (size_t r = 0; r < c.quad_coeffs.size(); ++r) {
        coeff_t p = c.quad_coeffs[r];
        bool nonzero = true;
        for (uint64_t w = c.quad_head[r]; w < c.quad_head[r + 1] && nonzero; ++w) {
            nonzero = times_literal(a, constraint_literal(a, c.quad_vars[w]), bits, ints, p);
        }
        if (nonzero) body += p;
    }
    return body;
}

coeff_t exact_penalty(const ConstraintRecord &c, const coeff_t &body) {
    PenaltyShape<coeff_t> s{c.weight, c.lower, c.upper, c.allowed, c.shape_exponent};
    return penalty_value(s, body);
}

coeff_t exact_energy(const ModelArrays &a, const uint64_t *bits, const coeff_t *ints) {
    coeff_t e = a.constant;
    for (size_t d = 0; d < a.term_counts.size(); ++d) {
        const uint32_t *vars = a.var_lists[d];
        const coeff_t *coefs = a.coef_lists[d];
        for (uint64_t t = 0; t < a.term_counts[d]; ++t) {
            // Binary literals only select: the coefficient is added as it is
            // when all of them are 1. Integer atoms multiply.
            bool nonzero = true, has_int = false;
            for (size_t s = 0; s <= d && nonzero; ++s) {
                const Literal l = term_literal(a, vars[t * (d + 1) + s]);
                if (l.flat < a.bin_count) {
                    nonzero = (((bits[l.flat / 64] >> (l.flat % 64)) & 1u) != 0) != l.negated;
                } else {
                    has_int = true;
                    nonzero = ints[l.flat - a.bin_count] != 0;
                }
            }
            if (!nonzero) continue;
            if (!has_int) {
                e += coefs[t];
                continue;
            }
            coeff_t p = coefs[t];
            for (size_t s = 0; s <= d; ++s) times_literal(a, term_literal(a, vars[t * (d + 1) + s]), bits, ints, p);
            e += p;
        }
    }
    for (const ConstraintRecord &c : a.constraints) e += exact_penalty(c, exact_body(a, c, bits, ints));
    return e;
}

}  // namespace vexa::mod
