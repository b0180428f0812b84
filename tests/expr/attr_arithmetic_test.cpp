// What each arithmetic operation does to the constraint tag of a value.
#include <gtest/gtest.h>

#include "support/constraint_util.hpp"
#include "vexa/constraint.h"
#include "vexa/var.h"

using namespace vexa;
using namespace vexa::test;

namespace {

class AttrArithmetic : public ::testing::Test {
protected:
    void SetUp() override {
        vexa_var_reset();
        x = vexa_new_var("x");
        y = vexa_new_var("y");
        fx.reset(vexa_expr_create_var(x));
        fy.reset(vexa_expr_create_var(y));
        // (x - 1)^2 as the penalty of x == 1
        ExprPtr d(vexa_expr_create_add_var_int(x, In(-1).get()));
        penalty.reset(vexa_expr_sqr(d.get()));
    }
    ExprImpl *cons_x() { return declared(fx.get(), 0, 1); }
    ExprImpl *cons_y() { return declared(fy.get(), 0, 1); }
    ExprImpl *classic_x() { return classic(penalty.get(), fx.get(), 1, 1); }
    ExprImpl *varint() {
        ExprImpl *e = vexa_expr_create_add_var_var(x, y);
        e->attr = 5;  // an encoded integer's word
        return e;
    }
    uint32_t x = 0, y = 0;
    ExprPtr fx, fy, penalty;
};

TEST_F(AttrArithmetic, AddingATermInPlace) {
    TermPtr t(vexa_term_create_var(In(2).get(), y));
    ExprPtr v(varint());
    vexa_expr_iadd_term(v.get(), t.get());
    EXPECT_EQ(vexa_expr_attr(v.get()), kPlainAttr);  // an encoded integer changed is a plain value

    ExprPtr d(cons_x());
    const uint32_t word = vexa_expr_attr(d.get());
    vexa_expr_iadd_var(d.get(), y);
    vexa_expr_iadd_term(d.get(), t.get());
    EXPECT_EQ(vexa_expr_attr(d.get()), word);  // a declared sum keeps its word; y is objective
    EXPECT_STREQ(vexa_expr_str(d.get()), "y +2*y");

    // A classic constraint plus a term becomes a classic sum whose remainder is the term.
    ExprPtr c(classic_x());
    const uint32_t id = vexa_expr_attr(c.get()) & kIndexMask;
    vexa_expr_iadd_term(c.get(), t.get());
    ASSERT_TRUE(is_sum(vexa_expr_attr(c.get())));
    EXPECT_FALSE(sum_of(c.get()).declared);
    EXPECT_EQ(items_of(c.get()), (std::vector<std::pair<uint32_t, coeff_t>>{{id, 1}}));
    EXPECT_STREQ(vexa_expr_str(sum_of(c.get()).remainder.get()), "2*y");
    // An unshared classic sum grows in place.
    const uint32_t sum_word = vexa_expr_attr(c.get());
    vexa_expr_iadd_var(c.get(), x);
    EXPECT_EQ(vexa_expr_attr(c.get()), sum_word);
    EXPECT_STREQ(vexa_expr_str(sum_of(c.get()).remainder.get()), "2*y +x");
}

TEST_F(AttrArithmetic, OperationsThatKeepOnlyADeclaredWord) {
    In coeffs[1] = {In(1)};
    const vexa_bigint recs[1] = {*coeffs[0].get()};
    const uint32_t counts[1] = {1};
    const uint32_t vars[1] = {y};
    using Op = std::function<void(ExprImpl *)>;
    const Op ops[] = {
        [&](ExprImpl *e) { vexa_expr_isub_var(e, y); },
        [&](ExprImpl *e) { vexa_expr_iadd_int(e, In(1).get()); },
        [&](ExprImpl *e) { vexa_expr_isub_int(e, In(0).get()); },
        [&](ExprImpl *e) { vexa_expr_iadd_terms_bulk(e, In(0).get(), 1, recs, counts, vars); },
        [&](ExprImpl *e) { vexa_expr_iadd_move_term(e, In(1).get(), y | 0xFFFFFFFF00000000ull, nullptr); },
    };
    for (const Op &op : ops) {
        ExprPtr d(cons_x());
        const uint32_t word = vexa_expr_attr(d.get());
        op(d.get());
        EXPECT_EQ(vexa_expr_attr(d.get()), word);
        ExprPtr c(classic_x());
        op(c.get());
        EXPECT_EQ(vexa_expr_attr(c.get()), kPlainAttr);
        ExprPtr v(varint());
        op(v.get());
        EXPECT_EQ(vexa_expr_attr(v.get()), kPlainAttr);
    }
}

TEST_F(AttrArithmetic, CloneForms) {
    ExprPtr c(classic_x());
    const uint32_t cw = vexa_expr_attr(c.get());
    ExprPtr plus0(vexa_expr_clone_add_int(c.get(), In(0).get()));
    EXPECT_EQ(vexa_expr_attr(plus0.get()), cw);  // adding exactly 0 keeps a constraint word
    ExprPtr plus1(vexa_expr_clone_add_int(c.get(), In(1).get()));
    EXPECT_EQ(vexa_expr_attr(plus1.get()), kPlainAttr);
    ExprPtr v(varint());
    ExprPtr v0(vexa_expr_clone_add_int(v.get(), In(0).get()));
    EXPECT_EQ(vexa_expr_attr(v0.get()), kPlainAttr);
    ExprPtr cv(vexa_expr_clone_sub_var(c.get(), y));
    EXPECT_EQ(vexa_expr_attr(cv.get()), kPlainAttr);

    TermPtr t(vexa_term_create_var(In(3).get(), y));
    ExprPtr ct(vexa_expr_clone_add_term(c.get(), t.get()));
    EXPECT_FALSE(sum_of(ct.get()).declared);
    EXPECT_STREQ(vexa_expr_str(sum_of(ct.get()).remainder.get()), "3*y");
    EXPECT_EQ(vexa_expr_attr(c.get()), cw);

    ExprPtr d(cons_x());
    const uint32_t dw = vexa_expr_attr(d.get());
    ExprPtr dv(vexa_expr_clone_sub_int(d.get(), In(4).get()));
    EXPECT_EQ(vexa_expr_attr(dv.get()), dw);
    ExprPtr dt(vexa_expr_clone_add_term(d.get(), t.get()));
    EXPECT_TRUE(sum_of(dt.get()).declared);
    EXPECT_NE(vexa_expr_attr(dt.get()), dw);  // a new entry with the same items
    EXPECT_EQ(items_of(dt.get()), items_of(d.get()));
    EXPECT_EQ(sum_of(dt.get()).remainder, nullptr);
}

TEST_F(AttrArithmetic, CloningMarksASumSharedSoTheOriginalKeepsItsList) {
    ExprPtr e(cons_x());
    ExprPtr b(cons_y());
    ExprPtr e2(vexa_expr_clone(e.get()));
    EXPECT_TRUE(sum_of(e.get()).shared);
    const uint32_t old_word = vexa_expr_attr(e.get());
    vexa_expr_iadd_expr(e.get(), b.get());
    EXPECT_NE(vexa_expr_attr(e.get()), old_word);
    EXPECT_EQ(items_of(e.get()).size(), 2u);
    EXPECT_EQ(vexa_expr_attr(e2.get()), old_word);
    EXPECT_EQ(items_of(e2.get()).size(), 1u);
}

TEST_F(AttrArithmetic, AnUnsharedDeclaredSumGrowsInPlace) {
    ExprPtr e(cons_x());
    ExprPtr b(cons_y());
    const uint32_t word = vexa_expr_attr(e.get());
    vexa_expr_iadd_expr(e.get(), b.get());
    EXPECT_EQ(vexa_expr_attr(e.get()), word);
    EXPECT_EQ(items_of(e.get()).size(), 2u);
    // e += e: the operand is copied first, which marks the sum shared, so a new entry results.
    vexa_expr_iadd_expr(e.get(), e.get());
    EXPECT_NE(vexa_expr_attr(e.get()), word);
    EXPECT_EQ(items_of(e.get()).size(), 4u);
}

TEST_F(AttrArithmetic, AZeroExpressionAdoptsTheWordOfWhatIsAddedToIt) {
    ExprPtr zero(vexa_expr_create());
    ExprPtr d(cons_x());
    vexa_expr_iadd_expr(zero.get(), d.get());
    EXPECT_EQ(vexa_expr_attr(zero.get()), vexa_expr_attr(d.get()));
    EXPECT_TRUE(sum_of(d.get()).shared);
    // A nonzero plain value plus a declared sum: a new entry, the plain part stays objective.
    ExprPtr p(vexa_expr_create_var(y));
    vexa_expr_iadd_expr(p.get(), d.get());
    EXPECT_TRUE(sum_of(p.get()).declared);
    EXPECT_EQ(sum_of(p.get()).remainder, nullptr);
    // Classic: the plain part goes into the remainder as well.
    ExprPtr q(vexa_expr_create_var(y));
    ExprPtr c(classic_x());
    vexa_expr_iadd_expr(q.get(), c.get());
    EXPECT_FALSE(sum_of(q.get()).declared);
    EXPECT_STREQ(vexa_expr_str(sum_of(q.get()).remainder.get()), "y");
    ExprPtr r(vexa_expr_clone_add_expr(fy.get(), c.get()));
    EXPECT_STREQ(vexa_expr_str(sum_of(r.get()).remainder.get()), "y");
}

TEST_F(AttrArithmetic, PlainPlusPlainStaysPlainAndConstraintPlusPlainAppendsTheRemainder) {
    ExprPtr a(vexa_expr_create_var(x));
    vexa_expr_iadd_expr(a.get(), fy.get());
    EXPECT_EQ(vexa_expr_attr(a.get()), kPlainAttr);
    ExprPtr c(classic_x());
    ExprPtr c2(classic_x());
    vexa_expr_iadd_expr(c.get(), c2.get());  // two ExprExpr words: a classic sum of two items
    EXPECT_EQ(items_of(c.get()).size(), 2u);
    EXPECT_EQ(sum_of(c.get()).remainder, nullptr);
    vexa_expr_iadd_expr(c.get(), fy.get());
    EXPECT_STREQ(vexa_expr_str(sum_of(c.get()).remainder.get()), "y");
}

TEST_F(AttrArithmetic, SubtractingADeclaredValueNegatesItsWeights) {
    ExprPtr e(cons_x());
    ExprPtr b(cons_y());
    vexa_expr_isub_expr(e.get(), b.get());
    const auto items = items_of(e.get());
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].second, 1);
    EXPECT_EQ(items[1].second, -1);
    ExprPtr d(cons_x());
    const uint32_t word = vexa_expr_attr(d.get());
    vexa_expr_isub_expr(d.get(), fy.get());  // a declared minuend keeps its word
    EXPECT_EQ(vexa_expr_attr(d.get()), word);
    ExprPtr c(classic_x());
    vexa_expr_isub_expr(c.get(), fy.get());
    EXPECT_EQ(vexa_expr_attr(c.get()), kPlainAttr);
    ExprPtr r(vexa_expr_clone_sub_expr(fy.get(), b.get()));
    EXPECT_EQ(items_of(r.get())[0].second, -1);
}

TEST_F(AttrArithmetic, NegationAndIntegerScaling) {
    ExprPtr d(cons_x());
    vexa_expr_negate(d.get());
    EXPECT_TRUE(vexa_expr_is_declared(d.get()));
    EXPECT_EQ(items_of(d.get())[0].second, -1);
    ExprPtr c(classic_x());
    vexa_expr_negate(c.get());
    EXPECT_EQ(vexa_expr_attr(c.get()), kPlainAttr);

    ExprPtr sum(cons_x());
    ExprPtr b(cons_y());
    vexa_expr_iadd_expr(sum.get(), b.get());
    vexa_expr_imul_int(sum.get(), In(3).get());
    for (const auto &item : items_of(sum.get())) EXPECT_EQ(item.second, 3);
    vexa_expr_imul_int(sum.get(), In(-1).get());
    EXPECT_TRUE(vexa_expr_is_declared(sum.get()));
    for (const auto &item : items_of(sum.get())) EXPECT_EQ(item.second, -3);

    ExprPtr c2(classic_x());
    ExprPtr scaled(vexa_expr_clone_mul_int(c2.get(), In(2).get()));
    EXPECT_FALSE(sum_of(scaled.get()).declared);  // a scaled classic constraint: a classic sum of one item
    EXPECT_EQ(items_of(scaled.get())[0].second, 2);
    vexa_expr_imul_int(c2.get(), In(-1).get());
    EXPECT_EQ(vexa_expr_attr(c2.get()), kPlainAttr);
    ExprPtr v(varint());
    vexa_expr_imul_int(v.get(), In(2).get());
    EXPECT_EQ(vexa_expr_attr(v.get()), kPlainAttr);
}

TEST_F(AttrArithmetic, ShapesAloneMayBeMultipliedByZero) {
    ExprPtr s1(shape(fx.get(), 1));
    ExprPtr s2(shape(fy.get(), 2));
    vexa_expr_iadd_expr(s1.get(), s2.get());
    EXPECT_EQ(vexa_expr_all_objective_only(s1.get()), 1);
    EXPECT_EQ(vexa_expr_has_body(s1.get()), 0);
    EXPECT_EQ(vexa_expr_has_body(s2.get()), 1);
    vexa_expr_imul_int(s1.get(), In(0).get());
    EXPECT_EQ(vexa_expr_attr(s1.get()), kPlainAttr);
    ExprPtr c(classic_x());
    EXPECT_EQ(vexa_expr_has_body(c.get()), 1);
    EXPECT_EQ(vexa_expr_has_body(fx.get()), 0);
    EXPECT_EQ(vexa_expr_is_declared(c.get()), 0);
}

using AttrArithmeticDeath = AttrArithmetic;

TEST_F(AttrArithmeticDeath, ZeroTimesDeclaredConstraintsAborts) {
    ExprPtr d(cons_x());
    ExprPtr s(shape(fy.get(), 1));
    vexa_expr_iadd_expr(d.get(), s.get());
    EXPECT_DEATH(vexa_expr_imul_int(d.get(), In(0).get()),
                 "^vexa: vexa::cons: multiplying declared constraints by 0 would silently drop them\n$");
}

TEST_F(AttrArithmeticDeath, MixingDeclaredAndClassicAborts) {
    ExprPtr d(cons_x());
    ExprPtr c(classic_x());
    EXPECT_DEATH(vexa_expr_iadd_expr(d.get(), c.get()),
                 "^vexa: vexa::cons: cannot mix declared constraints with classic penalty-style constraints in one "
                 "expression; wrap the classic part with vexa::cons\\(\\.\\.\\.\\) as well\n$");
}

TEST_F(AttrArithmeticDeath, ProductsAndDivisionRefuseDeclaredValues) {
    ExprPtr d(cons_x());
    const char *tail = "' is not allowed on an expression with declared constraints\n$";
    EXPECT_DEATH(vexa_expr_mul_expr(fx.get(), d.get()), std::string("^vexa: vexa::cons: '\\* expr") + tail);
    EXPECT_DEATH(vexa_expr_mul_expr(d.get(), fx.get()), std::string("^vexa: vexa::cons: '\\* expr") + tail);
    EXPECT_DEATH(vexa_expr_imul_expr(d.get(), fx.get()), std::string("^vexa: vexa::cons: '\\*= expr") + tail);
    EXPECT_DEATH(vexa_expr_imul_expr(fx.get(), d.get()), std::string("^vexa: vexa::cons: '\\* expr") + tail);
    EXPECT_DEATH(vexa_expr_imul_term_direct(d.get(), In(2).get(), y | 0xFFFFFFFF00000000ull),
                 std::string("^vexa: vexa::cons: '\\*= term") + tail);
    EXPECT_DEATH(vexa_expr_imul_var(d.get(), y), std::string("^vexa: vexa::cons: '\\*= var") + tail);
    EXPECT_DEATH(vexa_expr_sqr(d.get()), std::string("^vexa: vexa::cons: 'sqr") + tail);
    EXPECT_DEATH(vexa_expr_idiv_int(d.get(), In(2).get()), std::string("^vexa: vexa::cons: '/=") + tail);
}

TEST_F(AttrArithmetic, ProductsOfClassicAndEncodedValuesArePlain) {
    ExprPtr c(classic_x());
    ExprPtr two(vexa_expr_create_int(In(2).get()));
    vexa_expr_imul_expr(c.get(), two.get());
    EXPECT_EQ(vexa_expr_attr(c.get()), kPlainAttr);
    ExprPtr v(varint());
    ExprPtr sq(vexa_expr_sqr(v.get()));
    EXPECT_EQ(vexa_expr_attr(sq.get()), kPlainAttr);
}

TEST_F(AttrArithmetic, SimplifyRebuildsConstraintRecords) {
    // body ~x + x*x: binary form 1, plain form keeps both
    ExprPtr body(vexa_expr_create());
    vexa_expr_iadd_var(body.get(), x | 0x80000000u);
    const uint32_t xx[2] = {x, x};
    vexa_expr_iadd_raw_term(body.get(), In(1).get(), xx, 2);
    ExprPtr d(declared(body.get(), 0, 1));
    const uint32_t old_id = items_of(d.get())[0].first;
    ExprPtr s(vexa_expr_simplify_as_binary(d.get()));
    EXPECT_TRUE(vexa_expr_is_declared(s.get()));
    const uint32_t new_id = items_of(s.get())[0].first;
    EXPECT_NE(new_id, old_id);
    EXPECT_STREQ(vexa_expr_str(exprexpr_entry(new_id).body.get()), "1");
    coeff_t lo, hi;
    ASSERT_TRUE(get_bounds(new_id, lo, hi));  // meta copied to the new record
    EXPECT_EQ(hi, 1);

    ExprPtr c(classic(penalty.get(), body.get(), 1, 1));
    ExprPtr cs(vexa_expr_simplify(c.get()));
    ASSERT_TRUE(is_exprexpr(vexa_expr_attr(cs.get())));
    EXPECT_STREQ(vexa_expr_str(exprexpr_entry(vexa_expr_attr(cs.get()) & kIndexMask).body.get()), "~x +x*x");

    ExprPtr v(varint());
    ExprPtr vs(vexa_expr_simplify_as_binary(v.get()));
    EXPECT_EQ(vexa_expr_attr(vs.get()), 5u);  // an encoded integer keeps its word
}

}  // namespace
