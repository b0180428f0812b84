// The result record: readers, stealing the bit vectors, solutions made from it.
#include "model/sol.hpp"
#include "solver/forwarders.hpp"
#include "solver_test_util.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

// A result as a driver builds it, with two further solutions.
ResultPtr sample_result() {
    auto r = std::make_unique<nimba_solver_result>();
    r->energy = -pow2(90) - 3;
    r->tts = 1.25;
    r->bits = {0b101, 0x8000000000000000ull};
    r->topk.push_back(nimba_solver_result_entry{7, 0.5, {0b1}, {}});
    r->topk.push_back(nimba_solver_result_entry{pow2(64), 0.75, {0b10}, {}});
    r->info = {{"run_time", "0.100000"}, {"os", "Linux"}};
    return ResultPtr(r.release());
}

TEST(Result, ReadersSeeEveryField) {
    ResultPtr r = sample_result();
    EXPECT_EQ(result_energy(r.get()), -pow2(90) - 3);
    EXPECT_EQ(vexa_nimba_solver_result_tts(r.get()), 1.25);
    EXPECT_EQ(vexa_nimba_solver_result_bits(r.get())[0], 0b101u);
    EXPECT_EQ(vexa_nimba_solver_result_bits(r.get())[1], 0x8000000000000000ull);
    ASSERT_EQ(vexa_nimba_solver_result_topk_count(r.get()), 2u);
    Out e;
    vexa_nimba_solver_result_topk_energy(r.get(), 1, &e);
    EXPECT_EQ(e.value(), pow2(64));
    vexa_nimba_solver_result_topk_energy(r.get(), 0, &e);  // the record is reused
    EXPECT_EQ(e.value(), 7);
    EXPECT_EQ(vexa_nimba_solver_result_topk_tts(r.get(), 1), 0.75);
    EXPECT_EQ(vexa_nimba_solver_result_topk_bits(r.get(), 1)[0], 0b10u);
    ASSERT_EQ(vexa_nimba_solver_result_info_count(r.get()), 2u);
    EXPECT_STREQ(vexa_nimba_solver_result_info_key(r.get(), 1), "os");
    EXPECT_STREQ(vexa_nimba_solver_result_info_value(r.get(), 0), "0.100000");
    vexa_nimba_solver_result_destroy(nullptr);
}

TEST(Result, StealingTakesTheWordsAndLeavesNone) {
    ResultPtr r = sample_result();
    std::vector<uint64_t> mine = {9, 9, 9, 9};  // its block is released by the steal
    vexa_nimba_solver_result_steal_bits(r.get(), reinterpret_cast<vexa_word_vector *>(&mine));
    EXPECT_EQ(mine, (std::vector<uint64_t>{0b101, 0x8000000000000000ull}));
    std::vector<uint64_t> again;
    vexa_nimba_solver_result_steal_bits(r.get(), reinterpret_cast<vexa_word_vector *>(&again));
    EXPECT_TRUE(again.empty());
    std::vector<uint64_t> entry;
    vexa_nimba_solver_result_steal_topk_bits(r.get(), 1, reinterpret_cast<vexa_word_vector *>(&entry));
    EXPECT_EQ(entry, std::vector<uint64_t>{0b10});
    vexa_nimba_solver_result_steal_topk_bits(r.get(), 1, reinterpret_cast<vexa_word_vector *>(&entry));
    EXPECT_TRUE(entry.empty());
    EXPECT_EQ(vexa_nimba_solver_result_topk_bits(r.get(), 0)[0], 0b1u);
}

class ResultSol : public ::testing::Test {
protected:
    void SetUp() override {
        vexa_var_reset();
        x = vexa_new_var("x");
        y = vexa_new_var("y");
        n = vexa_new_int_var("n", In(-2).get(), In(5).get());
    }
    uint32_t x = 0, y = 0, n = 0;
};

TEST_F(ResultSol, ToSolMovesTheBitsAndCopiesTheIntegers) {
    ExprPtr e(vexa_expr_create_var(x));
    add_term(e.get(), 3, y, n);
    ModelPtr m = make_model(e.get());
    auto raw = std::make_unique<nimba_solver_result>();
    raw->energy = 13;
    raw->tts = 0.25;
    raw->bits = {0b11};
    raw->int_vals = {4};
    raw->topk.push_back(nimba_solver_result_entry{1, 0.125, {0b01}, {0}});
    ResultPtr r(raw.release());
    SolPtr s(vexa_nimba_solver_result_to_sol(r.get(), m.get()));
    EXPECT_EQ(vexa_sol_get(s.get(), x), 1);
    EXPECT_EQ(vexa_sol_get(s.get(), y), 1);
    Out v;
    vexa_sol_get_int(s.get(), n, &v);
    EXPECT_EQ(v.value(), 4);
    EXPECT_EQ(vexa_sol_energy_valid(s.get()), 1);
    EXPECT_EQ(sol_energy(s.get()), 13);
    EXPECT_EQ(vexa_sol_tts(s.get()), 0.25);
    EXPECT_EQ(vexa_sol_scale(s.get()), 1.0);
    // the bits have moved: a second solution gets none, the integers again
    SolPtr second(vexa_nimba_solver_result_to_sol(r.get(), m.get()));
    EXPECT_TRUE(second->bits.empty());
    EXPECT_EQ(second->int_vals, std::vector<coeff_t>{4});
    SolPtr entry(vexa_nimba_solver_result_topk_to_sol(r.get(), 0, m.get()));
    EXPECT_EQ(vexa_sol_get(entry.get(), x), 1);
    EXPECT_EQ(vexa_sol_get(entry.get(), y), 0);
    vexa_sol_get_int(entry.get(), n, &v);
    EXPECT_EQ(v.value(), 0);
    EXPECT_EQ(vexa_sol_tts(entry.get()), 0.125);
    EXPECT_TRUE(r->topk[0].bits.empty());
}

TEST_F(ResultSol, WithoutIntegerValuesTheSolutionKeepsTheLowerBounds) {
    ExprPtr e(vexa_expr_create_var(n));
    ModelPtr m = make_model(e.get());
    auto raw = std::make_unique<nimba_solver_result>();
    raw->energy = -2;
    raw->bits = {};
    ResultPtr r(raw.release());
    SolPtr s(vexa_nimba_solver_result_to_sol(r.get(), m.get()));
    Out v;
    vexa_sol_get_int(s.get(), n, &v);
    EXPECT_EQ(v.value(), -2);
    // the solution shares the model: it outlives the handle
    m.reset();
    EXPECT_EQ(vexa_sol_int_count(s.get()), 1u);
}

struct Seen {
    int calls = 0;
    coeff_t energy;
    std::vector<uint64_t> bits;
    std::vector<coeff_t> ints;
    double tts = 0;
    uint32_t event = 0;
};

double remember(void *ctx, Sol *s, uint32_t event) {
    auto *seen = static_cast<Seen *>(ctx);
    ++seen->calls;
    seen->energy = s->energy;
    seen->bits = s->bits;
    seen->ints = s->int_vals;
    seen->tts = s->tts;
    seen->event = event;
    EXPECT_EQ(vexa_sol_energy_valid(s), 1);
    vexa_sol_destroy(s);
    return 0.75;
}

TEST_F(ResultSol, ForwardersTurnModuleRecordsIntoSolutions) {
    ExprPtr e(vexa_expr_create_var(x));
    add_term(e.get(), 1, y, n);
    ModelPtr m = make_model(e.get());
    Seen seen;
    CallbackTarget target{m->ref, nullptr, &seen};
    In energy(-pow2(70));
    const uint64_t bits[1] = {0b10};
    EXPECT_EQ(forward_progress(target, energy.get(), bits, nullptr, 0, 1, 0.5), -1.0);
    EXPECT_EQ(seen.calls, 0);
    target.callback = &remember;
    const coeff_t ints[1] = {3};
    EXPECT_EQ(forward_progress(target, energy.get(), bits, ints, 1, 2, 0.5), 0.75);
    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.energy, -pow2(70));
    EXPECT_EQ(seen.bits, std::vector<uint64_t>{0b10});
    EXPECT_EQ(seen.ints, std::vector<coeff_t>{3});
    EXPECT_EQ(seen.tts, 0.5);
    EXPECT_EQ(seen.event, 2u);
    EXPECT_EQ(forward_progress(target, energy.get(), nullptr, nullptr, 0, 1, 0.25), 0.75);
    EXPECT_TRUE(seen.bits.empty());
    EXPECT_TRUE(seen.ints.empty());
}

}  // namespace
