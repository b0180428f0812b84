// The choice between 64-bit words and exact integers: a model whose energies
// or penalties could leave the int64 range must take the exact path, and
// both paths return the same, exact results.
#include <gtest/gtest.h>

#include "module_api.hpp"
#include "support/bigint_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

// A random model with every coefficient c replaced by c * scale + c.
TestModel scaled_model(uint64_t seed, uint32_t n, const coeff_t &scale, uint32_t constraints) {
    std::mt19937_64 rng(seed);
    RandomModelShape shape;
    shape.vars = n;
    shape.constraints = constraints;
    TestModel m = random_model(rng, shape);
    for (coeff_t &c : m.coef1) c = c * scale + c;
    for (coeff_t &c : m.coef2) c = c * scale + c;
    return m;
}

void expect_path(const TestModel &m, const char *path, const BruteForce &bf, const std::string &what) {
    const Outcome ex = solve(built_exhaustive_module(), m, {});
    EXPECT_EQ(ex.info.at("arithmetic"), path) << what;
    EXPECT_EQ(ex.energy, bf.best) << what;
    const Outcome nb =
        solve(built_nimba_module(), m, {{"time_limit", "3"}, {"target_energy", bf.best.str()}, {"seed", "5"}});
    EXPECT_EQ(nb.info.at("arithmetic"), path) << what;
    EXPECT_EQ(nb.energy, bf.best) << what;
    EXPECT_EQ(reference_energy(m, nb.bits), nb.energy) << what;
}

}  // namespace

TEST(ArithmeticPath, SmallModelsUseMachineWords) {
    for (uint64_t seed = 1; seed <= 3; ++seed) {
        const TestModel m = scaled_model(seed, 10, 0, 3);
        expect_path(m, "int64", brute_force(m), "seed " + std::to_string(seed));
    }
}

TEST(ArithmeticPath, CoefficientsOfTwoToTheSeventyTakeTheExactPath) {
    for (uint64_t seed = 1; seed <= 4; ++seed) {
        const TestModel m = scaled_model(seed, 11, pow2(70), seed % 3);
        const BruteForce bf = brute_force(m);
        EXPECT_GT(abs(bf.best), pow2(64)) << "the optimum itself needs more than 64 bits";
        expect_path(m, "bigint", bf, "seed " + std::to_string(seed));
    }
}

TEST(ArithmeticPath, TheBoundSitsAtTwoToTheSixty) {
    // Coefficient magnitudes summing to 2^60 fit the proof; 2^60 + 1 does not.
    TestModel at;
    at.bin_count = 2;
    at.add_linear(0, -pow2(60) + 1);
    at.add_linear(1, 1);
    expect_path(at, "int64", brute_force(at), "2^60");
    TestModel above = at;
    above.coef1[0] = -pow2(60);
    expect_path(above, "bigint", brute_force(above), "2^60 + 1");
}

TEST(ArithmeticPath, SquaredPenaltiesCountInTheBound) {
    // Small terms, but a weight of 2^40 on a squared distance that can reach 2^12.
    TestModel m;
    m.bin_count = 3;
    m.add_linear(0, -3);
    m.add_quadratic(0, 2, 2);
    TestConstraint c;
    c.weight = pow2(40);
    c.lower = pow2(11);
    c.upper = pow2(11) + 5;
    c.vars = {0, 1};
    c.coeffs = {coeff_t(1), coeff_t(-1)};
    m.constraints.push_back(c);
    expect_path(m, "bigint", brute_force(m), "squared penalty");
}

TEST(ArithmeticPath, AHugeConstantAloneKeepsMachineWords) {
    // The constant is added once, exactly, outside the search loop.
    std::mt19937_64 rng(3);
    RandomModelShape shape;
    shape.vars = 9;
    shape.constraints = 2;
    TestModel m = random_model(rng, shape);
    m.constant = pow2(200) + 12345;
    const BruteForce bf = brute_force(m);
    expect_path(m, "int64", bf, "constant 2^200");
    // A target far below anything reachable is clamped, not wrapped.
    const Outcome nb = solve(built_nimba_module(), m, {{"time_limit", "0.05"}, {"target_energy", (-pow2(300)).str()}});
    EXPECT_EQ(nb.info.at("target_reached"), "0");
    EXPECT_EQ(nb.energy, reference_energy(m, nb.bits));
}
