// vexa::TessixSolver on models with integer variables (the native integer
// search, no module needed): the progress callable, hints and stop requests
// from another thread, and exceptions thrown by the callable.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "frontend/hpp_util.hpp"

namespace {

using namespace vexa;
using vexa::Model;
using vexa::Sol;
using Clock = std::chrono::steady_clock;
double since(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

// a * c = p * q for two primes, declared as a native constraint: a second of
// search does not factor it, so energy 0 comes only from a hint.
struct Factoring {
    static constexpr int64_t p = 1000003, q = 999983;
    NativeIntVar a{"a", 2, int64_t(1) << 21};
    NativeIntVar c{"c", 2, int64_t(1) << 21};
    Model model = Model::from(cons(a * c == p * q));
};

// (a + 2b - 7)^2 + (a - b - 1)^2: minimum 0 at a = 3, b = 2.
struct Easy {
    NativeIntVar a{"a", 0, 10};
    NativeIntVar b{"b", -5, 5};
    Model model = Model::from(sqr(a + 2 * b - 7) + sqr(a - b - 1));
};

TEST(TessixSolver, ProgressCallableSeesEveryImprovement) {
    const Easy e;
    TessixSolver solver(e.model);
    std::mutex mutex;
    std::vector<uint32_t> events;
    std::vector<Int> energies;
    bool priced_right = true;
    solver.on_progress([&](const Sol &s, uint32_t event) {
        std::lock_guard<std::mutex> lock(mutex);
        events.push_back(event);
        energies.push_back(s.energy());
        Sol copy = s;
        priced_right &= copy.comp_energy() == s.energy();
    });
    const Result r = solver.search({.time_limit = 0.3, .threads = 2});
    EXPECT_EQ(r.energy(), 0);
    ASSERT_GE(events.size(), 2u);
    EXPECT_EQ(events.front(), 0u);
    for (size_t i = 1; i < events.size(); ++i) EXPECT_NE(events[i], 0u);
    EXPECT_EQ(energies.back(), 0);
    EXPECT_TRUE(priced_right);

    // a callable that returns a double sets the timer: event 2 arrives
    std::atomic<int> ticks{0};
    solver.on_progress([&](const Sol &, uint32_t event) -> double {
        if (event == 2) ++ticks;
        return 0.05;
    });
    const Result timed = solver.search({.time_limit = 0.4, .threads = 1});
    EXPECT_GE(ticks.load(), 2);
    // the solver moves with its callable
    TessixSolver moved = std::move(solver);
    ticks = 0;
    const Result again = moved.search({.time_limit = 0.3, .threads = 1});
    EXPECT_GE(ticks.load(), 1);
}

TEST(TessixSolver, HintAndTerminateFromAnotherThread) {
    const Factoring f;
    const TessixSolver solver(f.model);
    Sol hint(f.model);
    hint.set(f.a, Factoring::p);
    hint.set(f.c, Factoring::q);
    const auto start = Clock::now();
    std::atomic<double> stopped_at{0.0};
    std::thread helper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        solver.hint(hint);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        stopped_at = since(start);
        solver.terminate();
    });
    const Result r = solver.search({.time_limit = 30.0, .threads = 2});
    const double latency = since(start) - stopped_at;
    helper.join();
    EXPECT_EQ(r.energy(), 0);
    EXPECT_EQ(r(f.a), Factoring::p);
    EXPECT_LT(latency, 0.5);

    // a stop request made before a search does not stop it
    solver.terminate();
    const auto t0 = Clock::now();
    const Result full = solver.search({.time_limit = 0.3, .threads = 1});
    EXPECT_GE(since(t0), 0.28);

    // the hint as the start of the search, on a model without binary
    // variables (a hint with no bit words)
    const Result started = solver.search({.time_limit = 0.1, .threads = 1}, hint);
    EXPECT_EQ(started.energy(), 0);
    EXPECT_EQ(NimbaSolver(f.model).search({.time_limit = 0.1, .threads = 1}, hint).energy(), 0);
}

TEST(TessixSolver, AnExceptionFromTheCallableStopsTheSearchAndIsRethrown) {
    const Easy e;
    TessixSolver solver(e.model);
    int calls = 0;
    solver.on_progress([&](const Sol &, uint32_t event) {
        ++calls;
        if (event == 1) throw std::runtime_error("enough");
    });
    const auto t0 = Clock::now();
    EXPECT_THROW(
        {
            try {
                solver.search({.time_limit = 30.0, .threads = 1});
            } catch (const std::runtime_error &err) {
                EXPECT_STREQ(err.what(), "enough");
                throw;
            }
        },
        std::runtime_error);
    EXPECT_LT(since(t0), 5.0);
    // the error is gone: the next search runs to its end
    solver.on_progress([](const Sol &, uint32_t) {});
    const Result r = solver.search({.time_limit = 0.2, .threads = 1});
    EXPECT_EQ(r.energy(), 0);
}

}  // namespace
