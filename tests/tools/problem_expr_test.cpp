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

namespace {

// Weights from zero to far beyond 64 bits, the 62- and 64-bit edges included, sums
// that overflow 64 bits per vertex, repeated and mirrored pairs: the energy is
// still the negated objective everywhere, whether the problem is kept or
// handed over.
TEST(ProblemEnergy, WideWeightsAndHandedOverProblems) {
    using vexa::cli::test::cpp_int;
    const uint64_t seed = 1234;
    std::mt19937_64 rng(seed);
    const std::vector<std::string> edges = {"9223372036854775807", "-9223372036854775808", "9223372036854775808",
                                            "-18446744073709551616", "170141183460469231731687303715884105727",
                                            // around 2^62, where a weight stops travelling with its pair
                                            "4611686018427387903", "4611686018427387904", "-4611686018427387903",
                                            "-4611686018427387904"};
    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE("seed 1234 round " + std::to_string(round));
        const Format f = static_cast<Format>(round % 3);
        const uint32_t n = 2 + rng() % 6;
        Problem p = test::random_problem(rng, f, n, 1 + rng() % 25);
        for (Entry &e : p.entries) {
            if (rng() % 3 == 0) e.w = vexa::Int(edges[rng() % edges.size()]);
        }
        if (!p.entries.empty()) p.entries.push_back(Entry{p.entries[0].j, p.entries[0].i, p.entries[0].w});
        const Problem kept = p;
        const ProblemEnergy pe = build_energy(kept);
        const ProblemEnergy moved = build_energy(std::move(p));
        EXPECT_TRUE(p.entries.empty());
        ASSERT_EQ(moved.energy.str(), pe.energy.str());
        const vexa::Model model(pe.energy);
        vexa::Sol sol(model);
        for (uint32_t bits = 0; bits < (1u << n); ++bits) {
            for (uint64_t k = 0; k < pe.used.size(); ++k) {
                if (sol.has(pe.vars[k])) sol.set(pe.vars[k], (bits >> pe.used[k]) & 1);
            }
            const std::vector<int> x = file_assignment(pe, n, sol);
            ASSERT_EQ(sol.comp_energy().to_cpp_int(), cpp_int(-test::objective(kept, x)));
        }
    }
}

// Past a million entries the ordering and the copying into the bulk arrays
// are shared by threads; the model is the same with one thread and with
// several, and still the negated objective, wide weights and zeros included.
TEST(ProblemEnergy, ThreadCountsBuildTheSameModel) {
    using vexa::cli::test::cpp_int;
    const uint64_t seed = 2718;
    std::mt19937_64 rng(seed);
    for (const Format f : {Format::qubo, Format::gset}) {
        SCOPED_TRACE(std::string("seed 2718, ") + format_name(f));
        const uint32_t n = 4000;
        Problem p = test::random_problem(rng, f, n, 1100000);
        for (std::size_t k = 0; k < p.entries.size(); k += 9973) {
            p.entries[k].w = vexa::Int(k % 2 ? "-170141183460469231731687303715884105727" : "4611686018427387904");
        }
        std::vector<std::vector<int>> points(3, std::vector<int>(n));
        for (auto &x : points) {
            for (int &v : x) v = static_cast<int>(rng() % 2);
        }
        std::vector<std::pair<uint64_t, uint64_t>> counts;
        for (const char *threads : {"1", "3"}) {
            const test::ThreadsEnv env(threads);
            const ProblemEnergy pe = build_energy(p);
            const vexa::Model model(pe.energy);
            counts.emplace_back(model.term_count(1), model.term_count(2));
            for (const auto &x : points) {
                vexa::Sol sol(model);
                for (uint64_t k = 0; k < pe.used.size(); ++k) {
                    if (sol.has(pe.vars[k])) sol.set(pe.vars[k], x[pe.used[k]]);
                }
                ASSERT_EQ(sol.comp_energy().to_cpp_int(), cpp_int(-test::objective(p, x))) << threads;
            }
        }
        EXPECT_EQ(counts[0], counts[1]);
    }
}

}  // namespace
