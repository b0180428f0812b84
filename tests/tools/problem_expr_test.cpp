// The energy the tool builds from a problem file: at every assignment it is
// the negated objective of the file, computed here straight from the entries.
#include <gtest/gtest.h>

#include "problem_expr.hpp"
#include "tools/tool_util.hpp"

namespace {

using namespace vexa::cli;

TEST(ProblemEnergy, IsTheNegatedObjectiveAtEveryAssignment) {
    const uint64_t seed = 99;
    std::mt19937_64 rng(seed);
    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE("seed 99 round " + std::to_string(round));
        const Format f = static_cast<Format>(round % 3);
        const uint32_t n = 1 + rng() % 8;
        const Problem p = test::random_problem(rng, f, n, rng() % 20);
        const ProblemEnergy pe = build_energy(p);
        const vexa::Model model(pe.energy);
        vexa::Sol sol(model);
        for (uint32_t bits = 0; bits < (1u << n); ++bits) {
            std::vector<int> x(n);
            for (uint32_t i = 0; i < n; ++i) x[i] = (bits >> i) & 1;
            for (uint64_t k = 0; k < pe.used.size(); ++k) {
                if (sol.has(pe.vars[k])) sol.set(pe.vars[k], x[pe.used[k]]);
            }
            // Variables that no surviving term holds do not change f.
            const std::vector<int> back = file_assignment(pe, n, sol);
            ASSERT_EQ(sol.comp_energy().to_cpp_int(), -test::objective(p, back));
            ASSERT_EQ(test::objective(p, back), test::objective(p, x));
        }
    }
}

TEST(ProblemEnergy, OnlyNamedIndicesGetVariables) {
    Problem p;
    p.format = Format::gset;
    p.n = 1000000;
    p.entries = {Entry{5, 999999, vexa::Int(3)}, Entry{7, 7, vexa::Int(4)}};
    const ProblemEnergy pe = build_energy(p);
    EXPECT_EQ(pe.used, (std::vector<uint32_t>{5, 7, 999999}));
    EXPECT_EQ(pe.vars.size(), 3u);
    // A loop cuts nothing: -3 x5 - 3 x999999 + 6 x5 x999999.
    EXPECT_EQ(pe.energy.term_count(), 3u);
    EXPECT_EQ(pe.energy.constant(), 0);
    EXPECT_EQ(objective_name(Format::gset), std::string("cut"));
    EXPECT_EQ(objective_name(Format::qubo), std::string("maximum"));
}

TEST(ProblemEnergy, LargeWeightsStayExact) {
    Problem p;
    p.format = Format::gset;
    p.n = 2;
    p.entries = {Entry{0, 1, vexa::Int("-9223372036854775808")}, Entry{0, 1, vexa::Int("170141183460469231731687303715884105727")}};
    const ProblemEnergy pe = build_energy(p);
    const vexa::Model model(pe.energy);
    vexa::Sol sol(model);
    sol.set(pe.vars[0], 1);
    EXPECT_EQ(sol.comp_energy(), vexa::Int("-170141183460469231722463931679029329919"));
}

}  // namespace
