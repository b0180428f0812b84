// Search control: time limits (also 0), targets, thread counts, parameter
// checks, the callback, info pairs, and the exhaustive module's refusal of
// models too large to enumerate.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <random>
#include <string>

#include "module_api.hpp"
#include "support/bigint_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

TestModel dense_model(uint32_t n, uint64_t seed) {
    std::mt19937_64 rng(seed);
    RandomModelShape shape;
    shape.vars = n;
    shape.quadratic_density = 0.3;
    shape.coeff_range = 100;
    return random_model(rng, shape);
}

// Optimum -n at all ones, found by a plain descent.
TestModel planted_model(uint32_t n) {
    TestModel m;
    m.bin_count = n;
    for (uint32_t i = 0; i < n; ++i) m.add_linear(i, -1);
    return m;
}

}  // namespace

// A tiny limit on a model far too big to prepare in it: the search returns
// soon after the limit with an exactly priced state, and the next search on
// the same handle, with time to spare, prepares the model and improves on it.
// A coefficient past 64 bits sends preparation down the exact path, which
// keeps the limit the same way.
TEST(SearchControl, TinyLimitOnABigModelReturnsAnExactlyPricedState) {
    const uint64_t seed = 20260;
    for (const bool wide : {false, true}) {
        SCOPED_TRACE("seed " + std::to_string(seed) + (wide ? ", a coefficient of 2^100" : ""));
        std::mt19937_64 rng(seed);
        TestModel m = sparse_model(rng, 200'000, 600'000);
        if (wide) {
            // First, so that the word path gives up at once.
            m.vars1.insert(m.vars1.begin(), 7);
            m.coef1.insert(m.coef1.begin(), coeff_t(1) << 100);
        }
        const auto &f = built_nimba_module();
        void *h = create_handle(f, m);
        for (const char *limit : {"0", "0.001", "0.02", "0.1"}) {
            SCOPED_TRACE(std::string("time_limit ") + limit);
            const Outcome r = search_handle(f, h, m, {{"time_limit", limit}, {"threads", "2"}});
            EXPECT_EQ(r.energy, reference_energy(m, r.bits));
            EXPECT_LT(r.wall, std::stod(limit) + 0.5);
            // Preparing the model stops at one of its first checks.
            if (std::stod(limit) < 0.01) {
                EXPECT_EQ(r.info.at("arithmetic"), "none");
            }
        }
        const Outcome zero = search_handle(f, h, m, {{"time_limit", "0"}, {"threads", "1"}});
        // Time to spare even for the exact path under the sanitizers; the
        // search ends as soon as it beats the zero state.
        const Outcome longer = search_handle(
            f, h, m, {{"time_limit", "120"}, {"threads", "2"}, {"target_energy", coeff_t(zero.energy - 1).str()}});
        EXPECT_EQ(longer.energy, reference_energy(m, longer.bits));
        EXPECT_EQ(longer.info.at("arithmetic"), wide ? "bigint" : "int64");
        EXPECT_LT(longer.energy, zero.energy);
        f.destroy(h);
    }
}

TEST(SearchControl, ZeroTimeLimitStillReturnsAnEvaluatedState) {
    const TestModel m = dense_model(300, 1);
    const Outcome nb = solve(built_nimba_module(), m, {{"time_limit", "0"}, {"threads", "2"}});
    EXPECT_EQ(nb.energy, reference_energy(m, nb.bits));
    EXPECT_LT(nb.wall, 1.0);

    const TestModel big = dense_model(36, 2);
    const Outcome ex = solve(built_exhaustive_module(), big, {{"time_limit", "0"}});
    EXPECT_EQ(ex.energy, reference_energy(big, ex.bits));
    EXPECT_EQ(ex.info.at("complete"), "0");
    EXPECT_EQ(ex.info.at("time_limit_reached"), "1");
    EXPECT_GT(std::stoull(ex.info.at("states")), 0u);
    EXPECT_LT(ex.wall, 2.0);
}

TEST(SearchControl, TimeLimitBoundsTheHeuristicAndCutsTheEnumerationShort) {
    const TestModel m = dense_model(400, 3);
    const Outcome nb = solve(built_nimba_module(), m, {{"time_limit", "0.3"}});
    EXPECT_GE(nb.wall, 0.3);
    EXPECT_LT(nb.wall, 1.5);

    const TestModel big = dense_model(44, 4);
    const Outcome ex = solve(built_exhaustive_module(), big, {{"time_limit", "0.3"}, {"threads", "2"}});
    EXPECT_LT(ex.wall, 1.5);
    EXPECT_EQ(ex.info.at("time_limit_reached"), "1");
    EXPECT_EQ(ex.energy, reference_energy(big, ex.bits)) << "the best state seen is returned";
    EXPECT_LT(std::stoull(ex.info.at("states")), uint64_t(1) << 44);
}

TEST(SearchControl, TargetEnergyStopsBothModulesEarly) {
    const TestModel m = planted_model(2000);
    const Outcome nb = solve(built_nimba_module(), m, {{"time_limit", "60"}, {"target_energy", "-2000"}});
    EXPECT_EQ(nb.energy, -2000);
    EXPECT_EQ(nb.info.at("target_reached"), "1");
    EXPECT_LT(nb.wall, 10.0);

    const TestModel p = planted_model(40);
    // The all-ones state comes late in the enumeration; a weaker target stops it long before the end.
    const Outcome ex = solve(built_exhaustive_module(), p, {{"target_energy", "-20"}, {"threads", "2"}});
    EXPECT_LE(ex.energy, -20);
    EXPECT_EQ(ex.info.at("target_reached"), "1");
    EXPECT_EQ(ex.info.at("complete"), "0");
    EXPECT_EQ(ex.info.at("time_limit_reached"), "0");
}

TEST(SearchControl, UnreachedTargetIsReportedAsSuch) {
    const TestModel m = planted_model(10);
    const Outcome nb = solve(built_nimba_module(), m, {{"time_limit", "0.05"}, {"target_energy", "-11"}});
    EXPECT_EQ(nb.energy, -10);
    EXPECT_EQ(nb.info.at("target_reached"), "0");
    const Outcome ex = solve(built_exhaustive_module(), m, {{"target_energy", "-11"}});
    EXPECT_EQ(ex.info.at("complete"), "1");
    EXPECT_EQ(ex.info.at("target_reached"), "0");
}

TEST(SearchControl, ThreadCountsOneAndTwoBothFindTheOptimum) {
    for (uint64_t seed = 1; seed <= 4; ++seed) {
        const TestModel m = dense_model(14, seed);
        const BruteForce bf = brute_force(m);
        for (const char *key : {"threads", "thread_count"}) {
            for (const char *t : {"1", "2"}) {
                const Outcome nb =
                    solve(built_nimba_module(), m,
                          {{"time_limit", "2"}, {key, t}, {"target_energy", bf.best.str()}, {"seed", "9"}});
                EXPECT_EQ(nb.energy, bf.best) << key << "=" << t;
                EXPECT_EQ(nb.info.at("threads"), t);
                const Outcome ex = solve(built_exhaustive_module(), m, {{key, t}});
                EXPECT_EQ(ex.energy, bf.best) << key << "=" << t;
                EXPECT_EQ(ex.info.at("threads"), t);
            }
        }
    }
}

TEST(SearchControl, InfoPairsDescribeTheRun) {
    const TestModel m = dense_model(30, 5);
    const Outcome nb = solve(built_nimba_module(), m, {{"time_limit", "0.1"}, {"seed", "42"}});
    for (const char *key : {"algorithm", "threads", "seed", "arithmetic", "moves", "restarts", "target_reached"}) {
        EXPECT_EQ(nb.info.count(key), 1u) << key;
    }
    EXPECT_EQ(nb.info.at("seed"), "42");
    EXPECT_GT(std::stoull(nb.info.at("moves")), 0u);

    const TestModel small = dense_model(10, 6);
    const Outcome ex = solve(built_exhaustive_module(), small, {});
    EXPECT_EQ(ex.info.at("states"), "1024");
    EXPECT_EQ(ex.info.at("complete"), "1");
    EXPECT_EQ(ex.info.at("time_limit_reached"), "0");
    EXPECT_EQ(ex.info.count("algorithm"), 1u);
}

TEST(SearchControl, EmptyModelYieldsItsConstant) {
    TestModel m;
    m.constant = -17;
    EXPECT_EQ(solve(built_nimba_module(), m, {{"time_limit", "0.01"}}).energy, -17);
    const Outcome ex = solve(built_exhaustive_module(), m, {});
    EXPECT_EQ(ex.energy, -17);
    EXPECT_EQ(ex.info.at("states"), "1");
}

namespace {
std::mutex g_seen_mutex;
std::vector<coeff_t> g_seen;
double recording_callback(void *, const vexa_bigint *energy, const uint64_t *, uint32_t event, double) {
    coeff_t v = 0;
    for (uint32_t i = energy->nlimbs; i-- > 0;) v = (v << 64) + energy->limbs[i];
    if (energy->sign < 0) v = -v;
    std::lock_guard<std::mutex> lock(g_seen_mutex);
    if (event == 1) g_seen.push_back(v);
    return -1.0;
}
}  // namespace

TEST(SearchControl, CallbackSeesEveryNewBestInDescendingOrder) {
    const TestModel m = dense_model(60, 7);
    built_nimba_module().register_callback(recording_callback);
    g_seen.clear();
    const Outcome nb = solve(built_nimba_module(), m, {{"time_limit", "0.2"}});
    built_nimba_module().register_callback(nullptr);
    ASSERT_FALSE(g_seen.empty());
    for (size_t i = 1; i < g_seen.size(); ++i) EXPECT_LT(g_seen[i], g_seen[i - 1]);
    EXPECT_EQ(g_seen.back(), nb.energy);
}

using SearchControlDeath = ::testing::Test;

TEST(SearchControlDeath, BadParametersAreFatal) {
    const TestModel m = dense_model(5, 8);
    EXPECT_DEATH(solve(built_nimba_module(), m, {{"threads", "0"}}), "^vexa: NimbaSolver: threads must be >= 1\\.\n$");
    EXPECT_DEATH(solve(built_nimba_module(), m, {{"topk_sols", "0"}}),
                 "^vexa: NimbaSolver: topk_sols must be >= 1\\.\n$");
    EXPECT_DEATH(solve(built_nimba_module(), m, {{"target_energy", "12x"}}),
                 "^vexa: NimbaSolver: target_energy is not a decimal integer: '12x'\n$");
    EXPECT_DEATH(solve(built_exhaustive_module(), m, {{"thread_count", "0"}}),
                 "^vexa: ExhaustiveSolver: threads must be >= 1\\.\n$");
}

TEST(SearchControlDeath, ExhaustiveRefusesMoreThan48VariablesAtCreate) {
    TestModel m;
    m.bin_count = 49;
    m.add_linear(48, 1);
    EXPECT_DEATH(create_handle(built_exhaustive_module(), m),
                 "^vexa: ExhaustiveSolver: the model has 49 binary variables; exhaustive enumeration handles at most "
                 "48\\.\n$");
    m.bin_count = 48;
    m.vars1[0] = 47;
    void *h = create_handle(built_exhaustive_module(), m);  // 48 is accepted
    EXPECT_NE(h, nullptr);
    built_exhaustive_module().destroy(h);
}

// Search threads take breakout, tempering and tabu/relinking in turn, the
// tempering threads after a short tabu prelude; a lone thread alternates
// tempering and breakout. Each strategy shows in the counts once it runs (a
// prelude that never ended would leave the tempering count at zero); every
// energy stays exact.
TEST(SearchControl, ThreadsTakeTheThreeStrategiesInTurn) {
    const TestModel m = dense_model(120, 77);
    for (const uint32_t threads : {1u, 2u, 3u}) {
        SCOPED_TRACE(std::to_string(threads) + " threads, seed 77");
        const Outcome r = solve(built_nimba_module(), m,
                                {{"time_limit", "0.3"}, {"threads", std::to_string(threads)}, {"seed", "5"}});
        EXPECT_EQ(r.energy, reference_energy(m, r.bits));
        EXPECT_GT(std::stoull(r.info.at("perturbations")), 0u);
        EXPECT_GT(std::stoull(r.info.at("tempering_sweeps")), 0u);
        EXPECT_EQ(std::stoull(r.info.at("tabu_runs")) > 0, threads >= 2);
    }
}
