// Model construction: layout, numbering, native constraints, validation.
#include <gtest/gtest.h>

#include "expr/simplify.hpp"
#include "support/model_util.hpp"
#include "vexa/var.h"

using namespace vexa;
using namespace vexa::test;

namespace {

class ModelBuild : public ::testing::Test {
protected:
    void SetUp() override { vexa_var_reset(); }
    std::vector<uint32_t> new_vars(int n) {
        std::vector<uint32_t> v;
        for (int i = 0; i < n; ++i) v.push_back(vexa_new_var(nullptr));
        return v;
    }
};

ExprImpl *binary_form(const ExprImpl *e) { return vexa_expr_simplify_as_binary(e); }

// The flat arrays, read back through the interface, must hold the terms of
// the expression degree by degree in the expression's order, in dense words.
TEST_F(ModelBuild, FlatArraysReproduceTheExpression) {
    for (uint64_t seed = 1; seed <= 25; ++seed) {
        vexa_var_reset();
        std::mt19937_64 rng(seed);
        const uint32_t n = 2 + rng() % 60;
        new_vars(static_cast<int>(n));
        const uint64_t terms = seed == 25 ? 30'000 : rng() % 200;
        ExprPtr e(random_expr(rng, {.terms = terms, .nvars = n, .max_bits = 200}));
        ExprPtr s(binary_form(e.get()));
        ModelPtr m(vexa_model_create(s.get()));
        const ModelImpl &model = *m->ref;
        // dense numbering: ascending variable index, exact inverse
        for (uint64_t i = 0; i + 1 < model.vars.size(); ++i) ASSERT_LT(model.vars[i], model.vars[i + 1]);
        for (uint64_t i = 0; i < model.vars.size(); ++i) ASSERT_EQ(model.index_map[model.vars[i]], i);
        uint64_t mapped = 0;
        for (uint32_t v = 0; v < model.index_map.size(); ++v) {
            if (model.index_map[v] != kNoIndex) ++mapped;
            ASSERT_EQ(vexa_model_has(m.get(), v), model.index_map[v] != kNoIndex ? 1 : 0);
        }
        EXPECT_EQ(mapped, model.vars.size());
        // terms, degree by degree
        uint64_t next[2] = {0, 0};
        for (uint64_t i = 0; i < vexa_expr_term_count(s.get()); ++i) {
            const TermImpl *t = vexa_expr_term_at(s.get(), i);
            const uint32_t d = vexa_term_degree(t);
            const uint64_t k = next[d - 1]++;
            Out c;
            vexa_model_coeff_at(m.get(), d, k, &c);
            ASSERT_EQ(c.value(), t->coeff) << "seed " << seed;
            const uint32_t *words = vexa_model_term_vars(m.get(), d) + k * d;
            for (uint32_t j = 0; j < d; ++j) ASSERT_EQ(model.vars[words[j]], t->vars.slot[j]);
        }
        for (uint32_t d = 1; d <= vexa_model_max_degree(m.get()); ++d) {
            EXPECT_EQ(vexa_model_term_count(m.get(), d), next[d - 1]);
        }
        Out c;
        vexa_model_constant(m.get(), &c);
        EXPECT_EQ(c.value(), constant_of(s.get()));
    }
}

TEST_F(ModelBuild, ConstantExpressionHasNoVariablesAtAll) {
    new_vars(3);
    ExprPtr e(vexa_expr_create_int(In(5).get()));
    ModelPtr m(vexa_model_create(e.get()));
    EXPECT_EQ(vexa_model_max_degree(m.get()), 0u);
    EXPECT_EQ(vexa_model_var_count(m.get()), 0u);
    EXPECT_TRUE(m->ref->index_map.empty());
    EXPECT_EQ(vexa_model_has(m.get(), 0), 0);
    EXPECT_EQ(vexa_model_term_vars(m.get(), 0), nullptr);
    EXPECT_EQ(vexa_model_term_count(m.get(), 0), 0u);
    // a zero head with an empty tail is the same
    ExprPtr z(vexa_expr_create());
    TermPtr zero(vexa_term_create_var(In(0).get(), 1));
    vexa_expr_iadd_term(z.get(), zero.get());
    ModelPtr mz(vexa_model_create(z.get()));
    EXPECT_EQ(vexa_model_max_degree(mz.get()), 0u);
}

TEST_F(ModelBuild, SingleQuadraticHeadAndSparseNumbering) {
    const auto v = new_vars(8);
    ExprPtr e(vexa_expr_create());
    const uint32_t pair[2] = {v[3], v[7]};
    vexa_expr_iadd_raw_term(e.get(), In(2).get(), pair, 2);
    ModelPtr m(vexa_model_create(e.get()));
    EXPECT_EQ(vexa_model_max_degree(m.get()), 2u);
    EXPECT_EQ(vexa_model_term_count(m.get(), 1), 0u);
    EXPECT_EQ(vexa_model_term_count(m.get(), 2), 1u);
    ASSERT_EQ(vexa_model_var_count(m.get()), 2u);
    EXPECT_EQ(vexa_model_var(m.get(), 0), v[3]);
    EXPECT_EQ(vexa_model_var(m.get(), 1), v[7]);
    EXPECT_EQ(vexa_model_var_index(m.get(), v[7]), 1u);
    EXPECT_EQ(vexa_model_var_index(m.get(), v[7] | 0x80000000u), 1u);
    EXPECT_EQ(vexa_model_var_index(m.get(), v[4]), kNoIndex);
    const uint32_t later = vexa_new_var("later");
    EXPECT_EQ(vexa_model_var_index(m.get(), later), kNoIndex);  // beyond the map
    EXPECT_EQ(vexa_model_has(m.get(), v[3] | 0x80000000u), 1);
}

TEST_F(ModelBuild, IntegerAtomsGetTheirOwnDenseIndexAndSquaresPass) {
    const auto v = new_vars(2);
    const uint32_t a = vexa_new_int_var("a", In(-2).get(), In(3).get());
    const uint32_t b = vexa_new_int_var("b", In(0).get(), In(7).get());
    (void)a;
    ExprPtr e(vexa_expr_create());
    const uint32_t sq[2] = {b, b};
    vexa_expr_iadd_raw_term(e.get(), In(1).get(), sq, 2);
    const uint32_t mixed[2] = {v[1], b};
    vexa_expr_iadd_raw_term(e.get(), In(-3).get(), mixed, 2);
    ExprPtr s(binary_form(e.get()));
    ModelPtr m(vexa_model_create(s.get()));
    ASSERT_EQ(vexa_model_int_var_count(m.get()), 1u);
    EXPECT_EQ(vexa_model_int_var_orig(m.get(), 0), b);
    Out lo, hi;
    vexa_model_int_var_bounds(m.get(), 0, &lo, &hi);
    EXPECT_EQ(lo.value(), 0);
    EXPECT_EQ(hi.value(), 7);
    const ModelImpl &model = *m->ref;
    EXPECT_EQ(model.int_index_map.size(), 2u);
    EXPECT_EQ(model.int_index_map[0], kNoIndex);
    EXPECT_EQ(model.int_index_map[1], 0u);
    // dense words of integer atoms carry bit 30 and the dense integer index
    const uint32_t *words = vexa_model_term_vars(m.get(), 2);
    EXPECT_EQ(words[0], 0u);           // v[1] is dense variable 0
    EXPECT_EQ(words[1], 0x40000000u);  // b
    EXPECT_EQ(words[2], 0x40000000u);
    EXPECT_EQ(words[3], 0x40000000u);
}

TEST_F(ModelBuild, NativeConstraintsLinearFirstWithTheirFields) {
    const auto v = new_vars(4);
    ExprPtr lin(vexa_expr_create());
    vexa_expr_iadd_var(lin.get(), v[0]);
    TermPtr t2(vexa_term_create_var(In(3).get(), v[3]));
    vexa_expr_iadd_term(lin.get(), t2.get());
    vexa_expr_iadd_int(lin.get(), In(-1).get());
    ExprPtr quad(vexa_expr_create());
    const uint32_t p[2] = {v[1], v[2]};
    vexa_expr_iadd_raw_term(quad.get(), In(2).get(), p, 2);
    vexa_expr_iadd_var(quad.get(), v[2]);
    ExprPtr objective(vexa_expr_create_var(v[0]));
    objective->attr = declared_sum_word({{quad.get(), 0, 1, 5}, {lin.get(), 1, 2, -3, {{1, 1}, {4, 6}}}});
    ModelPtr m(vexa_model_create(objective.get()));
    ASSERT_EQ(vexa_model_native_cons_count(m.get()), 2u);
    const NativeConstraint &first = m->ref->native_constraints[0];
    EXPECT_EQ(first.weight, -3);
    EXPECT_EQ(first.body_constant, -1);
    EXPECT_EQ(first.lower, 1);  // set_allowed widened the bounds to the set's ends
    EXPECT_EQ(first.upper, 6);
    EXPECT_EQ(first.allowed.size(), 2u);
    EXPECT_EQ(first.vars.size(), 2u);
    const NativeConstraint &second = m->ref->native_constraints[1];
    EXPECT_EQ(second.weight, 5);
    EXPECT_EQ(second.quad_head, (std::vector<uint64_t>{0, 2}));
    EXPECT_EQ(second.quad_coeffs.size(), 1u);
    EXPECT_EQ(second.vars.size(), 1u);
    // variables only in constraints still get dense indices
    EXPECT_EQ(vexa_model_var_count(m.get()), 4u);
    EXPECT_EQ(vexa_model_has_penalty_shapes(m.get()), 0);
    uint32_t exponent = 0, hinge = 9;
    vexa_model_native_cons_shape(m.get(), 1, &exponent, &hinge);
    EXPECT_EQ(exponent, 2u);
    EXPECT_EQ(hinge, 0u);
}

TEST_F(ModelBuild, RemainderJoinsTheFlatArraysAndKeepsItsOwnRows) {
    const auto v = new_vars(3);
    ExprPtr rem(vexa_expr_create_int(In(1).get()));
    const uint32_t p[2] = {v[0], v[1]};
    vexa_expr_iadd_raw_term(rem.get(), In(4).get(), p, 2);
    vexa_expr_iadd_var(rem.get(), v[2] | 0x80000000u);  // ~z = 1 - z
    ExprPtr objective(vexa_expr_create_var(v[2]));
    objective->attr = declared_sum_word({}, rem.get());
    ModelPtr m(vexa_model_create(objective.get()));
    EXPECT_EQ(vexa_model_has_remainder(m.get()), 1);
    Out c;
    uint64_t nterms = 0;
    vexa_model_remainder_info(m.get(), &c, &nterms);
    EXPECT_EQ(c.value(), 2);  // 1 + (1 - z)
    EXPECT_EQ(nterms, 2u);
    const uint64_t *head = vexa_model_remainder_head(m.get());
    EXPECT_EQ(head[0], 0u);
    EXPECT_EQ(head[1], 1u);
    EXPECT_EQ(head[2], 3u);
    // objective z plus remainder 2 - z + 4xy: the z terms cancel in the flat arrays
    Out mc;
    vexa_model_constant(m.get(), &mc);
    EXPECT_EQ(mc.value(), 2);
    EXPECT_EQ(vexa_model_term_count(m.get(), 1), 0u);
    EXPECT_EQ(vexa_model_term_count(m.get(), 2), 1u);
    EXPECT_EQ(vexa_model_var_count(m.get()), 3u);  // z stays in the model through the remainder
}

TEST_F(ModelBuild, ScaleArgumentHasNoEffect) {
    new_vars(1);
    ExprPtr e(vexa_expr_create_var(0));
    ModelPtr m(vexa_model_create_scaled(e.get(), 4.0));
    EXPECT_EQ(vexa_model_scale(m.get()), 1.0);
}

TEST_F(ModelBuild, ThreadCountDoesNotChangeTheModel) {
    new_vars(20'000);
    std::mt19937_64 rng(17);
    ExprPtr e(random_expr(rng, {.terms = 40'000, .nvars = 20'000, .max_bits = 100}));
    ExprPtr s(binary_form(e.get()));
    auto snapshot = [&](uint32_t threads) {
        ThreadScope scope(threads);
        ModelPtr m(vexa_model_create(s.get()));
        const ModelImpl &model = *m->ref;
        std::vector<uint64_t> out(model.vars.begin(), model.vars.end());
        for (uint32_t d = 0; d < model.max_degree; ++d) {
            out.insert(out.end(), model.term_vars[d].begin(), model.term_vars[d].end());
            for (const coeff_t &c : model.term_coeffs[d]) out.push_back(static_cast<uint64_t>(c & 0xFFFFFFFF));
        }
        return out;
    };
    EXPECT_EQ(snapshot(1), snapshot(8));
}

TEST_F(ModelBuild, ProfileLinesGoToStandardError) {
    new_vars(2);
    ExprPtr e(vexa_expr_create_add_var_var(0, 1));
    setenv("VEXA_MODEL_PROFILE", "1", 1);
    testing::internal::CaptureStderr();
    ModelPtr m(vexa_model_create(e.get()));
    const std::string err = testing::internal::GetCapturedStderr();
    unsetenv("VEXA_MODEL_PROFILE");
    EXPECT_NE(err.find("  [Model] Phase 1a (parallel count + validate + var_flags): "), std::string::npos);
    EXPECT_NE(err.find("  [Model] Phase 3 (parallel remap): "), std::string::npos);
    testing::internal::CaptureStderr();
    ModelPtr quiet(vexa_model_create(e.get()));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

using ModelBuildDeath = ModelBuild;

TEST_F(ModelBuildDeath, ExpressionsNotInBinaryFormAreRefusedOnce) {
    const auto v = new_vars(3);
    ExprPtr neg(vexa_expr_create_var(v[0] | 0x80000000u));
    EXPECT_DEATH(vexa_model_create(neg.get()),
                 "^vexa: Model: expression not simplified as binary \\(negated literal in degree 1-2 term\\)\\. "
                 "Call simplify_as_binary\\(\\) first\\.\n$");
    ExprPtr unsorted(vexa_expr_create());
    const uint32_t yx[2] = {v[1], v[0]};
    vexa_expr_iadd_raw_term(unsorted.get(), In(1).get(), yx, 2);
    EXPECT_DEATH(vexa_model_create(unsorted.get()),
                 "^vexa: Model: expression not simplified as binary \\(unsorted/duplicate vars\\)\\. Call "
                 "simplify_as_binary\\(\\) first\\.\n$");
    ExprPtr square(vexa_expr_create());
    const uint32_t xx[2] = {v[0], v[0]};
    vexa_expr_iadd_raw_term(square.get(), In(1).get(), xx, 2);
    EXPECT_DEATH(vexa_model_create(square.get()), "unsorted/duplicate vars");
    ExprPtr unknown(vexa_expr_create_var(0x40000000u | 12));
    EXPECT_DEATH(vexa_model_create(unknown.get()), "^vexa: Model: unknown integer variable index\\.\n$");
    // many bad terms in a long expression: one message
    ExprPtr many(vexa_expr_create());
    for (int i = 0; i < 30'000; ++i) vexa_expr_iadd_var(many.get(), v[i % 3] | 0x80000000u);
    EXPECT_DEATH(vexa_model_create(many.get()), "^vexa: Model: expression not simplified as binary \\(negated "
                                                "literal in degree 1-2 term\\)\\. Call simplify_as_binary\\(\\) "
                                                "first\\.\n$");
}

TEST_F(ModelBuildDeath, ConstraintBodyRules) {
    const auto v = new_vars(3);
    ExprPtr objective(vexa_expr_create());
    ExprPtr negated(vexa_expr_create_var(v[0] | 0x80000000u));
    objective->attr = declared_sum_word({{negated.get(), 0, 1, 1}});
    EXPECT_DEATH(vexa_model_create(objective.get()),
                 "^vexa: Model: constraint body not simplified as binary \\(negated literal in degree 1-2 term\\)\\. "
                 "Call simplify_as_binary\\(\\) on the model expression first\\.\n$");
    ExprPtr dup(vexa_expr_create_add_var_var(v[1], v[1]));
    objective->attr = declared_sum_word({{dup.get(), 0, 1, 1}});
    EXPECT_DEATH(vexa_model_create(objective.get()),
                 "^vexa: Model: constraint body not simplified as binary \\(duplicate variable across terms\\)\\. "
                 "Call simplify_as_binary\\(\\) on the model expression first\\.\n$");
    ExprPtr quad(vexa_expr_create());
    const uint32_t p[2] = {v[0], v[1]};
    vexa_expr_iadd_raw_term(quad.get(), In(1).get(), p, 2);
    objective->attr = declared_sum_word({{quad.get(), 0, 1, 1, {}, 1}});
    EXPECT_DEATH(vexa_model_create(objective.get()),
                 "^vexa: vexa::abs/relu: nonlinear bodies are not supported yet \\(the body must be linear\\)\n$");
    ExprPtr body(vexa_expr_create_var(v[2]));
    const uint32_t id = add_exprexpr(std::make_unique<ExprImpl>(ExprImpl::plain_copy(*body)));
    objective->attr = kSumTag | add_sum({SumItem{id, 1}}, nullptr, true);
    EXPECT_DEATH(vexa_model_create(objective.get()), "^vexa: Model: constraint carries no bounds\n$");
    ExprPtr with_constant_term(vexa_expr_create_var(v[0]));
    vexa_expr_iadd_raw_term(with_constant_term.get(), In(2).get(), nullptr, 0);
    objective->attr = declared_sum_word({{with_constant_term.get(), 0, 1, 1}});
    EXPECT_DEATH(vexa_model_create(objective.get()),
                 "^vexa: Model: native constraints require a linear body \\(degree >= 2 term found\\)\n$");
}

TEST_F(ModelBuildDeath, IntegerAtomsInTheRemainderAreRefused) {
    new_vars(1);
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(3).get());
    ExprPtr rem(vexa_expr_create_var(n));
    ExprPtr objective(vexa_expr_create_var(0));
    objective->attr = declared_sum_word({}, rem.get());
    EXPECT_DEATH(vexa_model_create(objective.get()),
                 "^vexa: Model: native integer variables \\(int_var\\) in a free-form penalty remainder are not "
                 "supported yet\\.\n$");
}

}  // namespace
