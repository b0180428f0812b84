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
