// The native integer search: optimum against the enumeration, seeds, time
// limits, targets, hints, solution lists, callbacks, setup failures.
#include <mutex>
#include <set>
#include <thread>

#include "solver/int_search.hpp"
#include "solver/int_search_tables.hpp"
#include "solver/search_arith.hpp"
#include "solver_test_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

ResultPtr native_search(Model *m, const Params &p, const uint64_t *hint_bits = nullptr,
                        const coeff_t *hint_ints = nullptr, uint64_t hint_count = 0) {
    NimbaPtr w(vexa_nimba_solver_wrapper_create(m));
    return ResultPtr(vexa_nimba_solver_wrapper_search_int(w.get(), p.get(), hint_bits, hint_ints, hint_count));
}

ResultPtr enumerate(Model *m) {
    ExhaustivePtr w(vexa_exhaustive_wrapper_create(m));
    return ResultPtr(vexa_exhaustive_wrapper_search(w.get(), nullptr));
}

struct SearchWidth {
    unsigned bits;
    ArithWidth width;
};

class SearchOptimum : public ::testing::TestWithParam<SearchWidth> {};

// Small models on every arithmetic width: the search reaches the optimum the
// enumeration proves. With a feasible optimum as target it stops early.
TEST_P(SearchOptimum, ReachesTheEnumeratedOptimum) {
    const SearchWidth sw = GetParam();
    for (uint64_t seed = 1; seed <= 12; ++seed) {
        std::mt19937_64 rng(seed * 104729 + sw.bits);
        RandomIntModel rm = random_int_model(rng, sw.bits, seed % 2 == 0);
        const ModelImpl &m = *rm.model->ref;
        ASSERT_EQ(choose_width(m, flat_max_abs(m)), sw.width) << "seed " << seed;
        ResultPtr exact = enumerate(rm.model.get());
        const coeff_t optimum = result_energy(exact.get());
        const bool stop_early = reference_feasible(m, flat_state(m, exact->bits, exact->int_vals));
        const std::string target = optimum.str();
        const Params p = stop_early ? Params{{"target_energy", target}, {"time_limit", "30"}, {"threads", "2"},
                                             {"seed", std::to_string(seed)}}
                                    : Params{{"time_limit", "0.3"}, {"threads", "2"}, {"seed", std::to_string(seed)}};
        ResultPtr r = native_search(rm.model.get(), p);
        ASSERT_EQ(result_energy(r.get()), optimum) << "seed " << seed;
        EXPECT_EQ(reference_energy(m, flat_state(m, r->bits, r->int_vals)), optimum) << "seed " << seed;
        if (stop_early) {
            EXPECT_LT(std::stod(info_of(r.get(), "run_time")), 20.0) << "seed " << seed;
        }
        EXPECT_EQ(info_of(r.get(), "threads"), "2");
        EXPECT_GE(r->tts, 0.0);
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, SearchOptimum,
                         ::testing::Values(SearchWidth{12, ArithWidth::w64}, SearchWidth{80, ArithWidth::w128},
                                           SearchWidth{140, ArithWidth::exact}));

class IntSearch : public ::testing::Test {
protected:
    void SetUp() override {
        vexa_var_reset();
        b0 = vexa_new_var("b0");
        b1 = vexa_new_var("b1");
        n1 = vexa_new_int_var("n1", In(0).get(), In(9).get());
        n2 = vexa_new_int_var("n2", In(-5).get(), In(4).get());
    }
    // b0 + 2 b1 + 4 n1 + 40 n2: every state has its own energy
    ModelPtr injective_model() {
        ExprPtr e(vexa_expr_create_var(b0));
        add_term(e.get(), 2, b1);
        add_term(e.get(), 4, n1);
        add_term(e.get(), 40, n2);
        return make_model(e.get());
    }
    uint32_t b0 = 0, b1 = 0, n1 = 0, n2 = 0;
};

// With no time at all each thread offers its random start state and stops:
// the draws of thread t come from seed ^ ((t + 1) * 0x9E3779B97F4A7C15),
// binary variables first (low bit), then lower + draw mod (range + 1).
TEST_F(IntSearch, TimeLimitZeroOffersOneSeededStartStatePerThread) {
    ModelPtr m = injective_model();
    const ModelImpl &mi = *m->ref;
    const uint64_t seed = 987654321;
    std::vector<std::vector<coeff_t>> starts;
    for (uint64_t t = 0; t < 3; ++t) {
        std::mt19937_64 rng(seed ^ ((t + 1) * 0x9E3779B97F4A7C15ull));
        std::vector<coeff_t> s;
        s.push_back(rng() & 1);
        s.push_back(rng() & 1);
        s.push_back(coeff_t(0) + rng() % 10);
        s.push_back(coeff_t(-5) + rng() % 10);
        starts.push_back(s);
    }
    std::sort(starts.begin(), starts.end(), [&](const auto &a, const auto &b) {
        return reference_energy(mi, a) < reference_energy(mi, b);
    });
    starts.erase(std::unique(starts.begin(), starts.end()), starts.end());
    ResultPtr r = native_search(
        m.get(), Params{{"time_limit", "0"}, {"threads", "3"}, {"seed", std::to_string(seed)}, {"topk_sols", "3"}});
    EXPECT_EQ(flat_state(mi, r->bits, r->int_vals), starts.front());
    EXPECT_EQ(result_energy(r.get()), reference_energy(mi, starts.front()));
    ASSERT_EQ(r->topk.size(), starts.size());
    for (size_t i = 0; i < starts.size(); ++i) {
        EXPECT_EQ(flat_state(mi, r->topk[i].bits, r->topk[i].int_vals), starts[i]);
        EXPECT_EQ(r->topk[i].energy, reference_energy(mi, starts[i]));
    }
    EXPECT_EQ(info_of(r.get(), "rounds"), "3");
    EXPECT_EQ(info_of(r.get(), "proposals"), "0");
    // a single thread runs on the caller with the same draws
    ResultPtr one = native_search(m.get(), Params{{"time_limit", "-1"}, {"threads", "1"}, {"seed", "5"}});
    std::mt19937_64 rng(5 ^ 0x9E3779B97F4A7C15ull);
    std::vector<coeff_t> s = {rng() & 1, rng() & 1, coeff_t(0) + rng() % 10, coeff_t(-5) + rng() % 10};
    EXPECT_EQ(flat_state(mi, one->bits, one->int_vals), s);
}

TEST_F(IntSearch, TheSameSeedOnOneThreadRepeatsTheRun) {
    std::mt19937_64 rng(77);
    RandomIntModel rm = random_int_model(rng, 20, true, 3, 3);
    ResultPtr exact = enumerate(rm.model.get());
    const std::string target = (result_energy(exact.get()) + 1).str();  // stop somewhere on the way
    const Params p{{"target_energy", target}, {"time_limit", "60"}, {"threads", "1"}, {"seed", "31337"}};
    ResultPtr a = native_search(rm.model.get(), p);
    ResultPtr b = native_search(rm.model.get(), p);
    EXPECT_EQ(result_energy(a.get()), result_energy(b.get()));
    EXPECT_EQ(a->bits, b->bits);
    EXPECT_EQ(a->int_vals, b->int_vals);
    EXPECT_EQ(info_of(a.get(), "rounds"), info_of(b.get(), "rounds"));
    EXPECT_EQ(info_of(a.get(), "proposals"), info_of(b.get(), "proposals"));
}

TEST_F(IntSearch, AHintIsThreadZerosFirstStartState) {
    ModelPtr m = injective_model();
    const uint64_t bits = 0b10;
    const coeff_t ints[2] = {7, -2};
    ResultPtr r = native_search(m.get(), Params{{"time_limit", "0"}, {"threads", "1"}}, &bits, ints, 2);
    EXPECT_EQ(r->bits, std::vector<uint64_t>{0b10});
    EXPECT_EQ(r->int_vals, (std::vector<coeff_t>{7, -2}));
    EXPECT_EQ(result_energy(r.get()), 2 + 28 - 80);
}

TEST_F(IntSearch, HintsAreCheckedBeforeTheSearch) {
    ModelPtr m = injective_model();
    const uint64_t bits = 0;
    const coeff_t short_hint[1] = {0};
    EXPECT_DEATH(native_search(m.get(), Params{}, &bits, short_hint, 1),
                 fatal_text("NimbaSolver: hint integer-variable count mismatch."));
    const coeff_t high[2] = {10, 0};
    EXPECT_DEATH(native_search(m.get(), Params{}, &bits, high, 2),
                 fatal_text("NimbaSolver: hint value outside the integer variable's bounds."));
    const coeff_t low[2] = {0, -6};
    EXPECT_DEATH(native_search(m.get(), Params{}, &bits, low, 2),
                 fatal_text("NimbaSolver: hint value outside the integer variable's bounds."));
}

TEST_F(IntSearch, BadParametersAbortBeforeAnythingRuns) {
    ModelPtr m = injective_model();
    IntSearchOpts opts;
    opts.model = m->ref;
    opts.callback = [](void *, Sol *s, uint32_t event) {
        vexa_sol_destroy(s);
        std::fprintf(stderr, "event %u\n", event);
        return 0.0;
    };
    auto run = [&](const Params &p) { delete nimba_int_search(*m->ref, opts, p.get(), nullptr, nullptr, 0); };
    EXPECT_DEATH(run(Params{{"threads", "0"}}), fatal_text("NimbaSolver: threads must be >= 1."));
    EXPECT_DEATH(run(Params{{"topk_sols", "0"}}), fatal_text("NimbaSolver: topk_sols must be >= 1."));
    EXPECT_DEATH(run(Params{{"time_limit", "1"}, {"max_rounds", "3"}}),
                 fatal_text("NimbaSolver: parameter 'max_rounds' is not supported for native integer models yet."));
    opts.solver_name = "TessixSolver";
    const uint64_t bits = 0;
    const coeff_t ints[2] = {0, 9};
    EXPECT_DEATH(delete nimba_int_search(*m->ref, opts, nullptr, &bits, ints, 2),
                 fatal_text("TessixSolver: hint value outside the integer variable's bounds."));
}

TEST_F(IntSearch, TargetStopsOnlyAtAFeasibleState) {
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(3).get());
    ExprPtr objective(vexa_expr_create());
    add_term(objective.get(), -10, n);
    ExprPtr body(vexa_expr_create_var(n));
    // energies 0, -10, -19, -26: the best state breaks n <= 1
    ModelPtr m = make_model(objective.get(), {{body.get(), 0, 1, 1}});
    ResultPtr r = native_search(m.get(), Params{{"target_energy", "-26"}, {"time_limit", "0.3"}, {"threads", "1"}});
    EXPECT_EQ(result_energy(r.get()), -26);
    EXPECT_GE(std::stod(info_of(r.get(), "run_time")), 0.3);
    // the same cost as a penalty shape takes no part in the target test
    ModelPtr shaped = make_model(objective.get(), {{body.get(), 0, 1, 1, {}, 2}});
    ResultPtr s = native_search(shaped.get(), Params{{"target_energy", "-26"}, {"time_limit", "30"}, {"threads", "2"}});
    EXPECT_EQ(result_energy(s.get()), -26);
    EXPECT_LT(std::stod(info_of(s.get(), "run_time")), 20.0);
}

TEST_F(IntSearch, WideRangesAreSearchedByPowersOfTwo) {
    for (const coeff_t &span : {pow2(20), pow2(62), pow2(70), pow2(140)}) {
        vexa_var_reset();
        const uint32_t n = vexa_new_int_var("n", In(-span).get(), In(span).get());
        const coeff_t c = span / 3 + 12345;
        ExprPtr e(vexa_expr_create_int(In(c * c).get()));
        add_term(e.get(), 1, n, n);
        add_term(e.get(), -2 * c, n);  // (n - c)^2
        ModelPtr m = make_model(e.get());
        ResultPtr r = native_search(m.get(), Params{{"target_energy", "0"}, {"time_limit", "30"}, {"threads", "2"}});
        EXPECT_EQ(result_energy(r.get()), 0) << span;
        EXPECT_EQ(r->int_vals, std::vector<coeff_t>{c}) << span;
    }
}

TEST_F(IntSearch, BestEnergyListCollectsEqualStates) {
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(3).get());
    ExprPtr objective(vexa_expr_create());
    ExprPtr body(vexa_expr_create_var(n));
    ModelPtr m = make_model(objective.get(), {{body.get(), 0, 3, 1}});  // every state costs 0
    ResultPtr all = native_search(m.get(), Params{{"best_energy_sols", "0"}, {"time_limit", "0.2"}, {"threads", "1"},
                                                  {"topk_sols", "1"}});
    EXPECT_EQ(result_energy(all.get()), 0);
    std::set<coeff_t> values;
    for (const auto &e : all->topk) {
        EXPECT_EQ(e.energy, 0);
        values.insert(e.int_vals.at(0));
    }
    EXPECT_EQ(values.size(), all->topk.size()) << "a state came twice";
    EXPECT_EQ(values, (std::set<coeff_t>{0, 1, 2, 3}));
    EXPECT_EQ(all->topk.front().int_vals, all->int_vals);  // the list starts with the best
    ResultPtr capped = native_search(m.get(), Params{{"best_energy_sols", "3"}, {"time_limit", "0.2"}, {"threads", "1"}});
    EXPECT_EQ(capped->topk.size(), 3u);
}

TEST_F(IntSearch, TopKHoldsDistinctRecordStatesInOrder) {
    std::mt19937_64 rng(5);
    RandomIntModel rm = random_int_model(rng, 16, true, 2, 3);
    ResultPtr r = native_search(rm.model.get(), Params{{"topk_sols", "4"}, {"time_limit", "0.2"}, {"threads", "2"}});
    ASSERT_FALSE(r->topk.empty());
    EXPECT_LE(r->topk.size(), 4u);
    const ModelImpl &m = *rm.model->ref;
    std::set<std::vector<coeff_t>> states;
    for (size_t i = 0; i < r->topk.size(); ++i) {
        const auto s = flat_state(m, r->topk[i].bits, r->topk[i].int_vals);
        EXPECT_TRUE(states.insert(s).second);
        EXPECT_EQ(reference_energy(m, s), r->topk[i].energy);
        if (i > 0) {
            EXPECT_LE(r->topk[i - 1].energy, r->topk[i].energy);
        }
    }
    EXPECT_EQ(r->topk.front().energy, result_energy(r.get()));
}

struct Events {
    std::mutex mutex;
    std::vector<std::tuple<uint32_t, coeff_t, double, std::thread::id, bool>> seen;  // event, energy, tts, thread, bits
    double answer0 = 0.05;
};

double collect(void *ctx, Sol *sol, uint32_t event) {
    auto *ev = static_cast<Events *>(ctx);
    {
        std::lock_guard<std::mutex> lock(ev->mutex);
        ev->seen.emplace_back(event, sol->energy, sol->tts, std::this_thread::get_id(), !sol->bits.empty());
    }
    vexa_sol_destroy(sol);
    return event == 0 ? ev->answer0 : -1.0;
}

TEST_F(IntSearch, CallbackEventsAndTheTimer) {
    ModelPtr m = injective_model();
    Events ev;
    IntSearchOpts opts;
    opts.model = m->ref;
    opts.callback = &collect;
    opts.callback_ctx = &ev;
    Params p{{"time_limit", "0.4"}, {"threads", "1"}};
    ResultPtr r(nimba_int_search(*m->ref, opts, p.get(), nullptr, nullptr, 0));
    ASSERT_GE(ev.seen.size(), 3u);
    const auto &[e0, energy0, tts0, thread0, bits0] = ev.seen.front();
    EXPECT_EQ(e0, 0u);
    EXPECT_EQ(energy0, -200);  // all binary 0, integers at their lower bounds
    EXPECT_EQ(tts0, 0.0);
    EXPECT_EQ(thread0, std::this_thread::get_id());
    coeff_t last_best = 0;
    bool any_best = false;
    int timer_events = 0;
    for (size_t i = 1; i < ev.seen.size(); ++i) {
        const auto &[event, energy, tts, thread, has_bits] = ev.seen[i];
        if (event == 1) {
            if (any_best) {
                EXPECT_LT(energy, last_best);
            }
            last_best = energy;
            any_best = true;
            // one search thread is started, and the caller watches
            EXPECT_NE(thread, std::this_thread::get_id());
        } else {
            ASSERT_EQ(event, 2u);
            ++timer_events;
            EXPECT_EQ(thread, std::this_thread::get_id());
            EXPECT_TRUE(has_bits || energy == 0);
        }
    }
    EXPECT_TRUE(any_best);
    EXPECT_EQ(last_best, result_energy(r.get()));
    EXPECT_GE(timer_events, 3);  // every 0.05 s on a 0.02 s grid, for 0.4 s
    EXPECT_LE(timer_events, 9);
    for (double off : {0.0, -1.0}) {
        Events quiet;
        quiet.answer0 = off;
        opts.callback_ctx = &quiet;
        Params q{{"time_limit", "0.15"}, {"threads", "2"}};
        ResultPtr rq(nimba_int_search(*m->ref, opts, q.get(), nullptr, nullptr, 0));
        for (const auto &entry : quiet.seen) EXPECT_NE(std::get<0>(entry), 2u) << off;
    }
}

TEST_F(IntSearch, DefaultProgressLine) {
    ExprPtr objective(vexa_expr_create());
    add_term(objective.get(), 3, n1);
    ExprPtr body(vexa_expr_create_add_var_var(b0, n1));
    ExprPtr shape_body(vexa_expr_create_var(n2));
    ModelPtr m = make_model(objective.get(), {{body.get(), 0, 2, 5}, {shape_body.get(), 0, 0, 1, {}, 1}});
    const uint64_t bits = 0b1;
    const coeff_t ints[2] = {4, -3};  // objective 12; b0 + n1 = 5 is 3 too high: 5 * 9; |n2| = 3
    testing::internal::CaptureStdout();
    ResultPtr r = native_search(m.get(), Params{{"time_limit", "0"}, {"threads", "1"}, {"enable_default_callback", "1"}},
                                &bits, ints, 2);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(result_energy(r.get()), 12 + 45 + 3);
    EXPECT_THAT(out, ::testing::MatchesRegex("TTS = [0-9]+\\.[0-9][0-9][0-9]s Energy = 60 Obj = 12 Viol = 1/1\n"));
    testing::internal::CaptureStdout();
    ResultPtr quiet = native_search(m.get(), Params{{"time_limit", "0"}, {"threads", "1"}, {"enable_default_callback", "TRUE"}});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    ModelPtr plain = injective_model();
    testing::internal::CaptureStdout();
    const uint64_t pb = 0;
    const coeff_t pi[2] = {0, 0};
    ResultPtr p = native_search(plain.get(), Params{{"time_limit", "0"}, {"threads", "1"}, {"enable_default_callback", "true"}},
                                &pb, pi, 2);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), ::testing::MatchesRegex("TTS = [0-9.]+s Energy = 0\n"));
}

// Every energy a result reports, of the best state and of each listed one,
// is what vexa_sol_compute_energy gives its assignment.
void expect_solution_energies(Model *m, nimba_solver_result *r, const std::string &what) {
    const coeff_t reported = result_energy(r);
    for (uint64_t i = 0; i < vexa_nimba_solver_result_topk_count(r); ++i) {
        Out listed;
        vexa_nimba_solver_result_topk_energy(r, i, &listed);
        SolPtr found(vexa_nimba_solver_result_topk_to_sol(r, i, m));
        SolPtr fresh(vexa_sol_create(m));
        vexa_sol_set_from_sol(fresh.get(), found.get());  // clears the energy
        EXPECT_EQ(sol_energy(fresh.get()), listed.value()) << what << " entry " << i;
    }
    SolPtr best(vexa_nimba_solver_result_to_sol(r, m));
    SolPtr fresh(vexa_sol_create(m));
    vexa_sol_set_from_sol(fresh.get(), best.get());
    EXPECT_EQ(sol_energy(fresh.get()), reported) << what;
}

// n in [0, 5] with bounds [4, 1], weight 1, squared: every n pays both gaps,
// (4 - n)+ + (n - 1)+, so n = 3 costs (1 + 2)^2 = 9, and n = 0 or 5 cost 16.
// The search, its exact re-check, the enumeration and a solution agree.
TEST_F(IntSearch, LowerAboveUpperCostsBothGapsEverywhere) {
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(5).get());
    ExprPtr objective(vexa_expr_create());
    ExprPtr body(vexa_expr_create_var(n));
    ModelPtr m = make_model(objective.get(), {{body.get(), 4, 1, 1}});
    const uint64_t bits = 0;
    const coeff_t three[1] = {3};
    ResultPtr hinted = native_search(m.get(), Params{{"time_limit", "0"}, {"threads", "1"}}, &bits, three, 1);
    EXPECT_EQ(result_energy(hinted.get()), 9);
    EXPECT_EQ(hinted->int_vals, std::vector<coeff_t>{3});
    expect_solution_energies(m.get(), hinted.get(), "hinted");

    ResultPtr searched =
        native_search(m.get(), Params{{"time_limit", "0.1"}, {"threads", "2"}, {"topk_sols", "6"}, {"seed", "3"}});
    EXPECT_EQ(result_energy(searched.get()), 9);
    expect_solution_energies(m.get(), searched.get(), "searched");

    ExhaustivePtr w(vexa_exhaustive_wrapper_create(m.get()));
    const Params all{{"best_energy_sols", "0"}};
    ResultPtr exact(vexa_exhaustive_wrapper_search(w.get(), all.get()));
    EXPECT_EQ(result_energy(exact.get()), 9);
    std::set<coeff_t> optima;
    for (const auto &e : exact->topk) optima.insert(e.int_vals.at(0));
    EXPECT_EQ(optima, (std::set<coeff_t>{1, 2, 3, 4}));
    expect_solution_energies(m.get(), exact.get(), "enumerated");

    // a linear shape of the same bounds costs 3 at each of them
    ModelPtr linear = make_model(objective.get(), {{body.get(), 4, 1, 2, {}, 1}});
    ResultPtr lin = native_search(linear.get(), Params{{"time_limit", "0"}, {"threads", "1"}}, &bits, three, 1);
    EXPECT_EQ(result_energy(lin.get()), 6);
    expect_solution_energies(linear.get(), lin.get(), "linear shape");
}

// Random models with lower above upper here and there: whatever the search
// returns is priced as a solution prices it, on every arithmetic width.
TEST_F(IntSearch, ReportedEnergiesAreSolutionEnergies) {
    for (uint64_t seed = 1; seed <= 24; ++seed) {
        std::mt19937_64 rng(seed * 7919);
        vexa_var_reset();
        const uint32_t a = vexa_new_int_var("a", In(-4).get(), In(6).get());
        const uint32_t b = vexa_new_int_var("b", In(0).get(), In(pow2(70)).get());
        const uint32_t x = vexa_new_var("x");
        const coeff_t scale = seed % 3 == 0 ? pow2(40) : coeff_t(1);
        ExprPtr objective(vexa_expr_create());
        add_term(objective.get(), coeff_t(static_cast<int>(rng() % 9) - 4) * scale, a);
        add_term(objective.get(), coeff_t(static_cast<int>(rng() % 5) - 2), x, a);
        ExprPtr body(vexa_expr_create_add_var_var(x, a));
        add_term(body.get(), 1, b);
        ExprPtr simplified(vexa_expr_simplify_as_binary(body.get()));
        const int lo = static_cast<int>(rng() % 9) - 2, hi = static_cast<int>(rng() % 9) - 6;
        ModelPtr m = make_model(objective.get(), {{simplified.get(), lo, hi, 1 + rng() % 3, {}, 0}});
        ResultPtr r = native_search(m.get(), Params{{"time_limit", "0.05"}, {"threads", "2"}, {"topk_sols", "5"},
                                                    {"seed", std::to_string(seed)}});
        expect_solution_energies(m.get(), r.get(), "seed " + std::to_string(seed));
    }
}

// A start value is lower + a full 64-bit draw only when range + 1 does not
// fit 64 bits; otherwise it is the draw modulo range + 1. Either way every
// returned value, best and listed, lies within the variable's bounds.
TEST(IntSearchBounds, ReturnedValuesStayWithinWideRanges) {
    const coeff_t two64 = pow2(64);
    const std::vector<std::pair<coeff_t, coeff_t>> ranges = {
        {0, coeff_t("18100000000000000000")},  // below 2^64 - 1, above 1.8e19
        {0, two64 - 3},
        {0, two64 - 2},
        {0, two64 - 1},
        {-pow2(63), pow2(63) - 1},
        {5, two64 + 7},
        {-pow2(200), pow2(200)},
        {pow2(130), pow2(130) + two64 - 2},
    };
    for (const auto &[lo, hi] : ranges) {
        vexa_var_reset();
        const uint32_t k = vexa_new_int_var("k", In(lo).get(), In(hi).get());
        ExprPtr objective(vexa_expr_create());
        add_term(objective.get(), -1, k);  // pulls towards the upper bound
        ModelPtr m = make_model(objective.get());
        auto check = [&](const nimba_solver_result *r, const std::string &what) {
            ASSERT_EQ(r->int_vals.size(), 1u) << what;
            EXPECT_GE(r->int_vals[0], lo) << what;
            EXPECT_LE(r->int_vals[0], hi) << what;
            for (const auto &e : r->topk) {
                EXPECT_GE(e.int_vals.at(0), lo) << what;
                EXPECT_LE(e.int_vals.at(0), hi) << what;
            }
        };
        const std::string range = "[" + lo.str() + ", " + hi.str() + "]";
        for (uint64_t seed = 1; seed <= 300; ++seed) {
            ResultPtr r = native_search(
                m.get(), Params{{"time_limit", "0"}, {"threads", "1"}, {"seed", std::to_string(seed)}});
            check(r.get(), range + " seed " + std::to_string(seed));
        }
        // with time to move: kicks, annealing and descent stay inside too
        ResultPtr moved = native_search(
            m.get(), Params{{"time_limit", "0.05"}, {"threads", "2"}, {"seed", "11"}, {"topk_sols", "8"}});
        check(moved.get(), range + " searched");
    }
}

TEST(IntSearchTables, MoveSetsAndOccurrences) {
    vexa_var_reset();
    const uint32_t x = vexa_new_var("x");
    const uint32_t d15 = vexa_new_int_var("d15", In(0).get(), In(15).get());
    const uint32_t w16 = vexa_new_int_var("w16", In(0).get(), In(16).get());
    const uint32_t h = vexa_new_int_var("h", In(0).get(), In(pow2(65)).get());
    ExprPtr e(vexa_expr_create());
    add_term(e.get(), 2, x, d15);
    add_term(e.get(), 3, w16, w16);
    add_term(e.get(), -1, h);
    ExprPtr lin(vexa_expr_create_add_var_var(x, w16));
    ExprPtr quad(vexa_expr_create_var(d15));
    add_term(quad.get(), 1, x, h);
    ModelPtr m = make_model(e.get(), {{lin.get(), 0, 1, 1}, {quad.get(), 0, 1, 1}});
    const IntSearchTables<coeff_t> t(*m->ref);
    EXPECT_EQ(t.dense, (std::vector<uint8_t>{1, 0, 0}));
    EXPECT_EQ(std::vector<coeff_t>(t.steps.begin() + t.step_start[1], t.steps.begin() + t.step_start[2]),
              (std::vector<coeff_t>{1, 2, 4, 8, 16}));
    EXPECT_EQ(t.step_start[3] - t.step_start[2], 66u);  // 1 .. 2^65
    EXPECT_EQ(t.neighbourhood_size, 1u + 15u + 2u * 5u + 2u * 66u);
    EXPECT_EQ(t.geo_on, (std::vector<uint8_t>{0, 1, 0}));
    EXPECT_EQ(t.huge, (std::vector<uint8_t>{0, 0, 1}));
    EXPECT_DOUBLE_EQ(t.geo_log_q[1], std::log(0.5));  // 16 / 32 is not above 1
    // x: one pair term; w16: one square; h: one linear term
    EXPECT_EQ(t.term_start[1] - t.term_start[0], 1u);
    EXPECT_EQ(t.term_occ[t.term_start[2]].kind, kSquare);
    EXPECT_EQ(t.term_occ[t.term_start[3]].kind, kLinear);
    EXPECT_EQ(t.term_occ[t.term_start[3]].coeff, -1);
    // x sits in both constraints, nonlinear in the second
    ASSERT_EQ(t.cons_start[1] - t.cons_start[0], 2u);
    EXPECT_FALSE(t.cons_occ[t.cons_start[0]].nonlinear);
    EXPECT_EQ(t.cons_occ[t.cons_start[0]].coeff, 1);
    EXPECT_TRUE(t.cons_occ[t.cons_start[0] + 1].nonlinear);
}

TEST(SearchArith, WidthsAndDoublesAgree) {
    std::mt19937_64 rng(3);
    for (int i = 0; i < 2000; ++i) {
        const int shift = static_cast<int>(rng() % 120);
        int128 v = static_cast<int128>((static_cast<unsigned __int128>(rng()) << 64) | rng()) >> shift;
        EXPECT_EQ(to_coeff(from_coeff<int128>(to_coeff(v))), to_coeff(v));
        EXPECT_EQ(exact_to_double(v), exact_to_double(to_coeff(v)));
        const int64_t w = static_cast<int64_t>(rng()) >> (rng() % 63);
        EXPECT_EQ(exact_to_double(w), exact_to_double(coeff_t(w)));
    }
}

}  // namespace
