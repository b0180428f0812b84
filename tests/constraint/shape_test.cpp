// Penalty shapes |f|^k and max(0, f)^k: their records, how weights treat
// them, and what they cost on a solution.
#include <gtest/gtest.h>

#include <string>

#include "support/constraint_util.hpp"
#include "support/model_util.hpp"
#include "support/var_fixture.hpp"
#include "vexa/constraint.h"
#include "vexa/model.h"
#include "vexa/sol.h"

namespace {

using namespace vexa::test;
using vexa::coeff_t;

const vexa::ExprExprEntry &only_record(const ExprImpl *e) {
    EXPECT_EQ(items_of(e).size(), 1u);
    return vexa::exprexpr_entry(items_of(e).at(0).first);
}

class Shapes : public ThreeVars {};

TEST_F(Shapes, RecordsCarryBoundsAndExponent) {
    ExprPtr f(vexa_expr_create_add_var_int(x, In(2).get()));  // x + 2, least value 2
    ExprPtr a(vexa_abs_term(f.get(), 1));
    EXPECT_TRUE(vexa_expr_is_declared(a.get()));
    EXPECT_EQ(vexa_expr_term_count(a.get()), 0u);
    const vexa::ExprExprEntry &ra = only_record(a.get());
    EXPECT_EQ(ra.lower, 0);
    EXPECT_EQ(ra.upper, 0);
    EXPECT_EQ(ra.shape_exponent, 1);
    EXPECT_EQ(ra.shape_hinge, 1);

    // relu of a body that is never negative: the range is [0, 0], D = B.
    ExprPtr r(vexa_relu_term(f.get(), 2));
    EXPECT_EQ(only_record(r.get()).lower, 0);
    EXPECT_EQ(only_record(r.get()).shape_exponent, 2);
    // relu of x - 3: least value -3 becomes the lower bound, so nothing is ever paid.
    ExprPtr g(vexa_expr_create_sub_int_var(In(3).get(), x));
    vexa_expr_negate(g.get());
    ExprPtr r2(vexa_relu_term(g.get(), 1));
    EXPECT_EQ(only_record(r2.get()).lower, -3);
    EXPECT_EQ(only_record(r2.get()).upper, 0);
    // An integer atom's bounds count in the reachable least value.
    const uint32_t n = vexa_new_int_var("n", In(-4).get(), In(5).get());
    ExprPtr fn(vexa_expr_create_var(n));
    vexa_expr_iadd_var(fn.get(), y);
    ExprPtr r3(vexa_relu_term(fn.get(), 1));
    EXPECT_EQ(only_record(r3.get()).lower, -4);

    const std::string tail = ": the exponent k must be 1 or 2 \\(got ";
    EXPECT_DEATH(vexa_abs_term(f.get(), 3), "^vexa: vexa::abs" + tail + "3\\)\n$");
    EXPECT_DEATH(vexa_relu_term(f.get(), 0), "^vexa: vexa::relu" + tail + "0\\)\n$");
    // An unknown integer atom is reported before a bad exponent.
    ExprPtr unknown(vexa_expr_create_var(0x40000000u | 12345u));
    EXPECT_DEATH(vexa_relu_term(unknown.get(), 7), "^vexa: reachable bounds: unknown integer variable\n$");
}

TEST_F(Shapes, OnlyShapesMayBeMultipliedByZero) {
    ExprPtr fx(vexa_expr_create_var(x));
    ExprPtr fy(vexa_expr_create_var(y));
    ExprPtr s(vexa_abs_term(fx.get(), 1));
    ExprPtr t(vexa_relu_term(fy.get(), 2));
    vexa_expr_iadd_expr(s.get(), t.get());
    EXPECT_TRUE(vexa_expr_all_objective_only(s.get()));
    // A negative weight stays declared: a shape is a cost, its weight may reward.
    ExprPtr neg(vexa_expr_clone_mul_int(s.get(), In(-3).get()));
    EXPECT_TRUE(vexa_expr_is_declared(neg.get()));
    for (const auto &item : items_of(neg.get())) EXPECT_EQ(item.second, -3);
    ExprPtr zero(vexa_expr_clone_mul_int(s.get(), In(0).get()));
    EXPECT_EQ(vexa_expr_attr(zero.get()), vexa::kPlainAttr);

    ExprPtr c(vexa_cons_between(fx.get(), In(0).get(), In(1).get()));
    vexa_expr_iadd_expr(s.get(), c.get());
    EXPECT_FALSE(vexa_expr_all_objective_only(s.get()));
    EXPECT_DEATH(vexa_expr_imul_int(s.get(), In(0).get()),
                 "^vexa: vexa::cons: multiplying declared constraints by 0 would silently drop them\n$");
    EXPECT_DEATH(vexa_expr_expand_cons(t.get()),
                 "^vexa: expand_cons: vexa::abs/relu terms have no classic penalty form \\(\\|f\\|\\^k is not a "
                 "polynomial\\)\n$");
}

// Shapes cost weight * D^k on every assignment, in the model's energy and in
// the expression's evaluation, and never count as violations.
TEST_F(Shapes, CostOnEveryAssignment) {
    // body 3x - 2y + z - 1 ranges over [-3, 3]
    ExprPtr body(vexa_expr_create_var(x));
    vexa_expr_imul_int(body.get(), In(3).get());
    const In minus2(-2);
    const uint32_t yv[1] = {y};
    vexa_expr_iadd_raw_term(body.get(), minus2.get(), yv, 1);
    vexa_expr_iadd_var(body.get(), z);
    vexa_expr_isub_int(body.get(), In(1).get());
    for (uint32_t k = 1; k <= 2; ++k) {
        for (int relu = 0; relu <= 1; ++relu) {
            ExprPtr shape(relu ? vexa_relu_term(body.get(), k) : vexa_abs_term(body.get(), k));
            vexa_expr_imul_int(shape.get(), In(5).get());
            ModelPtr m(vexa_model_create(shape.get()));
            ASSERT_EQ(vexa_model_var_count(m.get()), 3u);
            for (int bits = 0; bits < 8; ++bits) {
                SolPtr s(vexa_sol_create(m.get()));
                vexa_sol_set(s.get(), x, bits & 1);
                vexa_sol_set(s.get(), y, (bits >> 1) & 1);
                vexa_sol_set(s.get(), z, (bits >> 2) & 1);
                const int b = 3 * (bits & 1) - 2 * ((bits >> 1) & 1) + ((bits >> 2) & 1) - 1;
                int d = relu ? std::max(b, 0) : std::abs(b);
                const coeff_t cost = 5 * (k == 2 ? d * d : d);
                EXPECT_EQ(sol_energy(s.get()), cost) << "k " << k << " relu " << relu << " bits " << bits;
                Out v;
                vexa_sol_eval_expr(s.get(), shape.get(), &v);
                EXPECT_EQ(v.value(), cost);
                EXPECT_EQ(vexa_cons_violation_count(shape.get(), s.get()), 0u);
            }
        }
    }
}

}  // namespace
