#include "word_fit.hpp"

namespace vexa::mod {

coeff_t reachable_magnitude(const CanonicalModel &m) {
    coeff_t total = objective_magnitude(m);
    for (const CanonicalConstraint &c : m.constraints) {
        coeff_t bmax = abs(c.b0);
        for (const auto &[v, a] : c.lin) bmax += abs(a);
        for (const Pair &p : c.pairs) bmax += abs(p.w);
        coeff_t lmax = 0;
        auto widen = [&lmax](const coeff_t &v) {
            if (abs(v) > lmax) lmax = abs(v);
        };
        widen(c.lower);
        widen(c.upper);
        for (const auto &[lo, hi] : c.allowed) {
            widen(lo);
            widen(hi);
        }
        const coeff_t dmax = 2 * (bmax + lmax) + 1;
        total += abs(c.weight) * dmax * dmax;
    }
    return total;
}

bool fits_machine_word(const CanonicalModel &m) {
    return reachable_magnitude(m) <= (coeff_t(1) << 60);
}

}  // namespace vexa::mod
