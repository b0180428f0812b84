#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "support/expr_util.hpp"
#include "vexa/var.h"
#include "support/var_fixture.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

class Exprs : public test::ThreeVars {};

TEST_F(Exprs, FreshAndConstantExpressionsHaveNoTerms) {
    ExprPtr e(vexa_expr_create());
    EXPECT_EQ(vexa_expr_term_count(e.get()), 0u);
    EXPECT_EQ(vexa_expr_attr(e.get()), 0xFFFFFFFFu);
    EXPECT_STREQ(vexa_expr_str(e.get()), "0");
    ExprPtr c(vexa_expr_create_int(In(7).get()));
    EXPECT_EQ(vexa_expr_term_count(c.get()), 0u);
    EXPECT_EQ(constant_of(c.get()), 7);
    EXPECT_STREQ(vexa_expr_str(c.get()), "7");
    EXPECT_EQ(vexa_expr_max_degree(c.get()), 0u);
}

TEST_F(Exprs, ZeroTermLandsInTheHeadAndIsReplacedByTheNext) {
    ExprPtr e(vexa_expr_create());
    TermPtr zero(vexa_term_create_var(In(0).get(), x));
    vexa_expr_iadd_term(e.get(), zero.get());
    EXPECT_EQ(vexa_expr_term_count(e.get()), 0u);
    vexa_expr_iadd_var(e.get(), y);
    EXPECT_EQ(vexa_expr_term_count(e.get()), 1u);
    EXPECT_EQ(e->head.vars.slot[0], y);
    EXPECT_EQ(e->size, 0u);
    vexa_expr_iadd_term(e.get(), zero.get());  // behind a nonzero head a zero term counts
    EXPECT_EQ(vexa_expr_term_count(e.get()), 2u);
    EXPECT_STREQ(vexa_expr_str(e.get()), "y +0*x");
}

TEST_F(Exprs, BulkTermsGoToTheTailEvenWithAnEmptyHead) {
    In c0(3), c1(-2), c2(test::pow2(100));
    const vexa_bigint coeffs[3] = {*c0.get(), *c1.get(), *c2.get()};
    const uint32_t counts[3] = {1, 2, 0};
    const uint32_t vars[3] = {x, x, y};
    ExprPtr e(vexa_expr_create_from_bulk(In(5).get(), 3, coeffs, counts, vars));
    EXPECT_EQ(vexa_expr_term_count(e.get()), 3u);
    EXPECT_FALSE(e->has_head());
    EXPECT_EQ(vexa_expr_term_at(e.get(), 0)->vars.slot[0], x);
    EXPECT_EQ(vexa_expr_term_count_degree(e.get(), 2), 1u);
    EXPECT_EQ(vexa_expr_term_count_degree(e.get(), 0), 1u);
    EXPECT_EQ(e->capacity, 3u);  // one exact allocation
    Out coeff;
    uint64_t packed = 0, spare = 99;
    vexa_expr_term_at_data(e.get(), 1, &coeff, &packed, &spare);
    EXPECT_EQ(coeff.value(), -2);
    EXPECT_EQ(packed, uint64_t(x) | (uint64_t(y) << 32));
    EXPECT_EQ(spare, 0u);
    EXPECT_EQ(constant_of(e.get()), 5);
    vexa_expr_iadd_terms_bulk(e.get(), In(1).get(), 0, nullptr, nullptr, nullptr);
    EXPECT_EQ(constant_of(e.get()), 6);
}

// A bulk big enough to be built by several threads: each term still gets the
// variables that follow those of the terms before it.
TEST_F(Exprs, LargeBulksPairEveryTermWithItsOwnVariables) {
    const uint64_t n = 50001;
    std::vector<In> values;
    std::vector<vexa_bigint> coeffs;
    std::vector<uint32_t> counts, vars;
    const uint32_t pool[3] = {x, y, z};
    for (uint64_t i = 0; i < n; ++i) counts.push_back(static_cast<uint32_t>((i * 7 + i / 3) % 3));
    values.reserve(n);
    for (uint64_t i = 0; i < n; ++i) {
        values.emplace_back(static_cast<long long>(i) - 25000);
        coeffs.push_back(*values.back().get());
        for (uint32_t k = 0; k < counts[i]; ++k) vars.push_back(pool[(i + k) % 3]);
    }
    ExprPtr e(vexa_expr_create_from_bulk(In(0).get(), n, coeffs.data(), counts.data(), vars.data()));
    ASSERT_EQ(vexa_expr_term_count(e.get()), n);
    for (uint64_t i = 0; i < n; ++i) {
        const TermImpl *t = vexa_expr_term_at(e.get(), i);
        ASSERT_EQ(t->vars.degree(), counts[i]) << i;
        for (uint32_t k = 0; k < counts[i]; ++k) {
            // a product keeps its variables in order, so compare as sets of two
            const uint32_t want = pool[(i + k) % 3];
            const bool found = t->vars.slot[0] == want || (counts[i] == 2 && t->vars.slot[1] == want);
            ASSERT_TRUE(found) << "term " << i;
        }
        Out coeff;
        uint64_t packed = 0, spare = 0;
        vexa_expr_term_at_data(e.get(), i, &coeff, &packed, &spare);
        ASSERT_EQ(coeff.value(), static_cast<long long>(i) - 25000) << i;
    }
}

TEST_F(Exprs, BulkWithTooManyLiteralsThrowsAndKeepsTheSize) {
    ExprPtr e(vexa_expr_create_var(x));
    In big(test::pow2(200));
    const vexa_bigint coeffs[2] = {*big.get(), *big.get()};
    const uint32_t counts[2] = {1, 3};
    const uint32_t vars[4] = {x, x, y, z};
    EXPECT_THROW(vexa_expr_iadd_terms_bulk(e.get(), In(0).get(), 2, coeffs, counts, vars), std::runtime_error);
    EXPECT_EQ(vexa_expr_term_count(e.get()), 1u);
}

TEST_F(Exprs, RawTermOfThreeLiteralsThrowsAndReleasesThePartialExpression) {
    const uint32_t vars[3] = {x, y, z};
    EXPECT_THROW(vexa_expr_create_raw_term(In(test::pow2(90)).get(), vars, 3, In(1).get()), std::runtime_error);
    ExprPtr e(vexa_expr_create_var(x));
    EXPECT_THROW(vexa_expr_iadd_raw_term(e.get(), In(1).get(), vars, 3), std::runtime_error);
    EXPECT_EQ(vexa_expr_term_count(e.get()), 1u);
}

TEST_F(Exprs, CreateTermStealsOrCopies) {
    TermImpl *t = vexa_term_create_var(In(test::pow2(80)).get(), x);
    ExprPtr copy(vexa_expr_create_term(t, 0));
    Out out;
    vexa_term_coeff(t, &out);
    EXPECT_EQ(out.value(), test::pow2(80));  // t still valid and unchanged
    ExprPtr stolen(vexa_expr_create_term(t, 1));  // t released here
    EXPECT_EQ(flat(copy.get()), flat(stolen.get()));
}

TEST_F(Exprs, MoveAndPairFormsConsumeTheirOperands) {
    TermImpl *a = vexa_term_create_var(In(2).get(), x);
    TermImpl *b = vexa_term_create_var(In(3).get(), y);
    ExprPtr mm(vexa_expr_create_add_term_term_mm(a, b));  // both consumed
    EXPECT_STREQ(vexa_expr_str(mm.get()), "2*x +3*y");
    TermImpl *c = vexa_term_create_var(In(4).get(), x);
    TermPtr d(vexa_term_create_var(In(-1).get(), z));
    ExprPtr ml(vexa_expr_create_add_term_term_ml(c, d.get()));
    EXPECT_STREQ(vexa_expr_str(ml.get()), "4*x -z");
    EXPECT_STREQ(vexa_term_str(d.get()), "-z");
    ExprPtr sub(vexa_expr_create_sub_term_term(d.get(), d.get()));
    EXPECT_STREQ(vexa_expr_str(sub.get()), "-z +z");
    TermImpl *m = vexa_term_create_var(In(1).get(), y);
    vexa_expr_iadd_term_move(ml.get(), m);
    EXPECT_STREQ(vexa_expr_str(ml.get()), "4*x -z +y");
    void *spare = std::malloc(16);
    ExprPtr moved(vexa_expr_create_move_term(In(-5).get(), uint64_t(x) | (uint64_t(y) << 32), spare, In(1).get()));
    EXPECT_STREQ(vexa_expr_str(moved.get()), "1 -5*x*y");
    vexa_expr_isub_move_term(moved.get(), In(2).get(), uint64_t(z) | 0xFFFFFFFF00000000ull, std::malloc(8));
    vexa_expr_iadd_move_term(moved.get(), In(2).get(), uint64_t(x) | 0xFFFFFFFF00000000ull, nullptr);
    EXPECT_STREQ(vexa_expr_str(moved.get()), "1 -5*x*y -2*z +2*x");
}

TEST_F(Exprs, CreateFamilyBuildsWhatItNames) {
    TermPtr t(vexa_term_create_var(In(3).get(), x));
    const struct {
        ExprImpl *e;
        const char *text;
    } cases[] = {
        {vexa_expr_create_var(x), "x"},
        {vexa_expr_create_add_var_var(x, y), "x +y"},
        {vexa_expr_create_add_term_var(t.get(), y), "3*x +y"},
        {vexa_expr_create_add_var_int(x, In(-4).get()), "-4 +x"},
        {vexa_expr_create_sub_int_var(In(4).get(), x), "4 -x"},
        {vexa_expr_create_add_term_int(t.get(), In(1).get()), "1 +3*x"},
        {vexa_expr_create_sub_int_term(In(1).get(), t.get()), "1 -3*x"},
        {vexa_expr_create_add_term_term(t.get(), t.get()), "3*x +3*x"},
    };
    for (const auto &c : cases) {
        EXPECT_STREQ(vexa_expr_str(c.e), c.text);
        vexa_expr_destroy(c.e);
    }
    const uint32_t v0[2] = {x, y};
    const uint32_t v1[1] = {z | 0x80000000u};
    ExprPtr raw(vexa_expr_create_add_raw_terms(In(2).get(), v0, 2, In(-1).get(), v1, 1));
    EXPECT_STREQ(vexa_expr_str(raw.get()), "2*x*y -~z");
}

TEST_F(Exprs, InPlaceAdditionAndSubtraction) {
    ExprPtr e(vexa_expr_create());
    TermPtr t(vexa_term_create_var_var(In(2).get(), x, y));
    vexa_expr_iadd_int(e.get(), In(3).get());
    vexa_expr_isub_int(e.get(), In(1).get());
    vexa_expr_iadd_var(e.get(), x);
    vexa_expr_isub_var(e.get(), y);
    vexa_expr_iadd_term(e.get(), t.get());
    vexa_expr_isub_term(e.get(), t.get());
    const uint32_t v[1] = {z};
    vexa_expr_isub_raw_term(e.get(), In(7).get(), v, 1);
    EXPECT_STREQ(vexa_expr_str(e.get()), "2 +x -y +2*x*y -2*x*y -7*z");
}

TEST_F(Exprs, AddingAnExpressionToItselfDoubles) {
    ExprPtr e(vexa_expr_create_add_var_int(x, In(1).get()));
    vexa_expr_iadd_expr(e.get(), e.get());
    EXPECT_EQ(constant_of(e.get()), 2);
    EXPECT_EQ(vexa_expr_term_count(e.get()), 2u);
    ExprPtr f(vexa_expr_create_add_var_int(x, In(1).get()));
    vexa_expr_isub_expr(f.get(), f.get());
    EXPECT_STREQ(vexa_expr_str(f.get()), "x -x");
}

TEST_F(Exprs, CloneFamilyLeavesTheSourceAlone) {
    ExprPtr e(vexa_expr_create_add_var_int(x, In(1).get()));
    TermPtr t(vexa_term_create_var(In(5).get(), z));
    ExprPtr o(vexa_expr_create_var(y));
    const struct {
        ExprImpl *r;
        const char *text;
    } cases[] = {
        {vexa_expr_clone(e.get()), "1 +x"},
        {vexa_expr_clone_add_int(e.get(), In(2).get()), "3 +x"},
        {vexa_expr_clone_sub_int(e.get(), In(2).get()), "-1 +x"},
        {vexa_expr_clone_add_var(e.get(), y), "1 +x +y"},
        {vexa_expr_clone_sub_var(e.get(), y), "1 +x -y"},
        {vexa_expr_clone_add_term(e.get(), t.get()), "1 +x +5*z"},
        {vexa_expr_clone_sub_term(e.get(), t.get()), "1 +x -5*z"},
        {vexa_expr_clone_add_expr(e.get(), o.get()), "1 +x +y"},
        {vexa_expr_clone_sub_expr(e.get(), o.get()), "1 +x -y"},
        {vexa_expr_clone_mul_int(e.get(), In(-3).get()), "-3 -3*x"},
    };
    for (const auto &c : cases) {
        EXPECT_STREQ(vexa_expr_str(c.r), c.text);
        vexa_expr_destroy(c.r);
    }
    EXPECT_STREQ(vexa_expr_str(e.get()), "1 +x");
}

TEST_F(Exprs, CloneOfALongTailIsExactAndTight) {
    std::mt19937_64 rng(7);
    ExprPtr e(random_expr(rng, {.terms = 25'000, .nvars = 100}));
    ExprPtr c(vexa_expr_clone(e.get()));
    EXPECT_EQ(flat(c.get()), flat(e.get()));
    EXPECT_EQ(c->capacity, c->size);
    vexa_expr_negate(c.get());
    vexa_expr_iadd_expr(c.get(), e.get());
    ExprPtr s(vexa_expr_simplify(c.get()));
    EXPECT_STREQ(vexa_expr_str(s.get()), "0");
}

TEST_F(Exprs, ScalingByZeroKeepsTermsUntilSimplified) {
    ExprPtr e(vexa_expr_create_add_var_var(x, y));
    vexa_expr_imul_int(e.get(), In(0).get());
    EXPECT_EQ(vexa_expr_term_count(e.get()), 1u);  // the head became 0, the tail term stays
    ExprPtr s(vexa_expr_simplify(e.get()));
    EXPECT_EQ(vexa_expr_term_count(s.get()), 0u);
}

TEST_F(Exprs, ReadersFollowTheHeadRule) {
    ExprPtr e(vexa_expr_create());
    TermPtr zero(vexa_term_create_var_var(In(0).get(), x, y));
    vexa_expr_iadd_term(e.get(), zero.get());  // zero head with degree 2 literals
    EXPECT_EQ(vexa_expr_max_degree(e.get()), 0u);
    EXPECT_EQ(vexa_expr_has(e.get(), x), 0);
    const uint32_t v[1] = {z};
    vexa_expr_iadd_raw_term(e.get(), In(1).get(), v, 1);
    const uint32_t vv[2] = {x, y};
    ExprPtr f(vexa_expr_create_var(z));
    vexa_expr_iadd_raw_term(f.get(), In(0).get(), vv, 2);  // zero tail term counts
    EXPECT_EQ(vexa_expr_max_degree(f.get()), 2u);
    EXPECT_EQ(vexa_expr_has(f.get(), x | 0x80000000u), 1);  // sign ignored
    EXPECT_EQ(vexa_expr_has(f.get(), 77), 0);
    EXPECT_EQ(vexa_expr_has_int_atom(f.get()), 0);
    vexa_expr_iadd_var(f.get(), 0x40000000u);
    EXPECT_EQ(vexa_expr_has_int_atom(f.get()), 1);
}

TEST_F(Exprs, TextFormsOfExpressions) {
    ExprPtr neg(vexa_expr_create_sub_int_var(In(0).get(), x));
    EXPECT_STREQ(vexa_expr_str(neg.get()), "-x");
    ExprPtr one_minus(vexa_expr_create_sub_int_var(In(1).get(), x));
    EXPECT_STREQ(vexa_expr_str(one_minus.get()), "1 -x");
    ExprPtr e(vexa_expr_create_int(In(3).get()));
    const uint32_t v[1] = {x};
    vexa_expr_iadd_raw_term(e.get(), In(-2).get(), v, 1);
    const uint32_t vv[2] = {x, y};
    vexa_expr_iadd_raw_term(e.get(), In(1).get(), vv, 2);
    EXPECT_STREQ(vexa_expr_str(e.get()), "3 -2*x +x*y");
    const char *first = vexa_expr_str(neg.get());
    const char *second = vexa_expr_str(e.get());
    EXPECT_EQ(first, second);  // one buffer per thread and function
}

TEST_F(Exprs, DestroyAcceptsNull) { vexa_expr_destroy(nullptr); }

}  // namespace
