// Declared models solved end to end: constraints of every kind go to the
// solver modules as native constraints, both drivers reach the exhaustive
// optimum with no constraint broken, and every energy they report is the
// energy of its assignment.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/constraint_util.hpp"
#include "support/model_util.hpp"
#include "vexa/constraint.h"
#include "vexa/model.h"
#include "vexa/sol.h"
#include "vexa/solver.h"
#include "vexa/var.h"

namespace {

using namespace vexa::test;
using vexa::coeff_t;

struct ResultDeleter {
    void operator()(nimba_solver_result *r) const { vexa_nimba_solver_result_destroy(r); }
};
using ResultPtr = std::unique_ptr<nimba_solver_result, ResultDeleter>;

constexpr int kVars = 8;

// Sum of coefficient * variable.
ExprPtr linear(const std::vector<uint32_t> &vars, std::initializer_list<std::pair<int, int>> terms, int constant = 0) {
    ExprPtr e(vexa_expr_create_int(In(constant).get()));
    for (const auto &[c, i] : terms) vexa_expr_iadd_raw_term(e.get(), In(c).get(), &vars[i], 1);
    return e;
}

// An objective over 8 variables with an equality, a range, an allowed set,
// an abs and a relu shape, all declared.
ExprPtr constrained_model(std::mt19937_64 &rng, const std::vector<uint32_t> &v) {
    ExprPtr e(vexa_expr_create());
    for (int i = 0; i < kVars; ++i) {
        vexa_expr_iadd_raw_term(e.get(), In(static_cast<int>(rng() % 11) - 5).get(), &v[i], 1);
        const uint32_t j = static_cast<uint32_t>(rng() % kVars);
        if (j != static_cast<uint32_t>(i)) {
            const uint32_t two[2] = {std::min(v[i], v[j]), std::max(v[i], v[j])};
            vexa_expr_iadd_raw_term(e.get(), In(static_cast<int>(rng() % 7) - 3).get(), two, 2);
        }
    }
    auto add = [&](ExprImpl *cons, int weight) {
        ExprPtr owned(cons);
        vexa_expr_imul_int(owned.get(), In(weight).get());
        vexa_expr_iadd_expr(e.get(), owned.get());
    };
    ExprPtr one_hot = linear(v, {{1, 0}, {1, 1}, {1, 2}});
    add(vexa_cons_between(one_hot.get(), In(1).get(), In(1).get()), 40);
    ExprPtr capacity = linear(v, {{2, 3}, {1, 4}, {1, 5}});
    add(vexa_cons_between(capacity.get(), In(1).get(), In(2).get()), 40);
    ExprPtr choice = linear(v, {{1, 5}, {1, 6}, {1, 7}});
    const In l0(0), h0(0), l1(2), h1(3);
    const vexa_bigint lows[2] = {*l0.get(), *l1.get()};
    const vexa_bigint highs[2] = {*h0.get(), *h1.get()};
    add(vexa_cons_equal(choice.get(), lows, highs, 2), 40);
    ExprPtr diff = linear(v, {{1, 0}, {-1, 3}});
    add(vexa_abs_term(diff.get(), 1), 3);
    ExprPtr excess = linear(v, {{1, 6}, {1, 7}}, -1);
    add(vexa_relu_term(excess.get(), 2), 2);
    return ExprPtr(vexa_expr_simplify_as_binary(e.get()));
}

// The energy of a solution's assignment, computed afresh.
coeff_t recomputed(Model *m, Sol *from) {
    SolPtr s(vexa_sol_create(m));
    vexa_sol_set_from_sol(s.get(), from);
    return sol_energy(s.get());
}

TEST(ConstrainedSolve, DriversReachTheExhaustiveOptimumWithNoViolation) {
    for (uint64_t seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 rng(seed);
        vexa_var_reset();
        std::vector<uint32_t> v;
        for (int i = 0; i < kVars; ++i) v.push_back(vexa_new_var(("x" + std::to_string(i)).c_str()));
        ExprPtr e = constrained_model(rng, v);
        ModelPtr m(vexa_model_create(e.get()));
        // Handed over as constraints, not as penalty polynomials: no slack, five rows.
        ASSERT_EQ(vexa_model_var_count(m.get()), static_cast<uint64_t>(kVars));
        ASSERT_EQ(vexa_model_native_cons_count(m.get()), 5u);
        ASSERT_TRUE(vexa_model_has_penalty_shapes(m.get()));

        coeff_t best = 0;
        for (int mask = 0; mask < (1 << kVars); ++mask) {
            SolPtr s(vexa_sol_create(m.get()));
            for (int i = 0; i < kVars; ++i) vexa_sol_set(s.get(), v[i], (mask >> i) & 1);
            const coeff_t energy = sol_energy(s.get());
            Out with_penalties;
            vexa_sol_eval_expr(s.get(), e.get(), &with_penalties);
            ASSERT_EQ(with_penalties.value(), energy);
            if (mask == 0 || energy < best) best = energy;
        }

        auto check = [&](nimba_solver_result *r, const char *driver) {
            SCOPED_TRACE(driver);
            Out energy;
            vexa_nimba_solver_result_energy(r, &energy);
            EXPECT_EQ(energy.value(), best);
            SolPtr s(vexa_nimba_solver_result_to_sol(r, m.get()));
            EXPECT_EQ(vexa_cons_violation_count(e.get(), s.get()), 0u);
            EXPECT_EQ(recomputed(m.get(), s.get()), energy.value());
            for (uint64_t i = 0; i < vexa_nimba_solver_result_topk_count(r); ++i) {
                Out topk_energy;
                vexa_nimba_solver_result_topk_energy(r, i, &topk_energy);
                SolPtr t(vexa_nimba_solver_result_topk_to_sol(r, i, m.get()));
                EXPECT_EQ(recomputed(m.get(), t.get()), topk_energy.value()) << "topk " << i;
            }
        };

        const vexa_param exhaustive_params[] = {{"topk_sols", "4"}, {nullptr, nullptr}};
        vexa_exhaustive_wrapper *ex = vexa_exhaustive_wrapper_create(m.get());
        ResultPtr exact(vexa_exhaustive_wrapper_search(ex, exhaustive_params));
        check(exact.get(), "exhaustive");
        vexa_exhaustive_wrapper_destroy(ex);

        const std::string seed_text = std::to_string(seed);
        const std::string target = best.str();  // stops the search once it is found
        const vexa_param nimba_params[] = {{"time_limit", "5"},
                                           {"target_energy", target.c_str()},
                                           {"seed", seed_text.c_str()},
                                           {"threads", "2"},
                                           {"topk_sols", "3"},
                                           {nullptr, nullptr}};
        vexa_nimba_solver_wrapper *heuristic = vexa_nimba_solver_wrapper_create(m.get());
        ResultPtr found(vexa_nimba_solver_wrapper_search(heuristic, nimba_params, nullptr));
        check(found.get(), "heuristic");
        vexa_nimba_solver_wrapper_destroy(heuristic);
    }
}

}  // namespace
