#include "exact_energy.hpp"

#include "constraint/pricing.hpp"

namespace vexa::mod {

namespace {

// Multiplies p by the value of a literal; false when that value is 0.
inline bool times_literal(const ModelArrays &a, Literal lit, const uint64_t *bits, const coeff_t *ints, coeff_t &p) {
    return times_packed_flat(p, lit.flat, lit.negated, a.bin_count, bits, ints);
}

}  // namespace

coeff_t exact_body(const ModelArrays &a, const ConstraintRecord &c, const uint64_t *bits, const coeff_t *ints) {
    return constraint_body<coeff_t>(c, [&](coeff_t &p, uint32_t word) {
        return times_literal(a, constraint_literal(a, word), bits, ints, p);
    });
}

coeff_t exact_penalty(const ConstraintRecord &c, const coeff_t &body) { return constraint_penalty(c, body); }

coeff_t exact_energy(const ModelArrays &a, const uint64_t *bits, const coeff_t *ints) {
    coeff_t e = a.constant;
    coeff_t p;
    for (size_t d = 0; d < a.term_counts.size(); ++d) {
        const uint32_t *vars = a.var_lists[d];
        const coeff_t *coefs = a.coef_lists[d];
        for (uint64_t t = 0; t < a.term_counts[d]; ++t) {
            // Binary literals only select; integer atoms multiply. A zero
            // factor ends the term.
            p = coefs[t];
            bool nonzero = true;
            for (size_t s = 0; s <= d && nonzero; ++s) {
                nonzero = times_literal(a, term_literal(a, vars[t * (d + 1) + s]), bits, ints, p);
            }
            if (nonzero) e += p;
        }
    }
    for (const ConstraintRecord &c : a.constraints) e += exact_penalty(c, exact_body(a, c, bits, ints));
    return e;
}

}  // namespace vexa::mod
