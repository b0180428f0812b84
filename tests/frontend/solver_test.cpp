// Searches through vexa.hpp: the named settings reach the solver, and results
// come back as solutions whose energies the library recomputes.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "frontend/hpp_util.hpp"

namespace {

using namespace vexa;
using vexa::Model;
using vexa::Sol;

// (a + 2b - 7)^2 + (a - b - 1)^2 over a in [0, 10], b in [-5, 5]: minimum 0 at
// a = 3, b = 2.
struct IntegerProblem {
    NativeIntVar a{"a", 0, 10};
    NativeIntVar b{"b", -5, 5};
    Model model = Model::from(sqr(a + 2 * b - 7) + sqr(a - b - 1));
};

TEST(Search, NativeIntegerSearchAndEnumerationAgree) {
    const IntegerProblem p;
    const Result heuristic = NimbaSolver(p.model).search({.time_limit = 2.0, .seed = 5, .threads = 2});
    EXPECT_EQ(heuristic.energy(), 0);
    EXPECT_EQ(heuristic(p.a), 3);
    EXPECT_EQ(heuristic(p.b), 2);
    EXPECT_EQ(heuristic.info("threads"), "2");
    EXPECT_EQ(heuristic.info("engine"), "integer-cpu");
    EXPECT_TRUE(heuristic.info("run_time").has_value());
    EXPECT_EQ(heuristic.info("no such key"), std::nullopt);
    EXPECT_GE(heuristic.tts(), 0.0);

    const Result exact = ExhaustiveSolver(p.model).search();
    EXPECT_EQ(exact.energy(), 0);
    EXPECT_EQ(exact.info("states"), "121");
    // The result is a solution like any other: change it and recompute.
    Sol copy = exact;
    copy.set(p.a, 10);
    EXPECT_EQ(copy.comp_energy(), 7 * 7 + 7 * 7);
    EXPECT_EQ(exact.energy(), 0);
}

TEST(Search, TopKSolutionsAreSortedAndTrue) {
    const IntegerProblem p;
    const Result r = NimbaSolver(p.model).search({.time_limit = 0.5, .seed = 9, .threads = 1, .topk = 4});
    ASSERT_FALSE(r.topk().empty());
    ASSERT_LE(r.topk().size(), 4u);
    for (std::size_t i = 0; i < r.topk().size(); ++i) {
        Sol s = r.topk()[i];
        const Int reported = s.energy();
        s.set(p.a, s(p.a));  // marks the energy stale
        EXPECT_EQ(s.comp_energy(), reported);
        if (i > 0) {
            EXPECT_LE(r.topk()[i - 1].energy(), reported);
        }
    }
    EXPECT_EQ(r.topk()[0].energy(), r.energy());
}

TEST(Search, BestEnergySolutionsOfTheEnumeration) {
    const NativeIntVar k("k", -3, 3);
    const Model m = Model::from(k * k - 4);  // minimum at k = 0
    const Result once = ExhaustiveSolver(m).search({.best_energy_sols = 0});
    ASSERT_EQ(once.topk().size(), 1u);
    EXPECT_EQ(once.topk()[0](k), 0);
    const Model two = Model::from(k * k - k);  // k = 0 and k = 1 both give 0
    const Result both = ExhaustiveSolver(two).search({.best_energy_sols = 0});
    ASSERT_EQ(both.topk().size(), 2u);
    EXPECT_EQ(both.topk()[0].energy(), 0);
    EXPECT_EQ(both.topk()[1].energy(), 0);
    EXPECT_NE(both.topk()[0](k), both.topk()[1](k));
}

TEST(Search, TargetEnergyEndsTheSearchEarly) {
    const IntegerProblem p;
    const auto start = std::chrono::steady_clock::now();
    const Result r = NimbaSolver(p.model).search({.time_limit = 30.0, .target_energy = 0});
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(r.energy(), 0);
    EXPECT_LT(seconds, 10.0);
}

TEST(Search, DefaultCallbackPrintsProgress) {
    const IntegerProblem p;
    ::testing::internal::CaptureStdout();
    const Result r = NimbaSolver(p.model).search({.time_limit = 0.2, .threads = 1, .default_callback = true});
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("TTS = "), std::string::npos) << out;
    EXPECT_NE(out.find("Energy = "), std::string::npos) << out;
}

TEST(Search, HintsGoToTheIntegerSearch) {
    const IntegerProblem p;
    Sol start(p.model);
    start.set(p.a, 3);
    start.set(p.b, 2);
    const Result r = NimbaSolver(p.model).search({.time_limit = 0.2, .threads = 1}, start);
    EXPECT_EQ(r.energy(), 0);
}

bool have_module(const char *name) { return std::filesystem::exists(std::string(VEXA_OUT_DIR) + "/" + name); }

TEST(Search, BinaryModelsThroughTheModules) {
    if (!have_module("nimbasolver_cppint.so") || !have_module("exhaustive_cppint.so")) {
        GTEST_SKIP() << "solver modules not built";
    }
    const Var x("x"), y("y"), z("z");
    const Model m = Model::from(sqr(x + y - 1) + 3 * x * z - 2 * z);
    const Result exact = ExhaustiveSolver(m).search();
    const Result heuristic = NimbaSolver(m).search({.time_limit = 0.5, .seed = 2});
    EXPECT_EQ(exact.energy(), -2);
    EXPECT_EQ(heuristic.energy(), -2);
    Sol check = heuristic;
    check.set(x, check(x));
    EXPECT_EQ(check.comp_energy(), -2);
    EXPECT_EQ(heuristic(z), 1);
    EXPECT_EQ(heuristic(x), 0);
    EXPECT_EQ(heuristic(y), 1);
    EXPECT_THROW(NimbaSolver(m).search({}, Sol(m)), std::invalid_argument);
}

}  // namespace
