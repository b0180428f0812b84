#include <gtest/gtest.h>

#include "support/constraint_util.hpp"
#include "vexa/var.h"
#include "support/var_fixture.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

class Spin : public test::ThreeVars {
protected:
    static std::string str(ExprImpl *e) {
        ExprPtr owned(e);
        return vexa_expr_str(e);
    }
};

TEST_F(Spin, BinaryToSpinScalesBy2ToTheDegree) {
    ExprPtr a(expr_of({{1, {x}}}));
    EXPECT_EQ(str(vexa_expr_binary_to_spin(a.get())), "1 +x");
    ExprPtr b(expr_of({{1, {x, y}}, {1, {z}}}));
    EXPECT_EQ(str(vexa_expr_binary_to_spin(b.get())), "3 +x +y +2*z +x*y");
    ExprPtr c(expr_of({}, 7));
    EXPECT_EQ(str(vexa_expr_binary_to_spin(c.get())), "7");
}

TEST_F(Spin, SpinToBinary) {
    ExprPtr a(expr_of({{1, {x}}}));
    EXPECT_EQ(str(vexa_expr_spin_to_binary(a.get())), "-1 +2*x");
    ExprPtr b(expr_of({{1, {x, y}}}));
    EXPECT_EQ(str(vexa_expr_spin_to_binary(b.get())), "1 -2*x -2*y +4*x*y");
}

TEST_F(Spin, ReduceIsTheBinaryForm) {
    ExprPtr a(expr_of({{1, {x, x}}, {1, {y | 0x80000000u}}}));
    EXPECT_EQ(str(vexa_expr_reduce(a.get())), "1 +x -y");
}

TEST_F(Spin, RoundTripGivesTheBinaryFormTimes2ToTheDegree) {
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        std::mt19937_64 rng(seed);
        ExprPtr e(random_expr(rng, {.terms = 1 + rng() % 30, .nvars = 5, .max_bits = 200}));
        const uint32_t depth = vexa_expr_max_degree(e.get());
        ExprPtr s(vexa_expr_binary_to_spin(e.get()));
        ExprPtr back(vexa_expr_spin_to_binary(s.get()));
        ExprPtr want(vexa_expr_simplify_as_binary(e.get()));
        vexa_expr_imul_int(want.get(), In(coeff_t(1) << depth).get());
        ExprPtr want_canonical(vexa_expr_simplify_as_binary(want.get()));
        ASSERT_EQ(flat(back.get()), flat(want_canonical.get())) << "seed " << seed;
        ASSERT_EQ(constant_of(back.get()), constant_of(want_canonical.get())) << "seed " << seed;
        // and the spin form has the binary value times 2^D on matching assignments
        for (int trial = 0; trial < 8; ++trial) {
            const uint32_t pick = static_cast<uint32_t>(rng());
            auto bit = [&](uint32_t v) { return coeff_t((pick >> v) & 1); };
            auto sp = [&](uint32_t v) { return coeff_t(((pick >> v) & 1) ? 1 : -1); };
            ASSERT_EQ(evaluate(s.get(), sp, true), evaluate(e.get(), bit, false) * (coeff_t(1) << depth));
        }
    }
}

using SpinDeath = Spin;

TEST_F(SpinDeath, RefusalsComeInOrderDeclaredThenIntegers) {
    ExprPtr body(expr_of({{1, {x}}}));
    ExprPtr d(declared(body.get(), 0, 1));
    vexa_expr_iadd_var(d.get(), 0x40000000u);
    const std::string tail = "' is not allowed on an expression with declared constraints\n$";
    EXPECT_DEATH(vexa_expr_binary_to_spin(d.get()), "^vexa: vexa::cons: 'binary_to_spin" + tail);
    EXPECT_DEATH(vexa_expr_spin_to_binary(d.get()), "^vexa: vexa::cons: 'spin_to_binary" + tail);
    EXPECT_DEATH(vexa_expr_reduce(d.get()),
                 "^vexa: vexa::cons: 'reduce \\(declared constraints would be dropped; reduce the objective before "
                 "adding vexa::cons parts\\)" + tail);
    ExprPtr n(expr_of({{1, {0x40000000u}}}));
    EXPECT_DEATH(vexa_expr_binary_to_spin(n.get()),
                 "^vexa: binary_to_spin: native integer variables \\(int_var\\) are not supported \\(spin semantics "
                 "do not apply to integer atoms\\)\\.\n$");
    EXPECT_DEATH(vexa_expr_spin_to_binary(n.get()), "^vexa: spin_to_binary: native integer variables");
    EXPECT_DEATH(vexa_expr_reduce(n.get()),
                 "^vexa: reduce: native integer variables \\(int_var\\) are not supported \\(Ishikawa/Freedman "
                 "quadratization assumes 0/1 variables\\)\\.\n$");
}

}  // namespace
