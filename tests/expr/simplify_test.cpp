#include <gtest/gtest.h>

#include "support/expr_util.hpp"
#include "support/var_fixture.hpp"
#include "vexa/var.h"

using namespace vexa;
using namespace vexa::test;

namespace {

constexpr uint32_t kNeg = 0x80000000u;

class Simplify : public test::ThreeVars {
protected:
    std::string binary(ExprImpl *e) {
        ExprPtr owned(e);
        ExprPtr s(vexa_expr_simplify_as_binary(e));
        EXPECT_TRUE(is_canonical(s.get()));
        const std::string text = vexa_expr_str(s.get());
        // The in-place form, on a copy, ends in the same expression.
        ExprPtr in_place(vexa_expr_clone(e));
        vexa_expr_simplify_as_binary_in_place(in_place.get());
        EXPECT_EQ(vexa_expr_str(in_place.get()), text);
        return text;
    }
    std::string spin(ExprImpl *e) {
        ExprPtr owned(e);
        ExprPtr s(vexa_expr_simplify_as_spin(e));
        EXPECT_TRUE(is_canonical(s.get()));
        return vexa_expr_str(s.get());
    }
    std::string plain(ExprImpl *e) {
        ExprPtr owned(e);
        ExprPtr s(vexa_expr_simplify(e));
        EXPECT_TRUE(is_canonical(s.get()));
        return vexa_expr_str(s.get());
    }
};

TEST_F(Simplify, SquaresUnderEachReading) {
    EXPECT_EQ(plain(expr_of({{1, {x, x}}})), "x*x");
    EXPECT_EQ(binary(expr_of({{1, {x, x}}})), "x");
    EXPECT_EQ(spin(expr_of({{1, {x, x}}})), "1");
}

TEST_F(Simplify, NegatedLiteralsUnderTheBinaryReading) {
    EXPECT_EQ(binary(expr_of({{1, {x | kNeg}}})), "1 -x");
    EXPECT_EQ(binary(expr_of({{1, {x}}, {1, {x | kNeg}}})), "1");
    EXPECT_EQ(binary(expr_of({{1, {x | kNeg, y | kNeg}}})), "1 -x -y +x*y");
    EXPECT_EQ(binary(expr_of({{1, {x, x | kNeg}}})), "0");
    EXPECT_EQ(binary(expr_of({{3, {x | kNeg, y}}})), "3*y -3*x*y");
    EXPECT_EQ(binary(expr_of({{3, {y | kNeg, x}}})), "3*x -3*x*y");
    EXPECT_EQ(binary(expr_of({{2, {x | kNeg, x | kNeg}}})), "2 -2*x");
    EXPECT_EQ(binary(expr_of({{1, {x | kNeg, y}}, {1, {x | kNeg, y | kNeg}}, {1, {x}}})), "1");
}

TEST_F(Simplify, IntegerAtomsKeepTheirSquares) {
    const uint32_t n = 0x40000000u;
    EXPECT_EQ(binary(expr_of({{1, {n, n}}, {2, {x, x}}})), "2*x +?*?");
    EXPECT_EQ(plain(expr_of({{1, {x | kNeg}}, {1, {x}}})), "x +~x");
}

TEST_F(Simplify, SpinReading) {
    EXPECT_EQ(spin(expr_of({{1, {x | kNeg, y}}})), "-x*y");
    EXPECT_EQ(spin(expr_of({{1, {x | kNeg, y | kNeg}}})), "x*y");
    EXPECT_EQ(spin(expr_of({{1, {x | kNeg, x}}})), "-1");
    EXPECT_EQ(spin(expr_of({{0, {x}}, {5, {}}}, 1)), "6");
}

TEST_F(Simplify, EmptyAndConstantInputs) {
    EXPECT_EQ(binary(expr_of({}, 4)), "4");
    EXPECT_EQ(spin(expr_of({})), "0");
    EXPECT_EQ(plain(expr_of({{0, {x}}, {-3, {}}}, 1)), "-2");
}

// Random expressions with negations, repeats, zero and huge coefficients: the
// canonical forms keep the value under their reading.
TEST_F(Simplify, FormsKeepTheValueOnRandomAssignments) {
    for (uint64_t seed = 1; seed <= 60; ++seed) {
        std::mt19937_64 rng(seed);
        const uint32_t nvars = 1 + rng() % 8;
        ExprPtr e(random_expr(rng, {.terms = rng() % 80, .nvars = nvars, .max_bits = 300}));
        ExprPtr b(vexa_expr_clone(e.get()));
        vexa_expr_simplify_as_binary_in_place(b.get());
        ExprPtr s(vexa_expr_simplify_as_spin(e.get()));
        ExprPtr p(vexa_expr_simplify(e.get()));
        ASSERT_TRUE(is_canonical(b.get())) << "seed " << seed;
        ASSERT_TRUE(is_canonical(s.get())) << "seed " << seed;
        ASSERT_TRUE(is_canonical(p.get())) << "seed " << seed;
        for (int trial = 0; trial < 16; ++trial) {
            std::vector<int> bits(nvars), spins(nvars), ints(nvars);
            for (uint32_t v = 0; v < nvars; ++v) {
                bits[v] = rng() % 2;
                spins[v] = rng() % 2 ? 1 : -1;
                ints[v] = static_cast<int>(rng() % 11) - 5;
            }
            auto bit = [&](uint32_t v) { return coeff_t(bits[v]); };
            auto sp = [&](uint32_t v) { return coeff_t(spins[v]); };
            auto in = [&](uint32_t v) { return coeff_t(ints[v]); };
            ASSERT_EQ(evaluate(e.get(), bit, false), evaluate(b.get(), bit, false)) << "seed " << seed;
            ASSERT_EQ(evaluate(e.get(), sp, true), evaluate(s.get(), sp, true)) << "seed " << seed;
            // the plain form only reorders and sums equal monomials: any values work
            ASSERT_EQ(evaluate(e.get(), in, false), evaluate(p.get(), in, false)) << "seed " << seed;
        }
        // the binary form has no negated literal and no repeated variable
        for (const FlatTerm &t : flat(b.get())) {
            EXPECT_EQ(t.s0 & kNeg, 0u);
            if (t.s1 != kEmptyVar) {
                EXPECT_NE(t.s0, t.s1);
            }
        }
    }
}

TEST_F(Simplify, ThreadCountDoesNotChangeAnyForm) {
    for (uint64_t terms : {500ull, 9'999ull, 10'000ull, 60'000ull}) {
        std::mt19937_64 rng(terms);
        ExprPtr e(random_expr(rng, {.terms = terms, .nvars = 300, .max_bits = 130}));
        std::vector<FlatTerm> one[4], many[4];
        coeff_t c1[4], c8[4];
        for (int pass = 0; pass < 2; ++pass) {
            ThreadScope scope(pass == 0 ? 1 : 8);
            ExprPtr r[4] = {ExprPtr(vexa_expr_simplify(e.get())), ExprPtr(vexa_expr_simplify_as_binary(e.get())),
                            ExprPtr(vexa_expr_simplify_as_spin(e.get())), ExprPtr(vexa_expr_clone(e.get()))};
            vexa_expr_simplify_as_binary_in_place(r[3].get());
            for (int k = 0; k < 4; ++k) {
                (pass == 0 ? one : many)[k] = flat(r[k].get());
                (pass == 0 ? c1 : c8)[k] = constant_of(r[k].get());
            }
        }
        // the in-place binary form equals the copying one
        EXPECT_EQ(one[3], one[1]) << "terms " << terms;
        EXPECT_EQ(c1[3], c1[1]);
        for (int k = 0; k < 4; ++k) {
            EXPECT_EQ(one[k], many[k]) << "form " << k << " terms " << terms;
            EXPECT_EQ(c1[k], c8[k]);
        }
    }
}

using SimplifyDeath = Simplify;

TEST_F(SimplifyDeath, SpinRefusesIntegerAtoms) {
    ExprPtr e(expr_of({{1, {0x40000000u}}}));
    EXPECT_DEATH(vexa_expr_simplify_as_spin(e.get()),
                 "^vexa: simplify_as_spin\\(\\): native integer variables \\(int_var\\) are not supported "
                 "\\(spin rules do not apply to integer atoms\\)\\.\n$");
}

}  // namespace
