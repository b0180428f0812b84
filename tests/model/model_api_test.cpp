// Readers and evaluation through the Model handle.
#include <gtest/gtest.h>

#include "support/model_util.hpp"
#include "vexa/var.h"
#include "support/var_fixture.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

class ModelApi : public test::ThreeVars {};

TEST_F(ModelApi, CloneSharesAndDestroyKeepsOthersAlive) {
    ExprPtr e(vexa_expr_create_add_var_var(x, y));
    Model *m = vexa_model_create(e.get());
    Model *c = vexa_model_clone(m);
    EXPECT_EQ(m->ref.get(), c->ref.get());
    EXPECT_EQ(m->ref.use_count(), 2);
    vexa_model_destroy(m);
    EXPECT_EQ(vexa_model_var_count(c), 2u);
    vexa_model_destroy(c);
    vexa_model_destroy(nullptr);
}

TEST_F(ModelApi, EvalReadsThePackedBitsOfThePolynomialOnly) {
    ExprPtr e(vexa_expr_create_int(In(10).get()));
    TermPtr t(vexa_term_create_var(In(test::pow2(150)).get(), x));
    vexa_expr_iadd_term(e.get(), t.get());
    const uint32_t p[2] = {y, z};
    vexa_expr_iadd_raw_term(e.get(), In(-7).get(), p, 2);
    ExprPtr body(vexa_expr_create_var(x));
    e->attr = declared_sum_word({{body.get(), 0, 0, 1000}});
    ModelPtr m(vexa_model_create(e.get()));
    const uint64_t all[1] = {0b111};
    Out out;
    vexa_model_eval(m.get(), all, &out);
    EXPECT_EQ(out.value(), 10 + test::pow2(150) - 7);  // the violated constraint is not counted here
    const uint64_t none[1] = {0};
    vexa_model_eval(m.get(), none, &out);
    EXPECT_EQ(out.value(), 10);
}

TEST_F(ModelApi, EvalWithModelDropsTermsOfUnknownVariables) {
    ExprPtr model_expr(vexa_expr_create_add_var_var(x, y));
    ModelPtr m(vexa_model_create(model_expr.get()));
    const uint64_t bits[1] = {0b01};  // x = 1, y = 0
    ExprPtr e(vexa_expr_create_int(In(5).get()));
    vexa_expr_iadd_var(e.get(), x);
    vexa_expr_iadd_var(e.get(), y | 0x80000000u);  // ~y = 1
    vexa_expr_iadd_var(e.get(), z | 0x80000000u);  // z unknown to the model: the term vanishes
    Out out;
    vexa_expr_eval_with_model(e.get(), m.get(), bits, &out);
    EXPECT_EQ(out.value(), 7);
}

TEST_F(ModelApi, NegatedLiteralsInTheFlatArraysAreReported) {
    ExprPtr e(vexa_expr_create_add_var_var(x, y));
    ModelPtr m(vexa_model_create(e.get()));
    EXPECT_EQ(vexa_model_has_negated_literals(m.get()), 0);
}

TEST_F(ModelApi, ShapesAreReportedPerConstraint) {
    ExprPtr body(vexa_expr_create_var(x));
    ExprPtr e(vexa_expr_create());
    e->attr = declared_sum_word({{body.get(), 0, 0, 1, {}, 1}});
    ModelPtr m(vexa_model_create(e.get()));
    EXPECT_EQ(vexa_model_has_penalty_shapes(m.get()), 1);
    uint32_t exponent = 0, hinge = 0;
    vexa_model_native_cons_shape(m.get(), 0, &exponent, &hinge);
    EXPECT_EQ(exponent, 1u);
    EXPECT_EQ(hinge, 1u);
    Out lo, hi, bc, w;
    vexa_model_native_cons_bounds(m.get(), 0, &lo, &hi, &bc, &w);
    EXPECT_EQ(w.value(), 1);
    EXPECT_EQ(hi.value(), 0);
}

using ModelApiDeath = ModelApi;

TEST_F(ModelApiDeath, OutOfRangeAndUnsupportedReadsAbort) {
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(4).get());
    ExprPtr e(vexa_expr_create_add_var_var(x, n));
    ModelPtr m(vexa_model_create(e.get()));
    Out lo, hi;
    EXPECT_DEATH(vexa_model_int_var_orig(m.get(), 1), "^vexa: vexa_model_int_var_orig: index out of range\n$");
    EXPECT_DEATH(vexa_model_int_var_bounds(m.get(), 5, &lo, &hi),
                 "^vexa: vexa_model_int_var_bounds: index out of range\n$");
    const uint64_t bits[1] = {0};
    EXPECT_DEATH(vexa_model_eval(m.get(), bits, &lo),
                 "^vexa: Model eval: native integer variables \\(int_var\\) are not supported yet\\.\n$");
    EXPECT_DEATH(vexa_expr_eval_with_model(e.get(), m.get(), bits, &lo),
                 "^vexa: eval_with_model: native integer variables \\(int_var\\) are not supported yet \\(bit "
                 "assignments cannot value integer atoms\\)\\.\n$");
    ExprPtr body(vexa_expr_create_var(x));
    ExprPtr declared_expr(vexa_expr_create());
    declared_expr->attr = declared_sum_word({{body.get(), 0, 1, 1}});
    EXPECT_DEATH(vexa_expr_eval_with_model(declared_expr.get(), m.get(), bits, &lo),
                 "^vexa: vexa::cons: 'eval_with_model \\(evaluate against a Sol instead\\)' is not allowed on an "
                 "expression with declared constraints\n$");
}

TEST_F(ModelApiDeath, LinearOnlyCallersAreToldWhatTheyCannotRead) {
    ExprPtr quad(vexa_expr_create());
    const uint32_t p[2] = {x, y};
    vexa_expr_iadd_raw_term(quad.get(), In(1).get(), p, 2);
    ExprPtr lin(vexa_expr_create_var(z));
    ExprPtr e(vexa_expr_create());
    e->attr = declared_sum_word({{quad.get(), 0, 1, 1}, {lin.get(), 0, 1, 1, {{0, 0}, {1, 1}}}});
    ModelPtr m(vexa_model_create(e.get()));
    EXPECT_DEATH(vexa_model_native_cons_nterms(m.get(), 1),
                 "^vexa: MIP/ILP solvers do not support nonlinear \\(degree>=2\\) constraint bodies inside "
                 "cons\\(\\)\\. Call expand_cons\\(\\) on the expression to get the classic penalty form, or use a "
                 "bundled heuristic solver \\(NimbaSolver/ExhaustiveSolver/TessixSolver\\)\\.\n$");
    EXPECT_DEATH(vexa_model_native_cons_nterms(m.get(), 0),
                 "^vexa: MIP/ILP solvers do not support allowed-value set constraints \\(equal\\{\\.\\.\\.\\}\\) "
                 "inside cons\\(\\)\\. Use a bundled heuristic solver "
                 "\\(NimbaSolver/ExhaustiveSolver/TessixSolver\\)\\.\n$");
}

}  // namespace
