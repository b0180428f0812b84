// Every energy a module returns equals the reference pricing of its bits;
// the exhaustive optimum equals a brute force, and the heuristic finds it.
#include <gtest/gtest.h>

#include <algorithm>

#include "module_api.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

Params quick(uint64_t seed, const char *time_limit = "0.02") {
    return {{"time_limit", time_limit}, {"seed", std::to_string(seed)}, {"threads", "2"}};
}

}  // namespace

TEST(ModuleExactness, HeuristicEnergiesMatchReferenceOnRandomConstrainedModels) {
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        std::mt19937_64 rng(seed);
        RandomModelShape shape;
        shape.vars = 1 + static_cast<uint32_t>(rng() % 40);
        shape.constraints = static_cast<uint32_t>(rng() % 9);
        const TestModel m = random_model(rng, shape);
        Params p = quick(seed);
        p.emplace_back("topk_sols", "4");
        const Outcome out = solve(built_nimba_module(), m, p);
        EXPECT_EQ(out.energy, reference_energy(m, out.bits)) << "seed " << seed;
        ASSERT_TRUE(out.has_list) << "seed " << seed;
        for (const ListItem &item : out.list) EXPECT_EQ(item.energy, reference_energy(m, item.bits)) << "seed " << seed;
    }
}

TEST(ModuleExactness, ExhaustiveOptimumEqualsBruteForceAndHeuristicFindsIt) {
    for (uint64_t seed = 1; seed <= 36; ++seed) {
        std::mt19937_64 rng(1000 + seed);
        RandomModelShape shape;
        shape.vars = 1 + static_cast<uint32_t>(seed % 14);
        shape.constraints = static_cast<uint32_t>(seed % 7);
        const TestModel m = random_model(rng, shape);
        const BruteForce bf = brute_force(m);

        const Outcome ex = solve(built_exhaustive_module(), m, {{"threads", "2"}});
        EXPECT_EQ(ex.energy, bf.best) << "seed " << seed;
        EXPECT_EQ(reference_energy(m, ex.bits), ex.energy) << "seed " << seed;
        EXPECT_EQ(ex.info.at("complete"), "1") << "seed " << seed;
        EXPECT_EQ(ex.info.at("states"), std::to_string(uint64_t(1) << shape.vars)) << "seed " << seed;

        Params p = quick(seed, "5");
        p.emplace_back("target_energy", bf.best.str());
        const Outcome nb = solve(built_nimba_module(), m, p);
        EXPECT_EQ(nb.energy, bf.best) << "seed " << seed;
        EXPECT_EQ(reference_energy(m, nb.bits), nb.energy) << "seed " << seed;
    }
}

TEST(ModuleExactness, TwentyVariableModelMatchesPlainBruteForce) {
    // Block enumeration with a Gray-coded high part and partitions: checked
    // against a straightforward evaluation of all 2^20 states.
    std::mt19937_64 rng(77);
    RandomModelShape shape;
    shape.vars = 20;
    shape.quadratic_density = 0.5;
    shape.coeff_range = 50;
    const TestModel m = random_model(rng, shape);
    const std::vector<int64_t> energies = plain_energies(m);
    const int64_t best = *std::min_element(energies.begin(), energies.end());
    for (const char *threads : {"1", "2", "3"}) {
        const Outcome ex = solve(built_exhaustive_module(), m, {{"threads", threads}});
        EXPECT_EQ(ex.energy, best) << threads << " threads";
        EXPECT_EQ(reference_energy(m, ex.bits), ex.energy);
    }
    const Outcome nb =
        solve(built_nimba_module(), m, {{"time_limit", "5"}, {"seed", "3"}, {"target_energy", std::to_string(best)}});
    EXPECT_EQ(nb.energy, best);
}

TEST(ModuleExactness, NegatedAndRepeatedLiteralsArePricedAsWritten) {
    // Term words with bit 31 mean (1 - x); x * x of a binary variable is x.
    std::mt19937_64 rng(5);
    for (int round = 0; round < 10; ++round) {
        TestModel m;
        m.bin_count = 6;
        std::uniform_int_distribution<int64_t> c(-9, 9);
        for (int t = 0; t < 8; ++t) {
            const uint32_t a = static_cast<uint32_t>(rng() % 6), b = static_cast<uint32_t>(rng() % 6);
            m.add_linear(a | ((rng() & 1) ? 0x80000000u : 0u), c(rng));
            m.add_quadratic(a | ((rng() & 1) ? 0x80000000u : 0u), b | ((rng() & 1) ? 0x80000000u : 0u), c(rng));
        }
        add_random_constraint(rng, m, 0);
        const BruteForce bf = brute_force(m);
        const Outcome ex = solve(built_exhaustive_module(), m, {});
        EXPECT_EQ(ex.energy, bf.best) << "round " << round;
        const Outcome nb = solve(built_nimba_module(), m, {{"time_limit", "2"}, {"target_energy", bf.best.str()}});
        EXPECT_EQ(nb.energy, bf.best) << "round " << round;
        EXPECT_EQ(reference_energy(m, nb.bits), nb.energy) << "round " << round;
    }
}

// Objectives whose coefficients all lie below 2^60 in magnitude are
// canonicalised in machine words, others exactly: coefficients drawn around
// that bound (and far above it), on negated and repeated literals, must give
// the brute-force minimum of the model and of its negation either way.
TEST(ModuleExactness, CoefficientsAroundTheMachineWordBoundArePricedExactly) {
    const coeff_t bound = coeff_t(1) << 60;
    const std::vector<coeff_t> edges = {bound - 1, bound, bound + 1, coeff_t(1) << 62, coeff_t(1) << 70};
    for (uint64_t seed = 1; seed <= 24; ++seed) {
        std::mt19937_64 rng(seed * 104729);
        const bool wide = seed % 3 != 0;  // one seed in three stays below the bound
        auto coefficient = [&]() -> coeff_t {
            coeff_t c = wide && rng() % 4 == 0 ? edges[rng() % edges.size()] : coeff_t(rng() % 2000) + 1;
            if (!wide && rng() % 4 == 0) c = bound - 1 - coeff_t(rng() % 1000);
            return rng() % 2 ? coeff_t(-c) : c;
        };
        auto literal = [&](uint32_t v) { return v | ((rng() & 1) ? 0x80000000u : 0u); };
        TestModel m;
        m.bin_count = 7;
        m.constant = coefficient();
        for (int t = 0; t < 12; ++t) {
            const uint32_t a = static_cast<uint32_t>(rng() % 7), b = static_cast<uint32_t>(rng() % 7);
            m.add_linear(literal(a), coefficient());
            m.add_quadratic(literal(a), literal(b), coefficient());
        }
        TestModel negated = m;
        negated.constant = -m.constant;
        for (coeff_t &c : negated.coef1) c = -c;
        for (coeff_t &c : negated.coef2) c = -c;
        for (const TestModel *model : {&m, &negated}) {
            const BruteForce bf = brute_force(*model);
            const Outcome ex = solve(built_exhaustive_module(), *model, {});
            EXPECT_EQ(ex.energy, bf.best) << "seed " << seed;
            EXPECT_EQ(reference_energy(*model, ex.bits), ex.energy) << "seed " << seed;
            const Outcome nb = solve(built_nimba_module(), *model, {{"time_limit", "0.05"}, {"threads", "1"}});
            EXPECT_EQ(reference_energy(*model, nb.bits), nb.energy) << "seed " << seed;
        }
    }
}

TEST(ModuleExactness, RemainderIsNotPricedTwice) {
    // The remainder already sits in the term arrays; the module also receives
    // it separately and must not add it again.
    TestModel m;
    m.bin_count = 3;
    m.constant = 4;
    m.add_linear(0, -3);
    m.add_linear(2, 5);
    m.add_quadratic(0, 1, -2);
    m.has_remainder = true;
    m.remainder_constant = 4;
    m.remainder_head = {0, 1, 3};
    m.remainder_vars = {0, 0, 1};
    m.remainder_coeffs = {coeff_t(-3), coeff_t(-2)};
    const BruteForce bf = brute_force(m);  // -1 at x0 = x1 = 1, x2 = 0
    EXPECT_EQ(bf.best, -1);
    EXPECT_EQ(solve(built_exhaustive_module(), m, {}).energy, bf.best);
    EXPECT_EQ(solve(built_nimba_module(), m, {{"time_limit", "0.1"}}).energy, bf.best);
}

TEST(ModuleExactness, ShapesNegativeWeightsAndInvertedBoundsArePricedLikeTheLibrary) {
    // One variable, body B = 3x - 1: x = 0 gives B = -1, x = 1 gives B = 2.
    struct Case {
        int64_t weight, lower, upper;
        uint8_t exponent;
        std::vector<std::pair<int64_t, int64_t>> allowed;
        int64_t at0, at1;  // expected energies
    };
    const std::vector<Case> cases = {
        {2, 0, 0, 2, {}, 2, 8},            // 2 * D^2, D = |B|
        {2, 0, 0, 1, {}, 2, 4},            // linear shape
        {-3, 0, 1, 2, {}, -3, -3},         // negative weight
        {1, 5, 0, 2, {}, 36, 25},          // lower > upper: D = max(5 - B, 0) + max(B - 0, 0)
        {1, -10, 10, 2, {{4, 5}, {-3, -2}}, 1, 4},  // allowed set: nearest interval
    };
    for (const Case &k : cases) {
        TestModel m;
        m.bin_count = 1;
        TestConstraint c;
        c.weight = k.weight;
        c.lower = k.lower;
        c.upper = k.upper;
        c.body_constant = -1;
        c.vars = {0};
        c.coeffs = {coeff_t(3)};
        c.exponent = k.exponent;
        for (auto [lo, hi] : k.allowed) {
            c.allowed_low.push_back(lo);
            c.allowed_high.push_back(hi);
        }
        m.constraints.push_back(c);
        EXPECT_EQ(reference_energy(m, bits_of(0, 1)), k.at0);
        EXPECT_EQ(reference_energy(m, bits_of(1, 1)), k.at1);
        const int64_t best = std::min(k.at0, k.at1);
        EXPECT_EQ(solve(built_exhaustive_module(), m, {}).energy, best) << "weight " << k.weight;
        EXPECT_EQ(solve(built_nimba_module(), m, {{"time_limit", "0.05"}}).energy, best) << "weight " << k.weight;
    }
}
