#include "solver/search_arith.hpp"

#include "solver/flat_problem.hpp"

namespace vexa {

std::vector<coeff_t> flat_max_abs(const ModelImpl &m) {
    const uint64_t n_bin = m.var_count();
    std::vector<coeff_t> out(n_bin + m.int_count(), coeff_t(1));
    for (uint64_t k = 0; k < m.int_count(); ++k) {
        coeff_t &v = out[n_bin + k];
        const coeff_t lo = abs(m.int_lower[k]);
        const coeff_t hi = abs(m.int_upper[k]);
        if (lo > v) v = lo;
        if (hi > v) v = hi;
    }
    return out;
}

ArithWidth choose_width(const ModelImpl &m, const std::vector<coeff_t> &max_abs) {
    const uint32_t n_bin = static_cast<uint32_t>(m.var_count());
    auto bound_of = [&](uint32_t word) -> const coeff_t & { return max_abs[flat_index(word, n_bin)]; };
    coeff_t sum = abs(m.constant) + 1;
    coeff_t largest_value = 0;
    for (const coeff_t &v : max_abs) {
        if (v > largest_value) largest_value = v;
    }
    sum += 4 * largest_value;  // a candidate value: current value plus or minus a step of the range
    for (uint32_t d = 1; d <= m.max_degree; ++d) {
        const uint32_t *words = m.term_vars[d - 1].data();
        const coeff_t *coeffs = m.term_coeffs[d - 1].data();
        for (uint64_t i = 0; i < m.term_counts[d - 1]; ++i) {
            coeff_t t = abs(coeffs[i]);
            for (uint32_t k = 0; k < d; ++k) t *= bound_of(words[i * d + k]);
            // a move changes a term by at most twice its bound, and the sum of
            // the other factors of a square by as much again
            sum += 4 * t;
        }
    }
    for (const NativeConstraint &nc : m.native_constraints) {
        coeff_t body = abs(nc.body_constant);
        for (size_t i = 0; i < nc.vars.size(); ++i) body += abs(nc.coeffs[i]) * bound_of(nc.vars[i]);
        for (size_t r = 0; r + 1 < nc.quad_head.size(); ++r) {
            coeff_t p = abs(nc.quad_coeffs[r]);
            for (uint64_t k = nc.quad_head[r]; k < nc.quad_head[r + 1]; ++k) p *= bound_of(nc.quad_vars[k]);
            body += p;
        }
        coeff_t ends = abs(nc.lower);
        if (abs(nc.upper) > ends) ends = abs(nc.upper);
        for (const auto &[lo, hi] : nc.allowed) {
            if (abs(lo) > ends) ends = abs(lo);
            if (abs(hi) > ends) ends = abs(hi);
        }
        coeff_t distance = body + ends;
        // lower above upper: a body between them is lower - upper away
        if (nc.allowed.empty() && nc.lower > nc.upper) distance += nc.lower - nc.upper;
        const coeff_t penalty = abs(nc.weight) * distance * (distance > 1 ? distance : coeff_t(1));
        // a body update adds up to twice the body bound; a move changes a
        // penalty by at most twice its bound
        sum += 3 * body + distance + 2 * penalty;
    }
    const coeff_t bound = 8 * sum;
    if (bound < (coeff_t(1) << 61)) return ArithWidth::w64;
    if (bound < (coeff_t(1) << 125)) return ArithWidth::w128;
    return ArithWidth::exact;
}

}  // namespace vexa
