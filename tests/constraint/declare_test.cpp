// Declared and classic constraint values made through the C interface: what
// they hold, what reads them back, and every operation a declared value
// refuses, with its message.
#include <gtest/gtest.h>

#include <string>

#include "support/constraint_util.hpp"
#include "support/model_util.hpp"
#include "support/var_fixture.hpp"
#include "vexa/constraint.h"
#include "vexa/model.h"

namespace {

using namespace vexa::test;
using vexa::coeff_t;

// The regular expression of a fatal message: "vexa: " + text + newline.
std::string fatal_text(const std::string &text) {
    std::string escaped;
    for (char c : text) {
        if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) escaped.push_back('\\');
        escaped.push_back(c);
    }
    return "^vexa: " + escaped + "\n$";
}

std::string refusal(const std::string &operation) {
    return fatal_text("vexa::cons: '" + operation + "' is not allowed on an expression with declared constraints");
}

class DeclaredConstraints : public ThreeVars {
protected:
    void SetUp() override {
        ThreeVars::SetUp();
        fx.reset(vexa_expr_create_var(x));
        fxy.reset(vexa_expr_create_add_var_var(x, y));
    }
    ExprPtr between(const ExprImpl *body, long long lo, long long hi) {
        return ExprPtr(vexa_cons_between(body, In(lo).get(), In(hi).get()));
    }
    ExprPtr fx, fxy;
};

TEST_F(DeclaredConstraints, BetweenAndEqualMakeOneItemWithAnEmptyPolynomial) {
    ExprPtr c = between(fxy.get(), 1, 2);
    EXPECT_TRUE(vexa_expr_is_declared(c.get()));
    EXPECT_EQ(vexa_expr_term_count(c.get()), 0u);
    EXPECT_EQ(constant_of(c.get()), 0);
    ASSERT_EQ(items_of(c.get()).size(), 1u);
    EXPECT_EQ(items_of(c.get())[0].second, 1);
    EXPECT_FALSE(sum_of(c.get()).remainder);
    // The body is a copy: changing the source later changes nothing.
    vexa_expr_iadd_var(fxy.get(), z);
    const ExprImpl *body = vexa_exprexprelem_get_body(c.get());
    EXPECT_STREQ(vexa_expr_str(body), "x +y");
    EXPECT_EQ(body->attr, vexa::kPlainAttr);
    EXPECT_TRUE(vexa_expr_has_body(c.get()));

    // Inverted bounds are accepted as given.
    ExprPtr inverted = between(fx.get(), 3, 1);
    const vexa::ExprExprEntry &r = vexa::exprexpr_entry(items_of(inverted.get())[0].first);
    EXPECT_EQ(r.lower, 3);
    EXPECT_EQ(r.upper, 1);

    const In lows[2] = {In(4), In(-2)};
    const In highs[2] = {In(6), In(0)};
    const vexa_bigint lo_recs[2] = {*lows[0].get(), *lows[1].get()};
    const vexa_bigint hi_recs[2] = {*highs[0].get(), *highs[1].get()};
    ExprPtr eq(vexa_cons_equal(fxy.get(), lo_recs, hi_recs, 2));
    const vexa::ExprExprEntry &e = vexa::exprexpr_entry(items_of(eq.get())[0].first);
    EXPECT_TRUE(e.has_bounds);
    EXPECT_EQ(e.lower, -2);  // the least low and the greatest high
    EXPECT_EQ(e.upper, 6);
    ASSERT_EQ(e.allowed.size(), 2u);
    EXPECT_EQ(e.allowed[1].first, -2);
    EXPECT_EQ(e.allowed[1].second, 0);
    EXPECT_DEATH(vexa_cons_equal(fx.get(), lo_recs, hi_recs, 0), fatal_text("vexa_cons_equal: empty allowed-value set"));
}

TEST_F(DeclaredConstraints, MarkTakesConstraintsAndDropsPenaltiesAndObjective) {
    // A plain value becomes the free-form part, with an empty polynomial.
    ExprPtr marked(vexa_cons_mark(fx.get()));
    EXPECT_TRUE(vexa_expr_is_declared(marked.get()));
    EXPECT_EQ(vexa_expr_term_count(marked.get()), 0u);
    EXPECT_TRUE(items_of(marked.get()).empty());
    ASSERT_TRUE(sum_of(marked.get()).remainder);
    EXPECT_STREQ(vexa_expr_str(sum_of(marked.get()).remainder.get()), "x");

    // A live sum keeps its word; the objective it carried is left behind.
    ExprPtr c = between(fx.get(), 0, 1);
    vexa_expr_iadd_var(c.get(), y);
    ASSERT_EQ(vexa_expr_term_count(c.get()), 1u);
    ExprPtr again(vexa_cons_mark(c.get()));
    EXPECT_EQ(vexa_expr_attr(again.get()), vexa_expr_attr(c.get()));
    EXPECT_EQ(vexa_expr_term_count(again.get()), 0u);

    // A classic constraint is enforced from its record; its penalty is dropped.
    ExprPtr penalty(vexa_expr_sqr(fxy.get()));
    ExprPtr classic(vexa_exprexprelem_create(penalty.get(), fxy.get()));
    vexa_exprexpr_set_bounds(classic.get(), In(0).get(), In(0).get());
    ExprPtr from_classic(vexa_cons_mark(classic.get()));
    EXPECT_EQ(vexa_expr_term_count(from_classic.get()), 0u);
    ASSERT_EQ(items_of(from_classic.get()).size(), 1u);
    EXPECT_EQ(items_of(from_classic.get())[0].first, vexa_expr_attr(classic.get()) & vexa::kIndexMask);
    EXPECT_FALSE(sum_of(from_classic.get()).remainder);

    // A classic sum with a free part: weights carry over, the free part becomes the remainder.
    ExprPtr scaled(vexa_expr_clone_mul_int(classic.get(), In(3).get()));
    vexa_expr_iadd_var(scaled.get(), z);
    ExprPtr from_sum(vexa_cons_mark(scaled.get()));
    ASSERT_EQ(items_of(from_sum.get()).size(), 1u);
    EXPECT_EQ(items_of(from_sum.get())[0].second, 3);
    ASSERT_TRUE(sum_of(from_sum.get()).remainder);
    EXPECT_STREQ(vexa_expr_str(sum_of(from_sum.get()).remainder.get()), "z");
    EXPECT_TRUE(sum_of(from_sum.get()).declared);

    // Marking the classic part is what makes mixing legal.
    ExprPtr d = between(fx.get(), 0, 1);
    ExprPtr mixed(vexa_expr_clone_add_expr(d.get(), from_classic.get()));
    EXPECT_EQ(items_of(mixed.get()).size(), 2u);
    EXPECT_DEATH(vexa_expr_iadd_expr(d.get(), classic.get()),
                 fatal_text("vexa::cons: cannot mix declared constraints with classic penalty-style constraints in "
                            "one expression; wrap the classic part with vexa::cons(...) as well"));
}

TEST_F(DeclaredConstraints, ClassicRecordsKeepBoundsAndAllowedSets) {
    ExprPtr penalty(vexa_expr_sqr(fxy.get()));
    ExprPtr c(vexa_exprexprelem_create(penalty.get(), fxy.get()));
    EXPECT_EQ(vexa_expr_attr(c.get()) & 0xC0000000u, 0x80000000u);
    EXPECT_STREQ(vexa_expr_str(c.get()), vexa_expr_str(penalty.get()));
    Out lo, hi;
    EXPECT_EQ(vexa_exprexpr_get_bounds(c.get(), &lo, &hi), 0);  // none yet
    vexa_exprexpr_set_bounds(c.get(), In(-7).get(), In(coeff_t(1) << 70).get());
    ASSERT_EQ(vexa_exprexpr_get_bounds(c.get(), &lo, &hi), 1);
    EXPECT_EQ(lo.value(), -7);
    EXPECT_EQ(hi.value(), coeff_t(1) << 70);
    EXPECT_EQ(vexa_exprexpr_get_bounds(fx.get(), &lo, &hi), 0);

    const In five(5), one(1), two(2);
    const vexa_bigint lows[2] = {*five.get(), *one.get()};
    const vexa_bigint highs[2] = {*five.get(), *two.get()};
    vexa_exprexpr_set_allowed(c.get(), lows, highs, 2);
    ASSERT_EQ(vexa_exprexpr_get_bounds(c.get(), &lo, &hi), 1);
    EXPECT_EQ(lo.value(), 1);
    EXPECT_EQ(hi.value(), 5);
    EXPECT_STREQ(vexa_expr_str(vexa_exprexprelem_get_body(c.get())), "x +y");

    // A clone is a second value over the same record.
    ExprPtr copy(vexa_exprexprelem_clone(c.get()));
    EXPECT_EQ(vexa_expr_attr(copy.get()), vexa_expr_attr(c.get()));
    vexa_exprexprelem_destroy(copy.release());

    EXPECT_DEATH(vexa_exprexpr_set_bounds(fx.get(), In(0).get(), In(1).get()),
                 fatal_text("vexa_exprexpr_set_bounds: not an ExprExpr"));
    EXPECT_DEATH(vexa_exprexpr_set_allowed(fx.get(), lows, highs, 2),
                 fatal_text("vexa_exprexpr_set_allowed: not an ExprExpr"));
    EXPECT_DEATH(vexa_exprexpr_set_allowed(c.get(), lows, highs, 0), fatal_text("ExprExprSet: set_allowed empty set"));
}

TEST_F(DeclaredConstraints, BodyAccessRefusesAllButASingleConstraint) {
    ExprPtr penalty(vexa_expr_sqr(fx.get()));
    ExprPtr c(vexa_exprexprelem_create(penalty.get(), fx.get()));
    vexa_expr_iadd_int(c.get(), In(2).get());  // changing the value clears its word
    EXPECT_FALSE(vexa_expr_has_body(c.get()));
    const std::string not_one =
        "ExprExpr body access on a value that is not an ExprExpr (plain Expr, VarInt or constraint sum).";
    EXPECT_DEATH(vexa_exprexprelem_get_body(c.get()), fatal_text(not_one));
    EXPECT_DEATH(vexa_exprexprelem_get_body(fx.get()), fatal_text(not_one));

    ExprPtr stale(vexa_expr_clone(fx.get()));
    stale->attr = 0x80000000u | 0x3FFFFFF0u;
    EXPECT_DEATH(vexa_exprexprelem_get_body(stale.get()),
                 fatal_text("ExprExpr body access on a value that is no longer an ExprExpr (e.g. after ee += 1, "
                            "ee.sqr())."));

    ExprPtr two = between(fx.get(), 0, 1);
    ExprPtr second = between(fxy.get(), 0, 1);
    vexa_expr_iadd_expr(two.get(), second.get());
    EXPECT_FALSE(vexa_expr_has_body(two.get()));
    // This message ends the process without a newline of its own.
    EXPECT_DEATH(vexa_exprexprelem_get_body(two.get()),
                 "^vexa: body\\(\\) requires exactly one constraint, but this value holds 2 constraint\\(s\\); "
                 "use violations\\(sol\\) instead\\.$");
    ExprPtr fy(vexa_expr_create_var(y));
    ExprPtr free_part(vexa_cons_mark(fy.get()));
    vexa_expr_iadd_expr(two.get(), free_part.get());
    EXPECT_DEATH(vexa_exprexprelem_get_body(two.get()),
                 "^vexa: body\\(\\) requires exactly one constraint, but this value holds 2 constraint\\(s\\) and a "
                 "free-form penalty; use violations\\(sol\\) instead\\.$");
}

// Every operation that could not carry declared constraints over refuses them.
TEST_F(DeclaredConstraints, RefusedOperationsNameThemselves) {
    ExprPtr d = between(fx.get(), 0, 1);
    ExprImpl *dv = d.get();
    const ExprImpl *plain = fxy.get();
    const In k2(2);
    const uint64_t packed_xy = static_cast<uint64_t>(x) | (static_cast<uint64_t>(0xFFFFFFFFu) << 32);
    ExprPtr model_src(vexa_expr_create_add_var_var(x, y));
    ModelPtr model(vexa_model_create(model_src.get()));
    const uint64_t bits[1] = {0};
    const uint32_t map_vars[1] = {x};
    const In one(1);
    const vexa_bigint *map_values[1] = {one.get()};

    EXPECT_DEATH(vexa_expr_sqr(dv), refusal("sqr"));
    EXPECT_DEATH(vexa_expr_imul_expr(dv, plain), refusal("*= expr"));
    EXPECT_DEATH(vexa_expr_imul_expr(fx.get(), dv), refusal("* expr"));
    EXPECT_DEATH(vexa_expr_mul_expr(dv, plain), refusal("* expr"));
    EXPECT_DEATH(vexa_expr_mul_expr(plain, dv), refusal("* expr"));
    EXPECT_DEATH(vexa_expr_imul_term_direct(dv, k2.get(), packed_xy), refusal("*= term"));
    EXPECT_DEATH(vexa_expr_imul_var(dv, y), refusal("*= var"));
    EXPECT_DEATH(vexa_expr_idiv_int(dv, k2.get()), refusal("/="));
    EXPECT_DEATH(vexa_exprexprelem_create(dv, plain), refusal("== / <= (comparing declared constraints)"));
    EXPECT_DEATH(vexa_exprexprelem_create(plain, dv), refusal("== / <= (comparing declared constraints)"));
    EXPECT_DEATH(vexa_cons_between(dv, one.get(), one.get()), refusal("cons(body, ...) on declared constraints"));
    const vexa_bigint lows[1] = {*one.get()};
    EXPECT_DEATH(vexa_cons_equal(dv, lows, lows, 1), refusal("cons(body, equal=...) on declared constraints"));
    // The refusal comes before the check of the allowed list.
    EXPECT_DEATH(vexa_cons_equal(dv, lows, lows, 0), refusal("cons(body, equal=...) on declared constraints"));
    EXPECT_DEATH(vexa_abs_term(dv, 1), refusal("abs/relu body carrying declared constraints"));
    EXPECT_DEATH(vexa_relu_term(dv, 2), refusal("abs/relu body carrying declared constraints"));
    Out out;
    EXPECT_DEATH(vexa_expr_eval_with_model(dv, model.get(), bits, &out),
                 refusal("eval_with_model (evaluate against a Sol instead)"));
    EXPECT_DEATH(vexa_expr_eval_map(dv, map_vars, map_values, 1, &out),
                 refusal("eval with a variable map (evaluate against a Sol instead)"));
    EXPECT_DEATH(vexa_expr_binary_to_spin(dv), refusal("binary_to_spin"));
    EXPECT_DEATH(vexa_expr_spin_to_binary(dv), refusal("spin_to_binary"));
    EXPECT_DEATH(vexa_expr_reduce(dv),
                 refusal("reduce (declared constraints would be dropped; reduce the objective before adding "
                         "vexa::cons parts)"));
    EXPECT_DEATH(vexa_expr_binarize(dv),
                 fatal_text("binarize: constraint expressions are not supported — call expand_cons() first, then "
                            "binarize the plain penalty form."));

    // None of these checks looks at a classic constraint.
    ExprPtr classic(vexa_exprexprelem_create(fx.get(), fx.get()));
    ExprPtr squared(vexa_expr_sqr(classic.get()));
    EXPECT_EQ(vexa_expr_attr(squared.get()), vexa::kPlainAttr);
    ExprPtr shape(vexa_abs_term(classic.get(), 1));
    EXPECT_TRUE(vexa_expr_is_declared(shape.get()));
    // Arithmetic with integers and plain values keeps the constraints.
    vexa_expr_iadd_int(dv, k2.get());
    vexa_expr_isub_var(dv, z);
    EXPECT_TRUE(vexa_expr_is_declared(dv));
}

}  // namespace

namespace {

// A declared sum of many rows x_k + x_{k+1} + x_k (unsimplified bodies).
ExprPtr many_rows(const std::vector<uint32_t> &v, uint64_t rows) {
    ExprPtr all(vexa_expr_create());
    for (uint64_t k = 0; k < rows; ++k) {
        ExprPtr body(vexa_expr_create_add_var_var(v[k % v.size()], v[(k + 1) % v.size()]));
        vexa_expr_iadd_var(body.get(), v[k % v.size()]);
        ExprPtr c(vexa_cons_between(body.get(), In(0).get(), In(static_cast<int>(k % 3)).get()));
        vexa_expr_iadd_expr(all.get(), c.get());
    }
    return all;
}

TEST(DeclaredSums, RebuildingManyItemsIsTheSameOnOneThreadAndMany) {
    vexa_var_reset();
    std::vector<uint32_t> v;
    for (int i = 0; i < 50; ++i) v.push_back(vexa_new_var(("r" + std::to_string(i)).c_str()));
    const uint64_t rows = 12'000;  // above the parallel fan-out
    ExprPtr all = many_rows(v, rows);
    std::vector<std::string> texts[2];
    for (int pass = 0; pass < 2; ++pass) {
        ThreadScope scope(pass == 0 ? 1 : 4);
        ExprPtr s(vexa_expr_simplify_as_binary(all.get()));
        ASSERT_EQ(vexa_cons_item_count(s.get()), rows);
        for (uint64_t i = 0; i < rows; ++i) {
            ExprImpl *body = nullptr;
            Out w, lo, hi;
            ASSERT_EQ(vexa_cons_item_info(s.get(), i, &body, &w, &lo, &hi), 1);
            texts[pass].push_back(std::string(vexa_expr_str(body)) + " in [" + lo.value().str() + "," +
                                  hi.value().str() + "] w " + w.value().str());
            vexa_expr_destroy(body);
        }
    }
    EXPECT_EQ(texts[0], texts[1]);
    EXPECT_EQ(texts[0][1], "2*r1 +r2 in [0,1] w 1");
}

TEST(DeclaredSums, ASubstitutionPastTheDegreeLimitThrowsFromAManyItemSum) {
    vexa_var_reset();
    std::vector<uint32_t> v;
    for (int i = 0; i < 50; ++i) v.push_back(vexa_new_var(("q" + std::to_string(i)).c_str()));
    ExprPtr all = many_rows(v, 12'000);
    // A quadratic body, in which a variable is replaced by a product.
    ExprPtr quad(vexa_expr_create());
    const uint32_t pair[2] = {v[0], v[1]};
    vexa_expr_iadd_raw_term(quad.get(), In(1).get(), pair, 2);
    ExprPtr c(vexa_cons_between(quad.get(), In(0).get(), In(1).get()));
    vexa_expr_iadd_expr(all.get(), c.get());
    ExprPtr product(vexa_expr_create());
    const uint32_t other[2] = {v[2], v[3]};
    vexa_expr_iadd_raw_term(product.get(), In(1).get(), other, 2);
    const ExprImpl *values[1] = {product.get()};
    EXPECT_ANY_THROW(ExprPtr(vexa_expr_replace(all.get(), &v[0], values, 1)));
}

}  // namespace
