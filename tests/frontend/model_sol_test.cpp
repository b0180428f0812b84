// Models and solutions through vexa.hpp: building, reading back, assignments
// and energies, checked against brute force over all assignments.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "frontend/hpp_util.hpp"

namespace {

using namespace vexa;
// The C handle types ::Model and ::Sol share these names; the declarations win.
using vexa::Model;
using vexa::Sol;

TEST(ModelSol, WalkThroughModelAndEveryAssignment) {
    const Var x("x"), y("y");
    const Model m = Model::from(sqr(x + y - 1));
    EXPECT_EQ(m.var_count(), 2u);
    EXPECT_EQ(m.var(0).code(), x.code());
    EXPECT_EQ(m.var(1).code(), y.code());
    EXPECT_EQ(m.constant(), 1);
    EXPECT_EQ(m.max_degree(), 2u);
    EXPECT_EQ(m.term_count(1), 2u);
    EXPECT_EQ(m.term_count(2), 1u);
    EXPECT_TRUE(m.has(~x));

    Sol s(m);
    EXPECT_TRUE(s.energy_valid());
    EXPECT_EQ(s.energy(), 1);
    EXPECT_EQ(s.tts(), -1.0);
    const int expected[2][2] = {{1, 0}, {0, 1}};
    for (int a = 0; a < 2; ++a) {
        for (int b = 0; b < 2; ++b) {
            s.set(x, a);
            s.set(y, b);
            EXPECT_FALSE(s.energy_valid());
            EXPECT_THROW(s.energy(), std::logic_error);
            EXPECT_EQ(s.comp_energy(), expected[a][b]);
            EXPECT_EQ(s.energy(), expected[a][b]);
            EXPECT_EQ(s(x), a);
            EXPECT_EQ(s.get(~y), 1 - b);
        }
    }
    s.flip(x);
    EXPECT_EQ(s(x), 0);
    EXPECT_EQ(s.comp_energy(), 0);
    EXPECT_EQ(s.str(), "0:{{x,0},{y,1}}");
}

TEST(ModelSol, IterationNamesTheModelsVariables) {
    const Vars q("q", {2, 2});
    Expr e = 0;
    for (const Var v : q) e += v;
    e -= q(0, 0) * q(1, 1) * 3;
    const Model m = Model::from(e);
    Sol s(m);
    s.set(q(1, 0), 1);
    std::vector<std::string> names;
    std::vector<int> values;
    for (const auto &[var, value] : s.vars()) {
        names.push_back(var.name());
        values.push_back(value);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"q[0][0]", "q[0][1]", "q[1][0]", "q[1][1]"}));
    EXPECT_EQ(values, (std::vector<int>{0, 0, 1, 0}));
    EXPECT_EQ(s.vars().size(), 4u);
    EXPECT_EQ((*s.vars().begin()).name(), "q[0][0]");
}

// A binary model over variables whose codes are not 0..n-1: the library's
// text and the header's agree, item by item.
TEST(ModelSol, LibraryTextMatchesTheHeadersText) {
    const Var unused("unused"), b("b");
    const Vars q("q", 3);
    const Model m = Model::from(b - 2 * q[2] * ~b + q[0]);
    Sol s(m);
    s.set(q[2], 1);
    s.set(b, 0);
    s.comp_energy();
    EXPECT_EQ(s.str(), "-2:{{b,0},{q[0],0},{q[2],1}}");
    EXPECT_EQ(vexa_sol_str(s.handle()), s.str());
}

TEST(ModelSol, VariablesOutsideTheModelThrow) {
    const Var x("x"), y("y");
    const Model m = Model::from(x + 1);
    Sol s(m);
    EXPECT_FALSE(s.has(y));
    EXPECT_THROW(s.get(y), std::out_of_range);
    EXPECT_THROW(s.set(y, 1), std::out_of_range);
    EXPECT_THROW(s.flip(~y), std::out_of_range);
    const NativeIntVar k("k", 0, 3);
    EXPECT_FALSE(s.has(k));
    EXPECT_THROW(s.get(k), std::out_of_range);
}

TEST(ModelSol, IntegerVariables) {
    const NativeIntVar a("a", -2, 5), b("b", 0, 3);
    const Var z("z");
    const Model m = Model::from(a * a - 4 * a * b + 3 * z + b);
    EXPECT_EQ(m.int_var_count(), 2u);
    EXPECT_EQ(m.int_var(0).code(), a.code());
    Sol s(m);
    EXPECT_EQ(s(a), -2);  // integers start at their lower bounds
    EXPECT_EQ(s(b), 0);
    EXPECT_EQ(s.energy(), 4);
    s.set(a, 5);
    s.set(b, 3);
    s.set(z, 1);
    EXPECT_EQ(s.comp_energy(), 25 - 60 + 3 + 3);
    const auto ints = s.int_vars();
    ASSERT_EQ(ints.size(), 2u);
    EXPECT_EQ(ints[0].name(), "a");
    EXPECT_EQ(ints[0].value, 5);
    EXPECT_EQ(ints[1].value, 3);
    EXPECT_EQ(s.str(), "-29:{{z,1},{a,5},{b,3}}");
}

TEST(ModelSol, CopiesOfSolutionsAreIndependent) {
    const Var x("x"), y("y");
    const Model m = Model::from(x - 2 * y);
    Sol a(m);
    Sol b = a;
    b.set(y, 1);
    EXPECT_EQ(b.comp_energy(), -2);
    EXPECT_EQ(a.energy(), 0);
    Model shared = m;
    EXPECT_EQ(shared.handle() != m.handle(), true);
    EXPECT_EQ(shared.var_count(), 2u);
    Sol c = std::move(b);
    EXPECT_EQ(c.energy(), -2);
    EXPECT_EQ(b.handle(), nullptr);  // NOLINT
}

TEST(ModelSol, EnergyAndEvalAgreeWithBruteForceOnRandomModels) {
    const uint64_t seed = 4242;
    std::mt19937_64 rng(seed);
    const Vars v("r", 6);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE("seed 4242 round " + std::to_string(round));
        Expr e = test::random_int(rng);
        for (int k = 0; k < 12; ++k) {
            const Var a = v[rng() % v.size()], b = v[rng() % v.size()];
            const Var la = rng() % 3 ? a : ~a;
            if (rng() % 2) {
                e += test::random_int(rng) * la;
            } else {
                e += test::random_int(rng) * la * b;
            }
        }
        const Expr s = simplify_as_binary(e);
        const Model m(s);
        Sol sol(m);
        for (uint32_t bits = 0; bits < (1u << v.size()); ++bits) {
            std::vector<std::pair<VarBase, Int>> values;
            for (uint64_t i = 0; i < v.size(); ++i) {
                const int bit = (bits >> i) & 1;
                values.emplace_back(v[i], bit);
                if (sol.has(v[i])) sol.set(v[i], bit);
            }
            const Int expected = eval(e, values);
            ASSERT_EQ(sol.comp_energy(), expected);
            ASSERT_EQ(sol.eval(s), expected);
        }
    }
}

}  // namespace
