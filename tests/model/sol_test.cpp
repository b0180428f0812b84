// Solutions: assignments, exact energies, text.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/model_util.hpp"
#include "vexa/var.h"
#include "support/var_fixture.hpp"

using namespace vexa;
using namespace vexa::test;

namespace {

class Sols : public test::ThreeVars {};

TEST_F(Sols, FreshSolutionOfAConstantModel) {
    ExprPtr e(vexa_expr_create_int(In(5).get()));
    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    EXPECT_EQ(vexa_sol_energy_valid(s.get()), 1);
    Out out;
    vexa_sol_energy(s.get(), &out);
    EXPECT_EQ(out.value(), 5);
    EXPECT_EQ(vexa_sol_tts(s.get()), -1.0);
    EXPECT_STREQ(vexa_sol_str(s.get()), "5:{}");
}

TEST_F(Sols, NegatedLiteralsReadAndWriteTheSameBit) {
    ExprPtr e(vexa_expr_create_add_var_var(x, y));
    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    vexa_sol_set(s.get(), x | 0x80000000u, 1);
    EXPECT_EQ(vexa_sol_get(s.get(), x), 0);
    EXPECT_EQ(vexa_sol_get(s.get(), x | 0x80000000u), 1);
    vexa_sol_set(s.get(), x | 0x80000000u, 0);
    EXPECT_EQ(vexa_sol_get(s.get(), x), 1);
    vexa_sol_flip(s.get(), y | 0x80000000u);
    EXPECT_EQ(vexa_sol_get(s.get(), y), 1);
    vexa_sol_set(s.get(), y, 7);  // anything but 0 sets the bit
    EXPECT_EQ(vexa_sol_get(s.get(), y), 1);
    EXPECT_EQ(vexa_sol_energy_valid(s.get()), 0);
    EXPECT_EQ(sol_energy(s.get()), 2);
    EXPECT_STREQ(vexa_sol_str(s.get()), "2:{{x,1},{y,1}}");
}

TEST_F(Sols, SetEnergyMakesAnyValueValidAndComputeDoesNotRecomputeIt) {
    ExprPtr e(vexa_expr_create_var(x));
    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    vexa_sol_set_energy(s.get(), In(99).get());
    EXPECT_EQ(sol_energy(s.get()), 99);
    vexa_sol_flip(s.get(), x);
    EXPECT_EQ(sol_energy(s.get()), 1);
    vexa_sol_set_tts(s.get(), 1.5);
    EXPECT_EQ(vexa_sol_energy_valid(s.get()), 1);
    EXPECT_EQ(vexa_sol_tts(s.get()), 1.5);
}

// A random model with every kind of native constraint: the solution's energy
// equals the expression's own value plus penalties computed here, exactly.
TEST_F(Sols, EnergyEqualsTheExpressionPlusIndependentPenalties) {
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        vexa_var_reset();
        std::mt19937_64 rng(seed);
        const uint32_t n = 3 + rng() % 8;
        std::vector<uint32_t> v;
        for (uint32_t i = 0; i < n; ++i) v.push_back(vexa_new_var(nullptr));
        ExprPtr e(random_expr(rng, {.terms = 1 + rng() % 40, .nvars = n, .max_bits = 200}));
        ExprPtr objective(vexa_expr_simplify_as_binary(e.get()));

        struct Check {
            ExprPtr body;
            coeff_t lo, hi, weight;
            std::vector<std::pair<coeff_t, coeff_t>> allowed;
            uint8_t shape;
        };
        std::vector<Check> checks;
        const int ncons = 1 + rng() % 4;
        for (int c = 0; c < ncons; ++c) {
            Check k;
            ExprPtr raw(random_expr(rng, {.terms = 1 + rng() % 5, .nvars = n, .max_bits = 40,
                                          .negations = false, .constant_terms = false}));
            const bool linear = rng() % 2 == 0;
            k.body.reset(vexa_expr_create_int(In(constant_of(raw.get())).get()));
            std::vector<bool> used(n, false);
            for (uint64_t i = 0; i < vexa_expr_term_count(raw.get()); ++i) {
                const TermImpl *t = vexa_expr_term_at(raw.get(), i);
                if (linear && (vexa_term_degree(t) != 1 || used[t->vars.slot[0]])) continue;
                if (vexa_term_degree(t) == 1) used[t->vars.slot[0]] = true;
                vexa_expr_iadd_term(k.body.get(), t);
            }
            ExprPtr simplified(vexa_expr_simplify_as_binary(k.body.get()));
            k.body = std::move(simplified);
            k.lo = static_cast<int64_t>(rng() % 21) - 10;
            k.hi = k.lo + static_cast<int64_t>(rng() % 7) - 2;  // sometimes below lo
            k.weight = random_coeff(rng, 100);
            k.shape = (linear && rng() % 4 == 0) ? static_cast<uint8_t>(1 + rng() % 2) : 0;
            if (linear && rng() % 3 == 0) k.allowed = {{k.lo, k.lo + 1}, {k.lo + 5, k.lo + 9}};
            checks.push_back(std::move(k));
        }
        std::vector<ConsSpec> specs;
        for (const Check &k : checks) specs.push_back({k.body.get(), k.lo, k.hi, k.weight, k.allowed, k.shape});
        objective->attr = declared_sum_word(specs);
        ModelPtr m(vexa_model_create(objective.get()));
        SolPtr s(vexa_sol_create(m.get()));

        for (int trial = 0; trial < 10; ++trial) {
            std::vector<int> bits(n);
            for (uint32_t i = 0; i < n; ++i) bits[i] = rng() % 2;
            for (uint32_t i = 0; i < n; ++i) {
                if (vexa_sol_has(s.get(), v[i])) vexa_sol_set(s.get(), v[i], bits[i]);
            }
            auto value_of = [&](uint32_t var) { return coeff_t(bits[var]); };
            coeff_t want = evaluate(e.get(), value_of, false);
            for (const Check &k : checks) {
                const coeff_t b = evaluate(k.body.get(), value_of, false);
                coeff_t lo = k.lo, hi = k.hi;
                coeff_t d = 0;
                if (k.allowed.empty()) {
                    if (b < lo) d += lo - b;
                    if (b > hi) d += b - hi;
                } else {
                    d = -1;
                    for (const auto &[a, z2] : k.allowed) {
                        const coeff_t g = b < a ? coeff_t(a - b) : (b > z2 ? coeff_t(b - z2) : coeff_t(0));
                        if (d < 0 || g < d) d = g;
                    }
                }
                want += k.shape == 1 ? coeff_t(k.weight * d) : coeff_t(k.weight * d * d);
            }
            ASSERT_EQ(sol_energy(s.get()), want) << "seed " << seed << " trial " << trial;
        }
    }
}

TEST_F(Sols, IntegerValuesStartAtTheLowerBoundAndZeroEndsATerm) {
    const uint32_t n = vexa_new_int_var("n", In(2).get(), In(9).get());
    const uint32_t k = vexa_new_int_var("k", In(-3).get(), In(3).get());
    ExprPtr e(vexa_expr_create());
    const uint32_t nk[2] = {n, k};
    vexa_expr_iadd_raw_term(e.get(), In(test::pow2(100)).get(), nk, 2);
    vexa_expr_iadd_var(e.get(), n);
    ExprPtr canonical(vexa_expr_simplify_as_binary(e.get()));
    ModelPtr m(vexa_model_create(canonical.get()));
    SolPtr s(vexa_sol_create(m.get()));
    EXPECT_EQ(sol_energy(s.get()), 2 * -3 * test::pow2(100) + 2);
    vexa_sol_set_int(s.get(), k, In(0).get());
    EXPECT_EQ(sol_energy(s.get()), 2);
    vexa_sol_set_int(s.get(), n, In(9).get());
    vexa_sol_set_int(s.get(), k, In(3).get());
    EXPECT_EQ(sol_energy(s.get()), 27 * test::pow2(100) + 9);
    Out v;
    vexa_sol_get_int(s.get(), n, &v);
    EXPECT_EQ(v.value(), 9);
    EXPECT_EQ(vexa_sol_int_count(s.get()), 2u);
}

TEST_F(Sols, SolutionKeepsItsModelAliveAndCopiesAcrossModels) {
    ExprPtr e(vexa_expr_create_add_var_var(x, y));
    Model *m = vexa_model_create(e.get());
    Sol *s = vexa_sol_create(m);
    vexa_model_destroy(m);
    vexa_sol_set(s, y, 1);
    EXPECT_EQ(sol_energy(s), 1);
    Model *borrowed = vexa_sol_model(s);
    EXPECT_EQ(vexa_model_var_count(borrowed), 2u);
    ExprPtr e2(vexa_expr_create_add_var_var(y, z));
    ModelPtr m2(vexa_model_create(e2.get()));
    SolPtr s2(vexa_sol_create(m2.get()));
    ExprPtr e3(vexa_expr_create_var(y));
    ModelPtr m3(vexa_model_create(e3.get()));
    SolPtr s3(vexa_sol_create(m3.get()));
    vexa_sol_set(s3.get(), y, 1);
    vexa_sol_set_from_sol(s2.get(), s3.get());
    EXPECT_EQ(vexa_sol_get(s2.get(), y), 1);
    EXPECT_EQ(vexa_sol_get(s2.get(), z), 0);
    SolPtr c(vexa_sol_clone(s));
    vexa_sol_destroy(s);
    EXPECT_EQ(vexa_sol_get(c.get(), y), 1);
}

TEST_F(Sols, StealingBitsLeavesTheSolutionEmpty) {
    ExprPtr e(vexa_expr_create_add_var_var(x, y));
    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    vexa_sol_set(s.get(), y, 1);
    std::vector<uint64_t> mine = {7, 7, 7};  // its block is freed by the steal
    vexa_sol_steal_bits(s.get(), reinterpret_cast<vexa_word_vector *>(&mine));
    ASSERT_EQ(mine.size(), 1u);
    EXPECT_EQ(mine[0], 0b10u);
    std::vector<uint64_t> second;
    vexa_sol_steal_bits(s.get(), reinterpret_cast<vexa_word_vector *>(&second));
    EXPECT_TRUE(second.empty());
}

TEST_F(Sols, TextUsesOneBufferPerThread) {
    ExprPtr e(vexa_expr_create_var(x));
    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    std::string other;
    std::thread t([&] { other = vexa_sol_str(s.get()); });
    const char *mine = vexa_sol_str(s.get());
    t.join();
    EXPECT_STREQ(mine, "0:{{x,0}}");
    EXPECT_EQ(other, "0:{{x,0}}");
}

// The text lists the model's own variables in dense order, also when their
// codes are not 0..n-1, and never reads a variable the model lacks.
TEST_F(Sols, TextNamesTheModelsVariablesWhateverTheirCodes) {
    ExprPtr e(vexa_expr_create_add_var_var(y, z));  // x exists but is not in the model
    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    EXPECT_STREQ(vexa_sol_str(s.get()), "0:{{y,0},{z,0}}");
    vexa_sol_set(s.get(), z, 1);
    EXPECT_EQ(sol_energy(s.get()), 1);
    EXPECT_STREQ(vexa_sol_str(s.get()), "1:{{y,0},{z,1}}");

    // Array elements get their indexed names from the table's own buffer.
    const uint64_t dims[1] = {4};
    const uint32_t a0 = vexa_new_var_array("a", dims, 1);
    ExprPtr f(vexa_expr_create_add_var_var(a0 + 3, a0 + 1));
    ModelPtr fm(vexa_model_create(f.get()));
    SolPtr fs(vexa_sol_create(fm.get()));
    vexa_sol_flip(fs.get(), a0 + 3);
    EXPECT_EQ(sol_energy(fs.get()), 1);
    EXPECT_STREQ(vexa_sol_str(fs.get()), "1:{{a[1],0},{a[3],1}}");
}

TEST_F(Sols, TextOfNegatedLiteralsShowsTheVariablesThemselves) {
    // ~z + ~y*z in binary form is 1 - y*z, over the variables y and z.
    ExprPtr raw(vexa_expr_create_var(z | 0x80000000u));
    TermPtr t(vexa_term_create_var_var(In(1).get(), y | 0x80000000u, z));
    vexa_expr_iadd_term(raw.get(), t.get());
    ExprPtr e(vexa_expr_simplify_as_binary(raw.get()));
    ModelPtr m(vexa_model_create(e.get()));
    ASSERT_EQ(vexa_model_var_count(m.get()), 2u);
    SolPtr s(vexa_sol_create(m.get()));
    EXPECT_STREQ(vexa_sol_str(s.get()), "1:{{y,0},{z,0}}");
    vexa_sol_set(s.get(), y | 0x80000000u, 0);  // y = 1
    vexa_sol_set(s.get(), z, 1);
    EXPECT_EQ(sol_energy(s.get()), 0);
    EXPECT_STREQ(vexa_sol_str(s.get()), "0:{{y,1},{z,1}}");
}

// Random models over random subsets of a pool of named variables: the text is
// the energy and the chosen variables in ascending code order with the values
// that were set.
TEST(SolText, RandomSubsetsPrintTheirOwnVariables) {
    for (uint64_t seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 rng(seed);
        vexa_var_reset();
        std::vector<uint32_t> pool;
        for (int k = 0; k < 12; ++k) pool.push_back(vexa_new_var(("v" + std::to_string(k)).c_str()));
        std::vector<int> chosen;
        for (int k = 0; k < 12; ++k) {
            if (rng() % 3 == 0) chosen.push_back(k);
        }
        ExprPtr e(vexa_expr_create_int(In(static_cast<long long>(rng() % 7)).get()));
        for (int k : chosen) {
            TermPtr t(vexa_term_create_var(In(static_cast<long long>(rng() % 9) + 1).get(), pool[k]));
            vexa_expr_iadd_term(e.get(), t.get());
        }
        ExprPtr canon(vexa_expr_simplify_as_binary(e.get()));
        ModelPtr m(vexa_model_create(canon.get()));
        SolPtr s(vexa_sol_create(m.get()));
        std::string items;
        for (int k : chosen) {
            const int value = static_cast<int>(rng() % 2);
            vexa_sol_set(s.get(), pool[k], value);
            if (!items.empty()) items += ",";
            items += "{v" + std::to_string(k) + "," + std::to_string(value) + "}";
        }
        const coeff_t energy = sol_energy(s.get());
        EXPECT_EQ(vexa_sol_str(s.get()), energy.str() + ":{" + items + "}");
    }
}

TEST_F(Sols, CreateFromExprSimplifiesFirst) {
    ExprPtr e(vexa_expr_create_var(x | 0x80000000u));
    SolPtr s(vexa_sol_create_from_expr(e.get()));
    EXPECT_EQ(sol_energy(s.get()), 1);
    vexa_sol_set(s.get(), x, 1);
    EXPECT_EQ(sol_energy(s.get()), 0);
}

using SolsDeath = Sols;

TEST_F(SolsDeath, AccessOutsideTheModelAborts) {
    const uint32_t n = vexa_new_int_var("n", In(0).get(), In(3).get());
    const uint32_t unused = vexa_new_int_var("u", In(0).get(), In(3).get());
    ExprPtr e(vexa_expr_create_add_var_var(x, n));
    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    Out v;
    EXPECT_DEATH(vexa_sol_get(s.get(), y), "^vexa: Sol::get: variable not in model \\(index=1\\)\n$");
    EXPECT_DEATH(vexa_sol_get(s.get(), y | 0x80000000u), "^vexa: Sol::get: variable not in model \\(index=1\\)\n$");
    EXPECT_DEATH(vexa_sol_get(s.get(), n), "^vexa: Sol::get: variable not in model \\(index=1073741824\\)\n$");
    EXPECT_DEATH(vexa_sol_set(s.get(), z, 1), "^vexa: Sol::set: variable not in model \\(index=2\\)\n$");
    EXPECT_DEATH(vexa_sol_flip(s.get(), z), "^vexa: Sol::flip: variable not in model \\(index=2\\)\n$");
    EXPECT_DEATH(vexa_sol_get_int(s.get(), x, &v), "^vexa: Sol::get: not an integer variable index\n$");
    EXPECT_DEATH(vexa_sol_get_int(s.get(), unused, &v), "^vexa: Sol::get: integer variable not in model\n$");
    EXPECT_DEATH(vexa_sol_set_int(s.get(), n | 0x80000000u, In(1).get()), "^vexa: Sol::set: not an integer variable index\n$");
    EXPECT_DEATH(vexa_sol_set_int(s.get(), unused, In(1).get()), "^vexa: Sol::set: integer variable not in model\n$");
    EXPECT_DEATH(vexa_sol_set_int(s.get(), n, In(4).get()),
                 "^vexa: Sol::set: value 4 outside the integer variable's bounds \\[0,3\\]\n$");
}

TEST_F(SolsDeath, InvalidEnergyIsNotHandedOut) {
    ExprPtr e(vexa_expr_create_var(x));
    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    vexa_sol_flip(s.get(), x);
    Out v;
    EXPECT_DEATH(vexa_sol_energy(s.get(), &v),
                 "^vexa: Sol::energy\\(\\): energy is invalid \\(variable changed after last computation\\)\\. "
                 "Call comp_energy\\(\\) first\\.\n$");
    EXPECT_DEATH(vexa_sol_energy_int(s.get(), &v), "^vexa: Sol::energy_int\\(\\): energy is invalid\\. Call "
                                                    "comp_energy\\(\\) first\\.\n$");
    EXPECT_DEATH(vexa_sol_str(s.get()), "^vexa: Sol::str\\(\\): energy is invalid \\(variable changed after last "
                                         "computation\\)\\. Call comp_energy\\(\\) first\\.\n$");
}

}  // namespace
