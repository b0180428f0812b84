#include <gtest/gtest.h>

#include "support/constraint_util.hpp"
#include "vexa/var.h"

using namespace vexa;
using namespace vexa::test;

namespace {

constexpr uint32_t kNeg = 0x80000000u;

class Eval : public ::testing::Test {
protected:
    void SetUp() override {
        vexa_var_reset();
        x = vexa_new_var("x");
        y = vexa_new_var("y");
    }
    // Value of e under (code, value) pairs.
    static coeff_t eval(const ExprImpl *e, std::vector<std::pair<uint32_t, coeff_t>> pairs) {
        std::vector<uint32_t> codes;
        std::vector<In> holders;
        holders.reserve(pairs.size());
        std::vector<const vexa_bigint *> values;
        for (auto &[code, v] : pairs) {
            codes.push_back(code);
            holders.emplace_back(v);
        }
        for (auto &h : holders) values.push_back(h.get());
        Out out;
        vexa_expr_eval_map(e, codes.data(), values.data(), codes.size(), &out);
        return out.value();
    }
    uint32_t x = 0, y = 0;
};

TEST_F(Eval, NegatedLiteralIsOneMinusTheValue) {
    ExprPtr e(vexa_expr_create_var(x | kNeg));
    EXPECT_EQ(eval(e.get(), {{x, 1}}), 0);
    EXPECT_EQ(eval(e.get(), {{x, 5}}), -4);  // no binary assumption
    EXPECT_EQ(eval(e.get(), {{x, 0}, {x, 1}}), 0);  // a later entry wins
}

TEST_F(Eval, BigValuesAndIntegerAtomsKeyedByFullCode) {
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(10).get());
    ExprPtr e(vexa_expr_create_int(In(1).get()));
    const uint32_t v[2] = {x, n};
    vexa_expr_iadd_raw_term(e.get(), In(test::pow2(100)).get(), v, 2);
    EXPECT_EQ(eval(e.get(), {{x, 3}, {n, test::pow2(50)}}), 1 + 3 * test::pow2(150));
}

TEST_F(Eval, OnlyStoredTermsAreLookedUp) {
    ExprPtr e(vexa_expr_create());
    TermPtr zero(vexa_term_create_var(In(0).get(), y));
    vexa_expr_iadd_term(e.get(), zero.get());  // a zero head: not stored as a term
    EXPECT_EQ(eval(e.get(), {}), 0);
}

TEST_F(Eval, ParallelSumEqualsSerialSum) {
    std::mt19937_64 rng(5);
    ExprPtr e(random_expr(rng, {.terms = 30'000, .nvars = 50, .max_bits = 200}));
    std::vector<std::pair<uint32_t, coeff_t>> values;
    for (uint32_t v = 0; v < 50; ++v) values.emplace_back(v, coeff_t(static_cast<int>(rng() % 7) - 3));
    coeff_t one, many;
    {
        ThreadScope s(1);
        one = eval(e.get(), values);
    }
    {
        ThreadScope s(8);
        many = eval(e.get(), values);
    }
    EXPECT_EQ(one, many);
    auto value_of = [&](uint32_t v) { return values[v].second; };
    EXPECT_EQ(one, evaluate(e.get(), value_of, false));
}

TEST_F(Eval, ReplaceSubstitutesExactCodes) {
    ExprPtr e(vexa_expr_create());
    const uint32_t xy[2] = {x, y};
    vexa_expr_iadd_raw_term(e.get(), In(1).get(), xy, 2);
    ExprPtr y_plus_1(vexa_expr_create_add_var_int(y, In(1).get()));
    const ExprImpl *with[1] = {y_plus_1.get()};
    const uint32_t keys[1] = {x};
    ExprPtr r(vexa_expr_replace(e.get(), keys, with, 1));
    ExprPtr rs(vexa_expr_simplify(r.get()));
    EXPECT_STREQ(vexa_expr_str(rs.get()), "y +y*y");
    EXPECT_EQ(vexa_expr_attr(r.get()), kPlainAttr);
    // ~x is its own key: replacing x leaves ~x alone
    ExprPtr nx(vexa_expr_create_var(x | kNeg));
    ExprPtr rn(vexa_expr_replace(nx.get(), keys, with, 1));
    EXPECT_STREQ(vexa_expr_str(rn.get()), "~x");
    ExprPtr same(vexa_expr_replace(e.get(), nullptr, nullptr, 0));
    EXPECT_EQ(flat(same.get()), flat(e.get()));
}

TEST_F(Eval, ReplaceBeyondDegreeTwoThrows) {
    ExprPtr e(vexa_expr_create());
    const uint32_t xy[2] = {x, y};
    vexa_expr_iadd_raw_term(e.get(), In(1).get(), xy, 2);
    ExprPtr sq(vexa_expr_create());
    vexa_expr_iadd_raw_term(sq.get(), In(1).get(), xy, 2);
    const ExprImpl *with[1] = {sq.get()};
    const uint32_t keys[1] = {x};
    EXPECT_THROW(vexa_expr_replace(e.get(), keys, with, 1), std::runtime_error);
}

TEST_F(Eval, ReplaceGivesTheSameTermsWithAnyThreadCount) {
    std::mt19937_64 rng(8);
    ExprPtr e(random_expr(rng, {.terms = 25'000, .nvars = 40, .max_bits = 100, .constant_terms = true}));
    ExprPtr sub(vexa_expr_create_sub_int_var(In(1).get(), 3));
    const ExprImpl *with[1] = {sub.get()};
    const uint32_t keys[1] = {5};
    std::vector<FlatTerm> one, many;
    {
        ThreadScope s(1);
        ExprPtr r(vexa_expr_replace(e.get(), keys, with, 1));
        one = flat(r.get());
    }
    {
        ThreadScope s(8);
        ExprPtr r(vexa_expr_replace(e.get(), keys, with, 1));
        many = flat(r.get());
    }
    EXPECT_EQ(one, many);
}

TEST_F(Eval, ReplaceOnADeclaredValueRebuildsItsRecords) {
    ExprPtr body(vexa_expr_create_var(x));
    ExprPtr d(declared(body.get(), 0, 1));
    vexa_expr_iadd_var(d.get(), x);  // objective part
    ExprPtr fy(vexa_expr_create_var(y));
    const ExprImpl *with[1] = {fy.get()};
    const uint32_t keys[1] = {x};
    ExprPtr r(vexa_expr_replace(d.get(), keys, with, 1));
    EXPECT_STREQ(vexa_expr_str(r.get()), "y");
    ASSERT_TRUE(is_live_sum(vexa_expr_attr(r.get())));
    EXPECT_STREQ(vexa_expr_str(exprexpr_entry(items_of(r.get())[0].first).body.get()), "y");
}

TEST_F(Eval, ReachableBounds) {
    ExprPtr e(vexa_expr_create_int(In(2).get()));
    vexa_expr_iadd_var(e.get(), x);
    vexa_expr_isub_var(e.get(), y);
    Out lo, hi;
    vexa_expr_neg_sum(e.get(), &lo);
    vexa_expr_pos_sum(e.get(), &hi);
    EXPECT_EQ(lo.value(), 1);
    EXPECT_EQ(hi.value(), 3);
    ExprPtr nx(vexa_expr_create_var(x | kNeg));
    vexa_expr_neg_sum(nx.get(), &lo);
    vexa_expr_pos_sum(nx.get(), &hi);
    EXPECT_EQ(lo.value(), 0);
    EXPECT_EQ(hi.value(), 1);
    const uint32_t n = vexa_new_int_var("n", In(-3).get(), In(5).get());
    ExprPtr ni(vexa_expr_create());
    const uint32_t v[2] = {n, x};
    vexa_expr_iadd_raw_term(ni.get(), In(-2).get(), v, 2);
    vexa_expr_neg_sum(ni.get(), &lo);
    vexa_expr_pos_sum(ni.get(), &hi);
    EXPECT_EQ(lo.value(), -10);
    EXPECT_EQ(hi.value(), 6);
}

using EvalDeath = Eval;

TEST_F(EvalDeath, FailuresInExactWords) {
    ExprPtr e(vexa_expr_create_var(x | kNeg));
    EXPECT_DEATH(eval(e.get(), {{x | kNeg, 1}}), "^vexa: eval: variable not found in mapping\n$");
    ExprPtr tail_zero(vexa_expr_create_var(y));
    TermPtr zero(vexa_term_create_var(In(0).get(), x));
    vexa_expr_iadd_term(tail_zero.get(), zero.get());
    EXPECT_DEATH(eval(tail_zero.get(), {{y, 1}}), "^vexa: eval: variable not found in mapping\n$");
    ExprPtr body(vexa_expr_create_var(x));
    ExprPtr d(declared(body.get(), 0, 1));
    EXPECT_DEATH(eval(d.get(), {}),
                 "^vexa: vexa::cons: 'eval with a variable map \\(evaluate against a Sol instead\\)' is not allowed "
                 "on an expression with declared constraints\n$");
    ExprPtr unknown(vexa_expr_create_var(0x40000000u | 99));
    Out out;
    EXPECT_DEATH(vexa_expr_pos_sum(unknown.get(), &out), "^vexa: reachable bounds: unknown integer variable\n$");
}

}  // namespace
