#include "exact_energy.hpp"

#include <algorithm>
#include <thread>
#include <vector>

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

namespace {

// The terms [begin, end) of degree d + 1, summed into e.
void add_terms(const ModelArrays &a, size_t d, uint64_t begin, uint64_t end, const uint64_t *bits,
               const coeff_t *ints, coeff_t &e) {
    const uint32_t *vars = a.var_lists[d];
    const coeff_t *coefs = a.coef_lists[d];
    if (a.int_count == 0) {
        // Binary literals only select: a term adds its coefficient or nothing.
        for (uint64_t t = begin; t < end; ++t) {
            bool on = true;
            for (size_t s = 0; s <= d && on; ++s) {
                const Literal lit = term_literal(a, vars[t * (d + 1) + s]);
                on = (((bits[lit.flat >> 6] >> (lit.flat & 63)) & 1u) != 0) != lit.negated;
            }
            if (on) e += coefs[t];
        }
        return;
    }
    coeff_t p;
    for (uint64_t t = begin; t < end; ++t) {
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

// Below this many terms a second thread costs more than it saves.
constexpr uint64_t kTermsPerThread = 250000;

}  // namespace

coeff_t exact_energy(const ModelArrays &a, const uint64_t *bits, const coeff_t *ints, uint32_t threads) {
    uint64_t total = 0;
    for (const uint64_t count : a.term_counts) total += count;
    const auto parts = static_cast<uint32_t>(std::max<uint64_t>(1, std::min<uint64_t>(threads, total / kTermsPerThread)));
    std::vector<coeff_t> sums(parts);
    auto share = [&](uint32_t k) {
        for (size_t d = 0; d < a.term_counts.size(); ++d) {
            const uint64_t n = a.term_counts[d];
            add_terms(a, d, n * k / parts, n * (k + 1) / parts, bits, ints, sums[k]);
        }
    };
    std::vector<std::thread> others;
    for (uint32_t k = 1; k < parts; ++k) others.emplace_back(share, k);
    share(0);
    for (std::thread &t : others) t.join();
    coeff_t e = a.constant;
    for (const coeff_t &s : sums) e += s;
    for (const ConstraintRecord &c : a.constraints) e += exact_penalty(c, exact_body(a, c, bits, ints));
    return e;
}

}  // namespace vexa::mod
