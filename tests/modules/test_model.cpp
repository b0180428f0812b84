#include "test_model.hpp"

#include <algorithm>
#include <map>
#include <set>

namespace vexa::test {

namespace {

coeff_t literal_value(const TestModel &m, uint32_t word, const std::vector<uint64_t> &bits,
                      const std::vector<coeff_t> &ints, bool flat) {
    if (flat) {
        if (word < m.bin_count) return coeff_t((bits[word / 64] >> (word % 64)) & 1u);
        return ints[word - m.bin_count];
    }
    if (word & 0x80000000u) {
        const uint32_t i = word & 0x7FFFFFFFu;
        return coeff_t(1 - static_cast<int>((bits[i / 64] >> (i % 64)) & 1u));
    }
    if (word & 0x40000000u) return ints[word & 0x3FFFFFFFu];
    return coeff_t((bits[word / 64] >> (word % 64)) & 1u);
}

coeff_t distance(const TestConstraint &c, const coeff_t &b) {
    if (c.allowed_low.empty()) {
        coeff_t d = 0;
        if (c.lower > b) d += c.lower - b;
        if (b > c.upper) d += b - c.upper;
        return d;
    }
    coeff_t best = -1;
    for (size_t k = 0; k < c.allowed_low.size(); ++k) {
        coeff_t d = 0;
        if (b < c.allowed_low[k]) {
            d = c.allowed_low[k] - b;
        } else if (b > c.allowed_high[k]) {
            d = b - c.allowed_high[k];
        }
        if (best < 0 || d < best) best = d;
    }
    return best;
}

}  // namespace

coeff_t reference_energy(const TestModel &m, const std::vector<uint64_t> &bits, const std::vector<coeff_t> &ints,
                         bool flat) {
    coeff_t e = m.constant;
    for (size_t t = 0; t < m.coef1.size(); ++t) e += m.coef1[t] * literal_value(m, m.vars1[t], bits, ints, false);
    for (size_t t = 0; t < m.coef2.size(); ++t) {
        e += m.coef2[t] * literal_value(m, m.vars2[2 * t], bits, ints, false) *
             literal_value(m, m.vars2[2 * t + 1], bits, ints, false);
    }
    for (const TestConstraint &c : m.constraints) {
        coeff_t b = c.body_constant;
        for (size_t k = 0; k < c.vars.size(); ++k) b += c.coeffs[k] * literal_value(m, c.vars[k], bits, ints, flat);
        for (size_t r = 0; r < c.quad_coeffs.size(); ++r) {
            coeff_t p = c.quad_coeffs[r];
            for (uint64_t w = c.quad_head[r]; w < c.quad_head[r + 1]; ++w) {
                p *= literal_value(m, c.quad_vars[w], bits, ints, flat);
            }
            b += p;
        }
        const coeff_t d = distance(c, b);
        coeff_t q = c.weight * d;
        if (c.exponent == 2) q *= d;
        e += q;
    }
    return e;
}

std::vector<uint64_t> bits_of(uint64_t state, uint32_t n) {
    std::vector<uint64_t> w((n + 63) / 64 + 1, 0);
    w[0] = state;
    return w;
}

BruteForce brute_force(const TestModel &m) {
    BruteForce r;
    const uint64_t count = uint64_t(1) << m.bin_count;
    for (uint64_t s = 0; s < count; ++s) r.sorted_energies.push_back(reference_energy(m, bits_of(s, m.bin_count)));
    std::sort(r.sorted_energies.begin(), r.sorted_energies.end());
    r.best = r.sorted_energies.front();
    r.best_count = static_cast<uint64_t>(std::count(r.sorted_energies.begin(), r.sorted_energies.end(), r.best));
    return r;
}

std::vector<int64_t> plain_energies(const TestModel &m) {
    std::vector<int64_t> energies;
    for (uint64_t s = 0; s < (uint64_t(1) << m.bin_count); ++s) {
        int64_t e = m.constant.convert_to<int64_t>();
        for (size_t t = 0; t < m.coef1.size(); ++t) {
            if ((s >> m.vars1[t]) & 1u) e += m.coef1[t].convert_to<int64_t>();
        }
        for (size_t t = 0; t < m.coef2.size(); ++t) {
            if (((s >> m.vars2[2 * t]) & 1u) && ((s >> m.vars2[2 * t + 1]) & 1u)) e += m.coef2[t].convert_to<int64_t>();
        }
        energies.push_back(e);
    }
    return energies;
}

TestModel random_model(std::mt19937_64 &rng, const RandomModelShape &shape) {
    TestModel m;
    m.bin_count = shape.vars;
    std::uniform_int_distribution<int64_t> coef(-shape.coeff_range, shape.coeff_range);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    m.constant = coef(rng);
    for (uint32_t i = 0; i < shape.vars; ++i) {
        const int64_t c = coef(rng);
        if (unit(rng) < shape.linear_density && c != 0) m.add_linear(i, c);
    }
    for (uint32_t i = 0; i < shape.vars; ++i) {
        for (uint32_t j = i + 1; j < shape.vars; ++j) {
            const int64_t c = coef(rng);
            if (unit(rng) < shape.quadratic_density && c != 0) m.add_quadratic(i, j, c);
        }
    }
    for (uint32_t k = 0; k < shape.constraints; ++k) add_random_constraint(rng, m, static_cast<int>(k % 5));
    return m;
}

void add_random_constraint(std::mt19937_64 &rng, TestModel &m, int kind) {
    const uint32_t n = m.bin_count;
    if (n == 0) return;
    std::uniform_int_distribution<int64_t> small(-4, 4);
    std::uniform_int_distribution<uint32_t> var(0, n - 1);
    TestConstraint c;
    const int64_t w = std::uniform_int_distribution<int64_t>(1, 6)(rng);
    c.weight = (rng() % 5 == 0) ? -w : w;  // negative weights now and then
    c.body_constant = small(rng);
    std::set<uint32_t> vs;
    const uint32_t size = std::min<uint32_t>(n, 1 + static_cast<uint32_t>(rng() % 5));
    while (vs.size() < size) vs.insert(var(rng));
    for (uint32_t v : vs) {
        int64_t a = small(rng);
        if (a == 0) a = 1;
        c.vars.push_back(v);
        c.coeffs.push_back(a);
    }
    c.lower = small(rng);
    c.upper = c.lower + static_cast<int64_t>(rng() % 4);
    switch (kind) {
        case 1: {  // nonlinear: product rows, one of them without variables
            c.quad_head.push_back(0);
            const uint32_t rows = 1 + static_cast<uint32_t>(rng() % 3);
            for (uint32_t r = 0; r < rows; ++r) {
                uint32_t a = var(rng), b = var(rng);
                if (a > b) std::swap(a, b);
                if (a == b) continue;
                c.quad_vars.push_back(a);
                c.quad_vars.push_back(b);
                c.quad_coeffs.push_back(small(rng) == 0 ? coeff_t(2) : coeff_t(small(rng)));
                c.quad_head.push_back(c.quad_vars.size());
            }
            c.quad_coeffs.push_back(small(rng));  // a row with no variable
            c.quad_head.push_back(c.quad_vars.size());
            break;
        }
        case 2: {  // allowed set of intervals
            const uint32_t parts = 1 + static_cast<uint32_t>(rng() % 3);
            for (uint32_t k = 0; k < parts; ++k) {
                const int64_t lo = small(rng) * 2;
                c.allowed_low.push_back(lo);
                c.allowed_high.push_back(lo + static_cast<int64_t>(rng() % 2));
            }
            c.lower = *std::min_element(c.allowed_low.begin(), c.allowed_low.end());
            c.upper = *std::max_element(c.allowed_high.begin(), c.allowed_high.end());
            break;
        }
        case 3:  // penalty shape: |B| or max(0, B), exponent 1 or 2
            c.exponent = static_cast<uint8_t>(1 + rng() % 2);
            c.hinge = 1;
            c.lower = (rng() & 1) ? coeff_t(0) : coeff_t(-10);
            c.upper = 0;
            break;
        case 4:  // lower above upper
            c.upper = c.lower - 1 - static_cast<int64_t>(rng() % 3);
            break;
        default:
            break;
    }
    m.constraints.push_back(std::move(c));
}

// nb binary variables and ni integers in [lo, hi], random terms mixing them
// (including squares of integers) and constraints of several kinds on flat indices.
TestModel random_mixed(std::mt19937_64 &rng, uint32_t nb, uint32_t ni, int64_t lo, int64_t hi) {
    TestModel m;
    m.bin_count = nb;
    m.int_count = ni;
    for (uint32_t k = 0; k < ni; ++k) {
        m.int_lower.emplace_back(lo);
        m.int_upper.emplace_back(hi);
    }
    std::uniform_int_distribution<int64_t> c(-6, 6);
    auto word = [&](uint32_t flat) { return flat < nb ? flat : 0x40000000u | (flat - nb); };
    const uint32_t total = nb + ni;
    for (uint32_t v = 0; v < total; ++v) m.add_linear(word(v), c(rng));
    for (uint32_t a = 0; a < total; ++a) {
        for (uint32_t b = a; b < total; ++b) {
            if (a == b && a < nb) continue;  // x * x of a binary variable is not in a simplified model
            if (rng() % 3 == 0) m.add_quadratic(word(a), word(b), c(rng));
        }
    }
    for (int kind = 0; kind < 4; ++kind) {
        TestConstraint tc;
        tc.weight = 1 + static_cast<int64_t>(rng() % 3);
        tc.lower = -2;
        tc.upper = 3;
        for (uint32_t v = 0; v < total; ++v) {
            if (rng() % 2) {
                tc.vars.push_back(v);
                tc.coeffs.emplace_back(c(rng));
            }
        }
        if (kind == 1) {
            tc.quad_head = {0, 2};
            tc.quad_vars = {0, total - 1};
            tc.quad_coeffs = {coeff_t(2)};
        } else if (kind == 2) {
            tc.allowed_low = {coeff_t(-5), coeff_t(4)};
            tc.allowed_high = {coeff_t(-4), coeff_t(6)};
        } else if (kind == 3) {
            tc.exponent = 1;
            tc.hinge = 1;
            tc.lower = 0;
            tc.upper = 0;
        }
        m.constraints.push_back(tc);
    }
    return m;
}

// Minimum over the whole (small) mixed domain.
coeff_t mixed_brute_force(const TestModel &m) {
    const int64_t lo = m.int_lower[0].convert_to<int64_t>(), hi = m.int_upper[0].convert_to<int64_t>();
    const uint64_t radix = static_cast<uint64_t>(hi - lo + 1);
    uint64_t ints_states = 1;
    for (uint32_t k = 0; k < m.int_count; ++k) ints_states *= radix;
    coeff_t best = 0;
    bool first = true;
    std::vector<coeff_t> ints(m.int_count);
    for (uint64_t b = 0; b < (uint64_t(1) << m.bin_count); ++b) {
        for (uint64_t s = 0; s < ints_states; ++s) {
            uint64_t r = s;
            for (uint32_t k = 0; k < m.int_count; ++k) {
                ints[k] = lo + static_cast<int64_t>(r % radix);
                r /= radix;
            }
            const coeff_t e = reference_energy(m, bits_of(b, m.bin_count), ints, true);
            if (first || e < best) best = e;
            first = false;
        }
    }
    return best;
}

TestModel sparse_model(std::mt19937_64 &rng, uint32_t vars, uint64_t couplers) {
    TestModel m;
    m.bin_count = vars;
    m.constant = 7;
    auto weight = [&rng] { return coeff_t(static_cast<int64_t>(rng() % 201) - 100); };
    auto literal = [&rng](uint32_t v) { return rng() % 8 == 0 ? v | (uint32_t(1) << 31) : v; };
    for (uint32_t v = 0; v < vars; ++v) m.add_linear(literal(v), weight());
    for (uint64_t c = 0; c < couplers; ++c) {
        const uint32_t a = static_cast<uint32_t>(rng() % vars);
        uint32_t b = static_cast<uint32_t>(rng() % (vars - 1));
        if (b >= a) ++b;
        m.add_quadratic(literal(a), literal(b), weight());
    }
    return m;
}

}  // namespace vexa::test
