#include <gtest/gtest.h>

#include <memory>

#include "expr/term.hpp"
#include "support/bigint_util.hpp"
#include "vexa/term.h"
#include "vexa/var.h"
#include "support/var_fixture.hpp"

using namespace vexa;
using test::In;
using test::Out;
using test::pow2;

namespace {

struct TermDeleter {
    void operator()(TermImpl *t) const { vexa_term_destroy(t); }
};
using TermPtr = std::unique_ptr<TermImpl, TermDeleter>;

coeff_t coeff_of(const TermImpl *t) {
    Out out;
    vexa_term_coeff(t, &out);
    return out.value();
}

class Terms : public test::ThreeVars {};

TEST_F(Terms, CreationKeepsSlotsInArgumentOrder) {
    TermPtr t(vexa_term_create_var_var(&In(3), y, x));
    EXPECT_EQ(vexa_term_degree(t.get()), 2u);
    EXPECT_EQ(vexa_term_var_at(t.get(), 0), y);
    EXPECT_EQ(vexa_term_var_at(t.get(), 1), x);
    EXPECT_EQ(coeff_of(t.get()), 3);
    TermPtr c(vexa_term_create(&In(-9)));
    EXPECT_EQ(vexa_term_degree(c.get()), 0u);
    TermPtr p(vexa_term_create_vararray(&In(1), uint64_t(z) | (uint64_t(x) << 32)));
    EXPECT_EQ(vexa_term_var_at(p.get(), 0), z);
    EXPECT_EQ(vexa_term_var_at(p.get(), 1), x);
}

TEST_F(Terms, BigCoefficientsMultiplyExactly) {
    const coeff_t a = pow2(200) + 12345;
    const coeff_t b = -(pow2(150) - 1);
    TermPtr ta(vexa_term_create_var(&In(a), x));
    TermPtr tb(vexa_term_create_var(&In(b), y));
    TermPtr prod(vexa_term_mul_term(ta.get(), tb.get()));
    EXPECT_EQ(coeff_of(prod.get()), a * b);
    EXPECT_EQ(vexa_term_var_at(prod.get(), 0), x);  // the first term's literal stays in slot 0
    EXPECT_EQ(vexa_term_var_at(prod.get(), 1), y);
    EXPECT_EQ(coeff_of(ta.get()), a);  // operands unchanged
    EXPECT_EQ(vexa_term_mul_term_move(ta.get(), tb.get()), ta.get());
    EXPECT_EQ(coeff_of(ta.get()), a * b);
    EXPECT_EQ(vexa_term_degree(ta.get()), 2u);
}

TEST_F(Terms, CloneIsDeepAndNegateKeepsZeroPositive) {
    TermPtr a(vexa_term_create_var(&In(pow2(90)), x));
    TermPtr b(vexa_term_clone(a.get()));
    vexa_term_negate(a.get());
    EXPECT_EQ(coeff_of(a.get()), -pow2(90));
    EXPECT_EQ(coeff_of(b.get()), pow2(90));
    TermPtr zero(vexa_term_create(&In(0)));
    vexa_term_negate(zero.get());
    Out out;
    vexa_term_coeff(zero.get(), &out);
    EXPECT_EQ(out.rec().sign, 0);
}

TEST_F(Terms, MulCoeffAndExactDivision) {
    TermPtr t(vexa_term_create_var(&In(-12), x));
    vexa_term_mul_coeff(t.get(), &In(pow2(70)));
    EXPECT_EQ(coeff_of(t.get()), -12 * pow2(70));
    vexa_term_div_coeff(t.get(), &In(-4));
    EXPECT_EQ(coeff_of(t.get()), 3 * pow2(70));
    TermPtr zero(vexa_term_create_var(&In(0), x));
    vexa_term_div_coeff(zero.get(), &In(7));
    EXPECT_EQ(coeff_of(zero.get()), 0);
}

TEST_F(Terms, ThirdLiteralThrowsAndLeavesTheTermAlone) {
    TermPtr t(vexa_term_create_var(&In(1), x));
    vexa_term_mul_var(t.get(), x);  // x*x is two equal codes
    EXPECT_EQ(vexa_term_var_at(t.get(), 1), x);
    try {
        vexa_term_mul_var(t.get(), y);
        FAIL() << "no exception";
    } catch (const std::runtime_error &e) {
        EXPECT_STREQ(e.what(), "VarArray: degree exceeds MAXDEG capacity (2)");
    }
    TermPtr lin(vexa_term_create_var(&In(5), z));
    try {
        TermPtr p(vexa_term_mul_term(lin.get(), t.get()));
        FAIL() << "no exception";
    } catch (const std::runtime_error &e) {
        EXPECT_STREQ(e.what(), "VarArray::append: degree exceeds MAXDEG capacity");
    }
    EXPECT_THROW(vexa_term_mul_term_move(lin.get(), t.get()), std::runtime_error);
    EXPECT_EQ(coeff_of(lin.get()), 5);
    EXPECT_EQ(vexa_term_degree(lin.get()), 1u);
    TermPtr c(vexa_term_create(&In(2)));
    TermPtr ok(vexa_term_mul_term(t.get(), c.get()));  // degree 2 times a constant term
    EXPECT_EQ(vexa_term_degree(ok.get()), 2u);
    EXPECT_EQ(coeff_of(ok.get()), 2);
}

TEST_F(Terms, TextForms) {
    TermPtr a(vexa_term_create_var(&In(1), x));
    EXPECT_STREQ(vexa_term_str(a.get()), "x");
    TermPtr b(vexa_term_create_var(&In(-1), x));
    EXPECT_STREQ(vexa_term_str(b.get()), "-x");
    TermPtr c(vexa_term_create_var_var(&In(3), x, y));
    EXPECT_STREQ(vexa_term_str(c.get()), "3*x*y");
    TermPtr d(vexa_term_create_var(&In(-2), x | 0x80000000u));
    EXPECT_STREQ(vexa_term_str(d.get()), "-2*~x");
    TermPtr e(vexa_term_create_var_var(&In(1), x, y | 0x80000000u));
    EXPECT_STREQ(vexa_term_str(e.get()), "x*~y");
    TermPtr f(vexa_term_create(&In(-1)));
    EXPECT_STREQ(vexa_term_str(f.get()), "-1");
    TermPtr g(vexa_term_create(&In(1)));
    EXPECT_STREQ(vexa_term_str(g.get()), "1");
    TermPtr h(vexa_term_create_var(&In(-pow2(64)), z));
    EXPECT_STREQ(vexa_term_str(h.get()), "-18446744073709551616*z");
}

TEST_F(Terms, TextOfOneThreadIsOverwrittenByItsNextCall) {
    TermPtr a(vexa_term_create_var(&In(1), x));
    TermPtr b(vexa_term_create_var(&In(1), y));
    const char *first = vexa_term_str(a.get());
    const char *second = vexa_term_str(b.get());
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "y");
}

TEST_F(Terms, DestroyAcceptsNull) { vexa_term_destroy(nullptr); }

TEST(TermOrderRules, DegreeThenRotatedKeys) {
    const uint32_t x = 0, y = 1;
    auto v = [](std::initializer_list<uint32_t> codes) {
        VarArray a;
        for (uint32_t c : codes) a.append(c);
        return a;
    };
    TermOrder less;
    EXPECT_TRUE(less(v({}), v({x})));
    EXPECT_TRUE(less(v({x}), v({x | kNegBit})));
    EXPECT_TRUE(less(v({x | kNegBit}), v({y})));
    EXPECT_TRUE(less(v({500}), v({x, y})));  // every degree-1 term before any degree-2 term
    EXPECT_TRUE(less(v({y}), v({kIntBit})));  // integer atoms behind binary variables
    EXPECT_TRUE(less(v({x, y}), v({x, y | kNegBit})));
    EXPECT_FALSE(less(v({x, y}), v({x, y})));
    EXPECT_FALSE(less(v({}), v({})));
    VarArray s = v({x | kNegBit, x});
    s.sort();
    EXPECT_EQ(s.slot[0], x);
    EXPECT_EQ(s.slot[1], x | kNegBit);
    VarArray t = v({y, x});
    t.sort();
    EXPECT_EQ(t.slot[0], x);
    EXPECT_EQ(rot_key(x | kNegBit), 1u);
    EXPECT_EQ(rot_key(kIntBit | 2), 0x80000004u);
}

using TermsDeath = Terms;

TEST_F(TermsDeath, DivisionByZeroAndInexactDivisionAbort) {
    TermPtr t(vexa_term_create_var(&In(3), x));
    EXPECT_DEATH(vexa_term_div_coeff(t.get(), &In(0)), "^vexa: Division by zero\n$");
    EXPECT_DEATH(vexa_term_div_coeff(t.get(), &In(5)), "^vexa: Indivisible division in Term\n$");
    EXPECT_DEATH(vexa_term_div_coeff(t.get(), &In(2)), "^vexa: Indivisible division in Term\n$");
}

}  // namespace
