// The unified integer engine (create_int / search_int): binary variables and
// native integers with bounds, terms over integer atoms, constraints on flat
// indices. Results are exact and within bounds.
#include <gtest/gtest.h>

#include "module_api.hpp"
#include "support/bigint_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

constexpr uint32_t kIntAtom = 0x40000000u;

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
    auto word = [&](uint32_t flat) { return flat < nb ? flat : kIntAtom | (flat - nb); };
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

}  // namespace

TEST(IntegerEngine, FindsTheOptimumOfSmallMixedModelsExactly) {
    for (uint64_t seed = 1; seed <= 12; ++seed) {
        std::mt19937_64 rng(seed);
        const TestModel m = random_mixed(rng, 3, 2, -3, 4);
        const coeff_t best = mixed_brute_force(m);
        const Outcome out = solve_int(m, {{"time_limit", "3"}, {"target_energy", best.str()}, {"seed", "1"}, {"thread_count", "2"}});
        EXPECT_EQ(out.energy, best) << "seed " << seed;
        EXPECT_EQ(out.energy, reference_energy(m, out.bits, out.ints, true)) << "seed " << seed;
        for (const coeff_t &v : out.ints) {
            EXPECT_GE(v, -3);
            EXPECT_LE(v, 4);
        }
    }
}

TEST(IntegerEngine, WideRangesStayExactAndInBounds) {
    std::mt19937_64 rng(9);
    TestModel m = random_mixed(rng, 4, 3, 0, 1);
    for (uint32_t k = 0; k < m.int_count; ++k) {
        m.int_lower[k] = -pow2(80);
        m.int_upper[k] = pow2(80) + 7;
    }
    for (const char *limit : {"0", "0.2"}) {
        const Outcome out = solve_int(m, {{"time_limit", limit}});
        EXPECT_EQ(out.energy, reference_energy(m, out.bits, out.ints, true)) << "time_limit " << limit;
        for (uint32_t k = 0; k < m.int_count; ++k) {
            EXPECT_GE(out.ints[k], m.int_lower[k]);
            EXPECT_LE(out.ints[k], m.int_upper[k]);
        }
    }
}

TEST(IntegerEngine, FixedIntegerAndTargetStop) {
    // An integer with lower == upper never moves; y in [0, 100] minimises (y - 37)^2 via a constraint.
    TestModel m;
    m.bin_count = 1;
    m.int_count = 2;
    m.int_lower = {coeff_t(5), coeff_t(0)};
    m.int_upper = {coeff_t(5), coeff_t(100)};
    m.add_linear(kIntAtom | 0, 1);  // the fixed integer adds 5
    m.add_linear(0, -1);
    TestConstraint c;
    c.weight = 1;
    c.lower = 37;
    c.upper = 37;
    c.vars = {2};  // flat index of y
    c.coeffs = {coeff_t(1)};
    m.constraints.push_back(c);
    const Outcome out = solve_int(m, {{"time_limit", "10"}, {"target_energy", "4"}});
    EXPECT_EQ(out.energy, 4);
    EXPECT_EQ(out.ints[0], 5);
    EXPECT_EQ(out.ints[1], 37);
    EXPECT_EQ(out.info.at("target_reached"), "1");
    EXPECT_LT(out.wall, 5.0);
}

using IntegerEngineDeath = ::testing::Test;

TEST(IntegerEngineDeath, HandleKindsAreNotInterchangeable) {
    TestModel m;
    m.bin_count = 1;
    m.add_linear(0, 1);
    void *h = create_handle(built_nimba_module(), m);
    EXPECT_DEATH(search_handle(built_nimba_module(), h, m, {}, true),
                 "^vexa: NimbaSolver: search_int called on a handle made by create \\(use search\\)\n$");
    built_nimba_module().destroy(h);
}
