#include "word_fit.hpp"

namespace vexa::mod {

coeff_t constraint_magnitude(const std::vector<CanonicalConstraint> &constraints) {
    coeff_t total = 0;
    for (const CanonicalConstraint &c : constraints) {
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

coeff_t reachable_magnitude(const CanonicalModel &m) {
    return objective_magnitude(m) + constraint_magnitude(m.constraints);
}

bool fits_machine_word(const CanonicalModel &m) {
    return reachable_magnitude(m) <= (coeff_t(1) << 60);
}

bool fits_machine_word(const WordObjective &objective, const std::vector<CanonicalConstraint> &constraints) {
    constexpr int128 kBound = int128(1) << 60;
    int128 total = 0;
    // Every |h| is below 2^126 (at most 2^64 terms, each below 2^62) and every
    // |J| below 2^62, so one more term never wraps a running total that is
    // still at most 2^60.
    for (const int128 &v : objective.h) {
        total += v < 0 ? -v : v;
        if (total > kBound) return false;
    }
    for (const WordPair &p : objective.pairs) {
        total += p.w < 0 ? -int128(p.w) : int128(p.w);
        if (total > kBound) return false;
    }
    return to_coeff(total) + constraint_magnitude(constraints) <= (coeff_t(1) << 60);
}

}  // namespace vexa::mod
