#include <gtest/gtest.h>

#include "support/expr_util.hpp"
#include "vexa/var.h"
#include "support/var_fixture.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

class Products : public test::ThreeVars {};

TEST_F(Products, ConstantsLeadAndPositionsAreFixed) {
    ExprPtr a(vexa_expr_create_add_var_int(x, In(1).get()));
    ExprPtr b(vexa_expr_create_add_var_int(y, In(2).get()));
    ExprPtr p(vexa_expr_mul_expr(a.get(), b.get()));
    EXPECT_STREQ(vexa_expr_str(p.get()), "2 +y +2*x +x*y");
    EXPECT_EQ(p->capacity, 2u);  // three terms: head plus an exact tail
}

TEST_F(Products, SquareKeepsTheUpperTriangleAndBothLiterals) {
    ExprPtr a(vexa_expr_create_add_var_int(x, In(1).get()));
    ExprPtr s(vexa_expr_sqr(a.get()));
    EXPECT_STREQ(vexa_expr_str(s.get()), "1 +x*x +2*x");
    ExprPtr c(vexa_expr_create_int(In(5).get()));
    ExprPtr sc(vexa_expr_sqr(c.get()));
    EXPECT_STREQ(vexa_expr_str(sc.get()), "25");
    ExprPtr three(vexa_expr_create_add_var_var(x, y));
    vexa_expr_isub_var(three.get(), z);
    ExprPtr s3(vexa_expr_sqr(three.get()));
    EXPECT_STREQ(vexa_expr_str(s3.get()), "x*x +2*x*y -2*x*z +y*y -2*y*z +z*z");
}

TEST_F(Products, SquareEqualsProductWithItself) {
    std::mt19937_64 rng(3);
    for (int round = 0; round < 20; ++round) {
        ExprPtr e(random_expr(rng, {.terms = 1 + rng() % 40, .nvars = 5, .constant_terms = true}));
        // keep degree 1 so the square stays quadratic
        ExprPtr lin(vexa_expr_create_int(In(constant_of(e.get())).get()));
        for (uint64_t i = 0; i < vexa_expr_term_count(e.get()); ++i) {
            const TermImpl *t = vexa_expr_term_at(e.get(), i);
            if (vexa_term_degree(t) <= 1) vexa_expr_iadd_term(lin.get(), t);
        }
        ExprPtr s(vexa_expr_sqr(lin.get()));
        ExprPtr m(vexa_expr_mul_expr(lin.get(), lin.get()));
        ExprPtr ss(vexa_expr_simplify(s.get()));
        ExprPtr ms(vexa_expr_simplify(m.get()));
        EXPECT_EQ(flat(ss.get()), flat(ms.get()));
        EXPECT_EQ(constant_of(ss.get()), constant_of(ms.get()));
    }
}

TEST_F(Products, DegreeThreeThrowsOnTheCallerAndLeavesOperandsAlone) {
    ExprPtr xy(vexa_expr_create());
    const uint32_t v[2] = {x, y};
    vexa_expr_iadd_raw_term(xy.get(), In(1).get(), v, 2);
    ExprPtr fz(vexa_expr_create_var(z));
    try {
        ExprPtr p(vexa_expr_mul_expr(xy.get(), fz.get()));
        FAIL();
    } catch (const std::runtime_error &e) {
        EXPECT_STREQ(e.what(), "VarArray::append: degree exceeds MAXDEG capacity");
    }
    try {
        vexa_expr_imul_var(xy.get(), z);
        FAIL();
    } catch (const std::runtime_error &e) {
        EXPECT_STREQ(e.what(), "VarArray: degree exceeds MAXDEG capacity (2)");
    }
    EXPECT_THROW(vexa_expr_imul_expr(xy.get(), fz.get()), std::runtime_error);
    EXPECT_THROW(vexa_expr_imul_term_direct(xy.get(), In(1).get(), z | 0xFFFFFFFF00000000ull), std::runtime_error);
    EXPECT_THROW(vexa_expr_sqr(xy.get()), std::runtime_error);
    EXPECT_STREQ(vexa_expr_str(xy.get()), "x*y");
    vexa_expr_imul_int(xy.get(), In(3).get());  // (x*y) * 3 is fine
    vexa_expr_iadd_int(xy.get(), In(1).get());
    EXPECT_THROW(vexa_expr_imul_var(xy.get(), z), std::runtime_error);  // (x*y + 1) * z
    EXPECT_STREQ(vexa_expr_str(xy.get()), "1 +3*x*y");
}

TEST_F(Products, InPlaceProductsAndSelfProduct) {
    ExprPtr e(vexa_expr_create_add_var_int(x, In(2).get()));
    vexa_expr_imul_expr(e.get(), e.get());
    EXPECT_STREQ(vexa_expr_str(e.get()), "4 +2*x +2*x +x*x");
    ExprPtr f(vexa_expr_create_add_var_int(x, In(-1).get()));
    vexa_expr_imul_var(f.get(), y);
    EXPECT_STREQ(vexa_expr_str(f.get()), "-y +x*y");
    ExprPtr g(vexa_expr_create_var(x));
    vexa_expr_imul_term_direct(g.get(), In(test::pow2(100)).get(), y | 0xFFFFFFFF00000000ull);
    ExprPtr want(vexa_expr_create());
    const uint32_t v[2] = {x, y};
    vexa_expr_iadd_raw_term(want.get(), In(test::pow2(100)).get(), v, 2);
    EXPECT_EQ(flat(g.get()), flat(want.get()));
}

TEST_F(Products, ExactDivisionAndGcd) {
    ExprPtr e(vexa_expr_create_int(In(3).get()));
    TermPtr t6(vexa_term_create_var(In(6).get(), x));
    TermPtr t9(vexa_term_create_var(In(9).get(), y));
    vexa_expr_iadd_term(e.get(), t6.get());
    vexa_expr_iadd_term(e.get(), t9.get());
    Out g;
    vexa_expr_gcd(e.get(), &g);
    EXPECT_EQ(g.value(), 3);
    vexa_expr_idiv_int(e.get(), In(-3).get());
    EXPECT_STREQ(vexa_expr_str(e.get()), "-1 -2*x -3*y");
    ExprPtr zero(vexa_expr_create());
    vexa_expr_gcd(zero.get(), &g);
    EXPECT_EQ(g.value(), 0);
    ExprPtr big(vexa_expr_create());
    TermPtr a(vexa_term_create_var(In(test::pow2(200) * 6).get(), x));
    TermPtr b(vexa_term_create_var(In(-test::pow2(150) * 4).get(), y));
    vexa_expr_iadd_term(big.get(), a.get());
    vexa_expr_iadd_term(big.get(), b.get());
    vexa_expr_gcd(big.get(), &g);
    EXPECT_EQ(g.value(), test::pow2(152));
}

TEST_F(Products, ThreadCountDoesNotChangeProducts) {
    std::mt19937_64 rng(11);
    ExprPtr a(random_expr(rng, {.terms = 400, .nvars = 1000, .negations = true, .constant_terms = false}));
    ExprPtr b(random_expr(rng, {.terms = 160, .nvars = 1000, .negations = true, .constant_terms = false}));
    // keep degree-1 terms only
    auto linear = [](const ExprImpl *e) {
        ExprImpl *l = vexa_expr_create_int(In(constant_of(e)).get());
        for (uint64_t i = 0; i < vexa_expr_term_count(e); ++i) {
            const TermImpl *t = vexa_expr_term_at(e, i);
            if (vexa_term_degree(t) == 1) vexa_expr_iadd_term(l, t);
        }
        return l;
    };
    ExprPtr la(linear(a.get())), lb(linear(b.get()));
    std::vector<FlatTerm> m1, m8, s1, s8;
    {
        ThreadScope one(1);
        ExprPtr m(vexa_expr_mul_expr(la.get(), lb.get()));
        ExprPtr s(vexa_expr_sqr(la.get()));
        m1 = flat(m.get());
        s1 = flat(s.get());
    }
    {
        ThreadScope many(8);
        ExprPtr m(vexa_expr_mul_expr(la.get(), lb.get()));
        ExprPtr s(vexa_expr_sqr(la.get()));
        m8 = flat(m.get());
        s8 = flat(s.get());
    }
    EXPECT_GT(m1.size(), 10'000u);
    EXPECT_GT(s1.size(), 10'000u);
    EXPECT_EQ(m1, m8);
    EXPECT_EQ(s1, s8);
}

using ProductsDeath = Products;

TEST_F(ProductsDeath, InexactOrZeroDivisionAborts) {
    ExprPtr e(vexa_expr_create_add_var_int(x, In(3).get()));
    vexa_expr_imul_int(e.get(), In(1).get());
    TermPtr t(vexa_term_create_var(In(2).get(), x));
    ExprPtr a(vexa_expr_create_add_term_int(t.get(), In(3).get()));
    EXPECT_DEATH(vexa_expr_idiv_int(a.get(), In(2).get()), "^vexa: Indivisible division in Expr constant\n$");
    ExprPtr b(vexa_expr_create_add_term_int(t.get(), In(4).get()));
    TermPtr t3(vexa_term_create_var(In(3).get(), y));
    vexa_expr_iadd_term(b.get(), t3.get());
    EXPECT_DEATH(vexa_expr_idiv_int(b.get(), In(2).get()), "^vexa: Indivisible division in Expr term\n$");
    EXPECT_DEATH(vexa_expr_idiv_int(b.get(), In(0).get()), "^vexa: Division by zero\n$");
}

}  // namespace
