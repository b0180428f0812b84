// vexa::TessixSolver with the real accelerated module on binary models, and
// its unified integer engine: a stop request and a hint from another thread
// while the module searches, and optima checked against the exhaustive
// driver. Every energy reported must be the solution's exact price.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>

#include "frontend/hpp_util.hpp"

namespace {

using namespace vexa;
using vexa::Model;
using vexa::Sol;
using Clock = std::chrono::steady_clock;
double since(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

// The price of a returned solution, computed again by the model.
Int repriced(const Sol &s) {
    Sol copy = s;
    return copy.comp_energy();
}

class EnvScope {
public:
    EnvScope(const char *name, const char *value) : name_(name) {
        if (const char *old = std::getenv(name)) old_ = old, had_ = true;
        setenv(name, value, 1);
    }
    ~EnvScope() {
        if (had_) {
            setenv(name_, old_.c_str(), 1);
        } else {
            unsetenv(name_);
        }
    }

private:
    const char *name_;
    std::string old_;
    bool had_ = false;
};

// A random sparse max-cut energy on n vertices with weights +-1..5.
Expr random_cut(std::mt19937_64 &rng, const Vars &x, uint64_t n, uint64_t edges) {
    Expr e;
    for (uint64_t k = 0; k < edges; ++k) {
        const uint64_t i = rng() % n, j = (i + 1 + rng() % (n - 1)) % n;
        const int64_t w = static_cast<int64_t>(rng() % 5) + 1;
        e += (rng() % 2 ? w : -w) * (2 * x[i] * x[j] - x[i] - x[j]);
    }
    return e;
}

TEST(TessixModule, TerminateFromAnotherThreadEndsABinarySearchAtOnce) {
    std::mt19937_64 rng(11);
    const Vars x("x", 3000);
    const Model m = Model::from(random_cut(rng, x, 3000, 12000));
    TessixSolver solver(m);
    // A first short search prepares the module's handle.
    (void)solver.search({.time_limit = 0.05, .threads = 1});
    std::atomic<int> improvements{0};
    solver.on_progress([&](const Sol &, uint32_t event) {
        if (event == 1) ++improvements;
    });
    const auto start = Clock::now();
    std::atomic<double> stopped_at{0.0};
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        stopped_at = since(start);
        solver.terminate();
    });
    const Result r = solver.search({.time_limit = 30.0, .threads = 2});
    const double latency = since(start) - stopped_at;
    stopper.join();
    std::printf("terminate latency on 3000 binary variables: %.1f ms\n", latency * 1e3);
    EXPECT_LT(latency, 0.5);
    EXPECT_GT(improvements.load(), 0);
    EXPECT_EQ(r.energy(), repriced(r));

    // a stop request made before the search does not stop it
    solver.terminate();
    const auto t0 = Clock::now();
    const Result full = solver.search({.time_limit = 0.3, .threads = 1});
    EXPECT_GE(since(t0), 0.28);
    EXPECT_EQ(full.energy(), repriced(full));
}

TEST(TessixModule, AHintFromAnotherThreadBeatsTheSearch) {
    // Subset sum with 50-bit weights as a declared constraint: the only
    // zero-energy states are exact subsets, which a search of a second
    // does not hit, so energy 0 can only come from the hint.
    std::mt19937_64 rng(5);
    const uint64_t n = 48;
    const Vars x("s", n);
    Expr body;
    int64_t target = 0;  // at most 48 weights below 2^50
    std::vector<int> chosen(n);
    for (uint64_t i = 0; i < n; ++i) {
        const int64_t w = static_cast<int64_t>(rng() >> 14);
        body += w * x[i];
        chosen[i] = static_cast<int>(rng() % 2);
        if (chosen[i]) target += w;
    }
    const Model m = Model::from(cons(body == target));
    Sol hint(m);
    for (uint64_t i = 0; i < n; ++i) hint.set(x[i], chosen[i]);
    ASSERT_EQ(hint.comp_energy(), 0);

    TessixSolver solver(m);
    std::thread helper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        solver.hint(hint);
    });
    const Result r = solver.search({.time_limit = 1.0, .threads = 2});
    helper.join();
    EXPECT_EQ(r.energy(), 0);
    EXPECT_EQ(repriced(r), 0);
    // without the hint the same search does not get there
    TessixSolver alone(m);
    const Result a = alone.search({.time_limit = 0.5, .seed = 3, .threads = 2});
    EXPECT_GT(a.energy(), 0);
    EXPECT_EQ(a.energy(), repriced(a));
}

TEST(TessixModule, BinarySearchesReachTheExhaustiveOptimum) {
    for (uint64_t seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 rng(seed);
        const Vars x("b", 14);
        Expr e = random_cut(rng, x, 14, 30);
        Expr row;
        for (uint64_t i = 0; i < 14; i += 2) row += x[i];
        const Model m = Model::from(e + cons(between(2, row, 4)));
        const Result want = ExhaustiveSolver(m).search();
        const Result got = TessixSolver(m).search({.time_limit = 0.5, .seed = seed, .threads = 2,
                                                   .target_energy = want.energy()});
        EXPECT_EQ(got.energy(), want.energy());
        EXPECT_EQ(got.energy(), repriced(got));
    }
}

TEST(TessixModule, TheUnifiedEngineFindsTheExhaustiveOptimumOfIntegerModels) {
    const EnvScope unified("VEXA_INT_UNIFIED", "1");
    for (uint64_t seed = 1; seed <= 8; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 rng(seed);
        const NativeIntVars n("n", 3, -3, 4);
        const Vars b("u", 3);
        Expr objective;
        for (int i = 0; i < 3; ++i) {
            objective += (static_cast<int64_t>(rng() % 7) - 3) * n[i] + (static_cast<int64_t>(rng() % 9) - 4) * b[i];
            objective += (static_cast<int64_t>(rng() % 5) - 2) * n[i] * b[(i + 1) % 3];
        }
        const int64_t cap = static_cast<int64_t>(rng() % 5);
        const Model m = Model::from(objective + cons(n[0] + n[1] - b[2] <= cap) + cons(n[2] - n[0] == 1));
        const Result want = ExhaustiveSolver(m).search();
        const Result got = TessixSolver(m).search({.time_limit = 0.5, .seed = seed, .threads = 2,
                                                   .target_energy = want.energy()});
        EXPECT_EQ(got.info("engine").value_or(""), "integer-unified");
        EXPECT_EQ(got.energy(), want.energy());
        EXPECT_EQ(got.energy(), repriced(got));
    }
}

}  // namespace
