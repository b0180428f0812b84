// Exhaustive enumeration of integer models: Gray order, exact optimum,
// best-energy lists, limits and parameters.
#include <set>

#include "solver/gray_counter.hpp"
#include "solver/int_enumeration.hpp"
#include "solver/search_arith.hpp"
#include "solver_test_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

TEST(GrayCounter, VisitsEveryStateOnceMovingOneDigitByOne) {
    std::mt19937_64 rng(11);
    for (int trial = 0; trial < 40; ++trial) {
        std::vector<uint64_t> radix(rng() % 5);
        uint64_t total = 1;
        for (uint64_t &r : radix) {
            r = 1 + rng() % 5;
            total *= r;
        }
        MixedRadixGray gray(radix);
        std::set<std::vector<uint64_t>> seen{gray.pos()};
        for (;;) {
            const uint64_t i = gray.next_digit();
            if (i == gray.size()) break;
            const std::vector<uint64_t> before = gray.pos();
            gray.move(i);
            const std::vector<uint64_t> &after = gray.pos();
            for (size_t j = 0; j < radix.size(); ++j) {
                const uint64_t step = after[j] > before[j] ? after[j] - before[j] : before[j] - after[j];
                ASSERT_EQ(step, j == i ? 1u : 0u) << "trial " << trial;
                ASSERT_LT(after[j], radix[j]);
            }
            ASSERT_TRUE(seen.insert(after).second) << "trial " << trial << ": a state came twice";
        }
        EXPECT_EQ(seen.size(), total) << "trial " << trial;
    }
}

// The order in which the enumeration visits the states of a model.
std::vector<std::vector<coeff_t>> gray_states(const ModelImpl &m) {
    const uint64_t nb = m.var_count();
    std::vector<uint64_t> radix(nb, 2);
    for (uint64_t k = 0; k < m.int_count(); ++k) radix.push_back(static_cast<uint64_t>(m.int_upper[k] - m.int_lower[k]) + 1);
    MixedRadixGray gray(radix);
    std::vector<std::vector<coeff_t>> out;
    auto flat = [&]() {
        std::vector<coeff_t> s;
        for (uint64_t i = 0; i < radix.size(); ++i) {
            s.push_back(i < nb ? coeff_t(gray.pos()[i]) : coeff_t(m.int_lower[i - nb] + gray.pos()[i]));
        }
        return s;
    };
    out.push_back(flat());
    for (uint64_t i; (i = gray.next_digit()) != gray.size();) {
        gray.move(i);
        out.push_back(flat());
    }
    return out;
}

struct WidthCase {
    unsigned bits;
    ArithWidth width;
};

class Enumeration : public ::testing::TestWithParam<WidthCase> {};

// Random models on every arithmetic width: the optimum, the state count and
// the list of optimal states agree with a plain enumeration in this test.
TEST_P(Enumeration, MatchesBruteForce) {
    const WidthCase wc = GetParam();
    for (uint64_t seed = 1; seed <= 30; ++seed) {
        std::mt19937_64 rng(seed * 7919 + wc.bits);
        RandomIntModel rm = random_int_model(rng, wc.bits, seed % 3 != 0);
        const ModelImpl &m = *rm.model->ref;
        ASSERT_EQ(choose_width(m, flat_max_abs(m)), wc.width) << "seed " << seed;
        const auto order = gray_states(m);
        coeff_t best = reference_energy(m, order[0]);
        for (const auto &s : order) best = std::min(best, reference_energy(m, s));
        std::vector<std::vector<coeff_t>> optimal;
        for (const auto &s : order) {
            if (reference_energy(m, s) == best) optimal.push_back(s);
        }
        ASSERT_EQ(order.size(), all_states(m).size());

        ExhaustivePtr w(vexa_exhaustive_wrapper_create(rm.model.get()));
        Params all{{"best_energy_sols", "0"}};
        ResultPtr r(vexa_exhaustive_wrapper_search(w.get(), all.get()));
        ASSERT_EQ(result_energy(r.get()), best) << "seed " << seed;
        EXPECT_EQ(reference_energy(m, flat_state(m, r->bits, r->int_vals)), best) << "seed " << seed;
        EXPECT_EQ(flat_state(m, r->bits, r->int_vals), optimal.front()) << "seed " << seed;
        EXPECT_EQ(info_of(r.get(), "states"), std::to_string(order.size()));
        ASSERT_EQ(r->topk.size(), optimal.size()) << "seed " << seed;
        for (size_t i = 0; i < optimal.size(); ++i) {
            EXPECT_EQ(flat_state(m, r->topk[i].bits, r->topk[i].int_vals), optimal[i]) << "seed " << seed;
            EXPECT_EQ(r->topk[i].energy, best);
            EXPECT_GE(r->topk[i].tts, 0.0);
        }
        Params capped{{"best_energy_sols", "7"}, {"best_energy_sols", "2"}};
        ResultPtr r2(vexa_exhaustive_wrapper_search(w.get(), capped.get()));
        EXPECT_EQ(r2->topk.size(), std::min<size_t>(2, optimal.size()));
        ResultPtr plain(vexa_exhaustive_wrapper_search(w.get(), nullptr));
        EXPECT_EQ(result_energy(plain.get()), best);
        EXPECT_TRUE(plain->topk.empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, Enumeration,
                         ::testing::Values(WidthCase{10, ArithWidth::w64}, WidthCase{75, ArithWidth::w128},
                                           WidthCase{140, ArithWidth::exact}));

class EnumerationEdges : public ::testing::Test {
protected:
    void SetUp() override { vexa_var_reset(); }
};

TEST_F(EnumerationEdges, StateCountsAndTheResultRecord) {
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(3).get());
    ExprPtr e(vexa_expr_create_var(n));
    add_term(e.get(), -3, n);  // -2n: best at n = 3
    ModelPtr m = make_model(e.get());
    ExhaustivePtr w(vexa_exhaustive_wrapper_create(m.get()));
    ResultPtr r(vexa_exhaustive_wrapper_search(w.get(), nullptr));
    EXPECT_EQ(info_of(r.get(), "states"), "4");
    EXPECT_EQ(result_energy(r.get()), -6);
    EXPECT_EQ(r->int_vals, std::vector<coeff_t>{3});
    EXPECT_TRUE(r->bits.empty());
    EXPECT_EQ(r->scale, 1.0);
    EXPECT_EQ(info_keys(r.get()),
              (std::vector<std::string>{"run_time", "states", "engine", "os", "cpu", "gpu", "ram"}));
    EXPECT_EQ(info_of(r.get(), "engine"), "integer-cpu");
    SolPtr s(vexa_nimba_solver_result_to_sol(r.get(), m.get()));
    EXPECT_EQ(sol_energy(s.get()), -6);
}

TEST_F(EnumerationEdges, ASquareIsCountedOnce) {
    const uint32_t n = vexa_new_int_var("n", In(-4).get(), In(4).get());
    ExprPtr e(vexa_expr_create());
    add_term(e.get(), 1, n, n);
    add_term(e.get(), -3, n);  // n^2 - 3n: best -2 at n = 1 and n = 2
    ModelPtr m = make_model(e.get());
    ExhaustivePtr w(vexa_exhaustive_wrapper_create(m.get()));
    Params list{{"best_energy_sols", "abc"}};
    ResultPtr r(vexa_exhaustive_wrapper_search(w.get(), list.get()));
    EXPECT_EQ(result_energy(r.get()), -2);
    ASSERT_EQ(r->topk.size(), 2u);
    EXPECT_EQ(r->topk[0].int_vals, std::vector<coeff_t>{1});
    EXPECT_EQ(r->topk[1].int_vals, std::vector<coeff_t>{2});
    Params one{{"best_energy_sols", "1"}};
    ResultPtr r1(vexa_exhaustive_wrapper_search(w.get(), one.get()));
    ASSERT_EQ(r1->topk.size(), 1u);
    EXPECT_EQ(r1->topk[0].int_vals, std::vector<coeff_t>{1});
}

TEST_F(EnumerationEdges, OnlyTheStartStateWhenNothingVaries) {
    // an integer variable with a single value
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(1).get());
    ExprPtr e(vexa_expr_create_var(n));
    vexa_expr_iadd_int(e.get(), In(5).get());
    ModelPtr m = make_model(e.get());
    m->ref->int_upper[0] = 0;  // a range of one value, as no public call makes it
    ExhaustivePtr w(vexa_exhaustive_wrapper_create(m.get()));
    ResultPtr r(vexa_exhaustive_wrapper_search(w.get(), nullptr));
    EXPECT_EQ(info_of(r.get(), "states"), "1");
    EXPECT_EQ(result_energy(r.get()), 5);
}

TEST_F(EnumerationEdges, TheStateLimitIsOnTheLogOfTheCount) {
    const uint32_t big = vexa_new_int_var("big", In(0).get(), In(pow2(33) - 1).get());
    ExprPtr e(vexa_expr_create_var(big));
    ModelPtr m = make_model(e.get());
    EXPECT_DEATH(vexa_exhaustive_wrapper_create(m.get()),
                 fatal_text("ExhaustiveSolver: integer search space (~2^33 states) exceeds the 2^32 enumeration "
                            "limit."));
    // exactly 2^32 states pass creation
    const uint32_t edge = vexa_new_int_var("edge", In(0).get(), In(pow2(32) - 1).get());
    ExprPtr e2(vexa_expr_create_var(edge));
    ModelPtr m2 = make_model(e2.get());
    ExhaustivePtr w(vexa_exhaustive_wrapper_create(m2.get()));
    EXPECT_NE(w, nullptr);
    // one binary more is over
    const uint32_t x = vexa_new_var("x");
    ExprPtr e3(vexa_expr_create_var(edge));
    add_term(e3.get(), 1, x);
    ModelPtr m3 = make_model(e3.get());
    EXPECT_DEATH(vexa_exhaustive_wrapper_create(m3.get()),
                 fatal_text("ExhaustiveSolver: integer search space (~2^33 states) exceeds the 2^32 enumeration "
                            "limit."));
}

TEST_F(EnumerationEdges, OnlyTheBestEnergyListIsAParameter) {
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(3).get());
    ExprPtr e(vexa_expr_create_var(n));
    ModelPtr m = make_model(e.get());
    ExhaustivePtr w(vexa_exhaustive_wrapper_create(m.get()));
    Params topk{{"topk_sols", "3"}};
    EXPECT_DEATH(vexa_exhaustive_wrapper_search(w.get(), topk.get()),
                 fatal_text("ExhaustiveSolver: search parameter 'topk_sols' is not supported for native integer "
                            "models yet."));
    Params late{{"best_energy_sols", "1"}, {"time_limit", "1"}};
    EXPECT_DEATH(vexa_exhaustive_wrapper_search(w.get(), late.get()),
                 fatal_text("ExhaustiveSolver: search parameter 'time_limit' is not supported for native integer "
                            "models yet."));
    const vexa_param empty[] = {{nullptr, nullptr}};
    ResultPtr r(vexa_exhaustive_wrapper_search(w.get(), empty));
    EXPECT_EQ(result_energy(r.get()), 0);
    EXPECT_TRUE(r->topk.empty());
}

TEST_F(EnumerationEdges, ARemainderBesideIntegersIsAnInternalError) {
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(3).get());
    ExprPtr e(vexa_expr_create_var(n));
    ModelPtr m = make_model(e.get());
    m->ref->has_remainder = true;
    EXPECT_DEATH(vexa_exhaustive_wrapper_create(m.get()),
                 fatal_text("ExhaustiveSolver: internal error \xe2\x80\x94 a free-form remainder with integer "
                            "variables should have been rejected at Model."));
}

}  // namespace
