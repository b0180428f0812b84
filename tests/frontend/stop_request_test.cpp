// Time limits and stop requests through the exported interface, on the real
// solver modules: a search keeps its time limit on a large model, a stop
// request from another thread ends a long search promptly with a valid
// result, a request made before a search ends that search at once, and the
// search after it runs normally again.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "vexa/vexa.h"
#include "vexa/vexa.hpp"

namespace {

using Clock = std::chrono::steady_clock;
double since(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

// The generous bound on how long after a deadline or a stop request a search
// may return: loaded test machines stall threads for a while.
constexpr double kSlack = 1.0;

struct ResultDeleter {
    void operator()(nimba_solver_result *r) const { vexa_nimba_solver_result_destroy(r); }
};
using ResultPtr = std::unique_ptr<nimba_solver_result, ResultDeleter>;
struct ModelDeleter {
    void operator()(Model *m) const { vexa_model_destroy(m); }
};
using ModelPtr = std::unique_ptr<Model, ModelDeleter>;

std::string info_of(const nimba_solver_result *r, const std::string &key) {
    for (uint64_t i = 0; i < vexa_nimba_solver_result_info_count(r); ++i) {
        if (key == vexa_nimba_solver_result_info_key(r, i)) return vexa_nimba_solver_result_info_value(r, i);
    }
    return "(absent)";
}

vexa::Int adopt(vexa_bigint &rec) { return vexa::Int::adopt(rec); }

// The result's energy, and the energy the model gives its bits when a copy
// of the solution is priced from scratch (binary models).
struct Energies {
    vexa::Int reported, recomputed;
};
Energies energies(nimba_solver_result *r, Model *m) {
    vexa_bigint rec{0, 0, nullptr};
    vexa_nimba_solver_result_energy(r, &rec);
    Energies e{adopt(rec), 0};
    Sol *priced = vexa_nimba_solver_result_to_sol(r, m);
    // A flip there and back drops the energy the solution carried.
    const uint32_t v = vexa_sol_model_var(priced, 0);
    vexa_sol_flip(priced, v);
    vexa_sol_flip(priced, v);
    vexa_bigint fresh{0, 0, nullptr};
    vexa_sol_compute_energy(priced, &fresh);
    e.recomputed = adopt(fresh);
    vexa_sol_destroy(priced);
    return e;
}

// A random sparse binary model with n variables and `couplers` random pairs,
// built through the bulk path.
ModelPtr sparse_model(uint64_t n, uint64_t couplers, uint64_t seed) {
    vexa_var_reset();
    const uint64_t dims[1] = {n};
    const uint32_t first = vexa_new_var_array("x", dims, 1);
    std::mt19937_64 rng(seed);
    const uint64_t terms = n + couplers;
    std::vector<uint64_t> limbs(terms);
    std::vector<vexa_bigint> coeffs(terms);
    std::vector<uint32_t> counts, vars;
    for (uint64_t t = 0; t < terms; ++t) {
        const int64_t w = static_cast<int64_t>(rng() % 41) - 20;
        limbs[t] = w < 0 ? uint64_t(-w) : uint64_t(w);
        coeffs[t] = {w < 0 ? -1 : (w > 0 ? 1 : 0), 1, &limbs[t]};
        if (t < n) {
            counts.push_back(1);
            vars.push_back(first + static_cast<uint32_t>(t));
        } else {
            counts.push_back(2);
            const uint64_t a = rng() % n, b = (a + 1 + rng() % (n - 1)) % n;
            vars.push_back(first + static_cast<uint32_t>(a));
            vars.push_back(first + static_cast<uint32_t>(b));
        }
    }
    const vexa_bigint zero{0, 0, nullptr};
    ExprImpl *e = vexa_expr_create_from_bulk(&zero, terms, coeffs.data(), counts.data(), vars.data());
    ExprImpl *s = vexa_expr_simplify_as_binary(e);
    ModelPtr m(vexa_model_create(s));
    vexa_expr_destroy(s);
    vexa_expr_destroy(e);
    return m;
}

// Calls stop() after `delay` seconds on its own thread; joins on destruction.
class DelayedStop {
public:
    template <class F>
    DelayedStop(double delay, F stop)
        : thread_([delay, stop]() {
              std::this_thread::sleep_for(std::chrono::duration<double>(delay));
              stop();
          }) {}
    ~DelayedStop() { thread_.join(); }

private:
    std::thread thread_;
};

struct Timed {
    ResultPtr result;
    double seconds;
};

Timed nimba_search(vexa_nimba_solver_wrapper *w, const std::vector<vexa_param> &params) {
    const auto t0 = Clock::now();
    ResultPtr r(vexa_nimba_solver_wrapper_search(w, params.data(), nullptr));
    return {std::move(r), since(t0)};
}

Timed exhaustive_search(vexa_exhaustive_wrapper *w, const std::vector<vexa_param> &params) {
    const auto t0 = Clock::now();
    ResultPtr r(vexa_exhaustive_wrapper_search(w, params.data()));
    return {std::move(r), since(t0)};
}

TEST(TimeLimit, AHeuristicSearchOnALargeModelKeepsItsLimitWithAnyThreadCount) {
    ModelPtr m = sparse_model(200'000, 600'000, 11);
    for (const char *threads : {"1", "2"}) {
        // A fresh wrapper each time: preparing the model is part of the search.
        vexa_nimba_solver_wrapper *w = vexa_nimba_solver_wrapper_create(m.get());
        const Timed t = nimba_search(w, {{"time_limit", "0.3"}, {"threads", threads}, {nullptr, nullptr}});
        EXPECT_LT(t.seconds, 0.3 + kSlack) << threads << " threads";
        const Energies e = energies(t.result.get(), m.get());
        EXPECT_EQ(e.reported, e.recomputed) << threads << " threads";
        vexa_nimba_solver_wrapper_destroy(w);
    }
}

TEST(StopRequest, AHeuristicSearchStopsPromptlyAndTheNextSearchRunsNormally) {
    ModelPtr m = sparse_model(20'000, 60'000, 12);
    vexa_nimba_solver_wrapper *w = vexa_nimba_solver_wrapper_create(m.get());
    for (const char *threads : {"1", "2"}) {
        const std::vector<vexa_param> long_search = {{"time_limit", "30"}, {"threads", threads}, {nullptr, nullptr}};
        Timed t;
        {
            DelayedStop stop(0.3, [w]() { vexa_nimba_solver_wrapper_terminate(w); });
            t = nimba_search(w, long_search);
        }
        EXPECT_GE(t.seconds, 0.25) << threads << " threads";
        EXPECT_LT(t.seconds, 0.3 + kSlack) << threads << " threads";
        const Energies e = energies(t.result.get(), m.get());
        EXPECT_EQ(e.reported, e.recomputed);
        // The request was used up by the search it stopped.
        const Timed next = nimba_search(w, {{"time_limit", "0.3"}, {"threads", threads}, {nullptr, nullptr}});
        EXPECT_GE(next.seconds, 0.29) << threads << " threads";
    }
    vexa_nimba_solver_wrapper_destroy(w);
}

TEST(StopRequest, ARequestBeforeASearchEndsThatSearchAtOnceAndOnlyThatOne) {
    ModelPtr m = sparse_model(5'000, 15'000, 13);
    vexa_nimba_solver_wrapper *w = vexa_nimba_solver_wrapper_create(m.get());
    vexa_nimba_solver_wrapper_terminate(w);
    vexa_nimba_solver_wrapper_terminate(w);
    const Timed stopped = nimba_search(w, {{"time_limit", "30"}, {"threads", "2"}, {nullptr, nullptr}});
    EXPECT_LT(stopped.seconds, kSlack);
    const Energies e = energies(stopped.result.get(), m.get());
    EXPECT_EQ(e.reported, e.recomputed);
    const Timed next = nimba_search(w, {{"time_limit", "0.3"}, {nullptr, nullptr}});
    EXPECT_GE(next.seconds, 0.29);
    vexa_nimba_solver_wrapper_destroy(w);
}

TEST(StopRequest, TheEnumerationOfFortyVariablesStopsOnRequestAndOnItsTimeLimit) {
    ModelPtr m = sparse_model(40, 200, 14);
    vexa_exhaustive_wrapper *w = vexa_exhaustive_wrapper_create(m.get());
    Timed t;
    {
        DelayedStop stop(0.3, [w]() { vexa_exhaustive_wrapper_terminate(w); });
        t = exhaustive_search(w, {{nullptr, nullptr}});
    }
    EXPECT_LT(t.seconds, 0.3 + kSlack);
    EXPECT_EQ(info_of(t.result.get(), "stopped_early"), "1");
    EXPECT_EQ(info_of(t.result.get(), "complete"), "0");
    Energies e = energies(t.result.get(), m.get());
    EXPECT_EQ(e.reported, e.recomputed);

    const Timed limited = exhaustive_search(w, {{"time_limit", "0.3"}, {nullptr, nullptr}});
    EXPECT_GE(limited.seconds, 0.29);
    EXPECT_LT(limited.seconds, 0.3 + kSlack);
    EXPECT_EQ(info_of(limited.result.get(), "stopped_early"), "1");
    EXPECT_EQ(info_of(limited.result.get(), "time_limit_reached"), "1");
    e = energies(limited.result.get(), m.get());
    EXPECT_EQ(e.reported, e.recomputed);

    vexa_exhaustive_wrapper_terminate(w);
    const Timed at_once = exhaustive_search(w, {{nullptr, nullptr}});
    EXPECT_LT(at_once.seconds, kSlack);
    EXPECT_EQ(info_of(at_once.result.get(), "stopped_early"), "1");
    vexa_exhaustive_wrapper_destroy(w);

    // A search that visits every state says nothing of stopping.
    ModelPtr small = sparse_model(12, 30, 15);
    vexa_exhaustive_wrapper *sw = vexa_exhaustive_wrapper_create(small.get());
    const Timed complete = exhaustive_search(sw, {{"time_limit", "30"}, {nullptr, nullptr}});
    EXPECT_EQ(info_of(complete.result.get(), "stopped_early"), "(absent)");
    EXPECT_EQ(info_of(complete.result.get(), "complete"), "1");
    vexa_exhaustive_wrapper_destroy(sw);
}

// Integer models: four integers of 256 values each are 2^32 states to
// enumerate, and a long native search; both stop on request.
TEST(StopRequest, IntegerSearchAndEnumerationStopOnRequest) {
    using vexa::Int;
    using vexa::NativeIntVar;
    using vexa::NimbaSolver;
    using vexa::Result;
    std::vector<NativeIntVar> v;
    for (int i = 0; i < 4; ++i) v.emplace_back("v" + std::to_string(i), 0, 255);
    const vexa::Model model = vexa::Model::from(sqr(v[0] + 2 * v[1] - 3 * v[2] + v[3] - 101) + sqr(v[0] - v[3] - 7) +
                                    sqr(v[1] + v[2] - 300));

    const NimbaSolver heuristic(model);
    Result r = [&]() {
        DelayedStop stop(0.3, [&heuristic]() { heuristic.terminate(); });
        const auto t0 = Clock::now();
        Result out = heuristic.search({.time_limit = 30.0, .threads = 2});
        EXPECT_LT(since(t0), 0.3 + kSlack);
        return out;
    }();
    vexa::Sol copy = r;
    copy.set(v[0], r(v[0]));  // drops the energy the copy carried
    EXPECT_FALSE(copy.energy_valid());
    EXPECT_EQ(r.energy(), copy.comp_energy());

    vexa_exhaustive_wrapper *w = vexa_exhaustive_wrapper_create(model.handle());
    Timed t;
    {
        DelayedStop stop(0.3, [w]() { vexa_exhaustive_wrapper_terminate(w); });
        t = exhaustive_search(w, {{nullptr, nullptr}});
    }
    EXPECT_LT(t.seconds, 0.3 + kSlack);
    EXPECT_EQ(info_of(t.result.get(), "stopped_early"), "1");
    EXPECT_LT(std::stoull(info_of(t.result.get(), "states")), uint64_t(1) << 32);
    vexa::Sol best = vexa::Sol::adopt(vexa_nimba_solver_result_to_sol(t.result.get(), model.handle()));
    const Int reported = best.energy();
    best.set(v[1], best(v[1]));
    EXPECT_EQ(reported, best.comp_energy());
    vexa_exhaustive_wrapper_destroy(w);
}

}  // namespace
