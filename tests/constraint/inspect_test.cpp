// Constraint inspection through the C interface: the items of an expression,
// their values and distances on a solution, the violation count and the
// value with penalties, against a count and a pricing written out here.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/constraint_util.hpp"
#include "support/model_util.hpp"
#include "support/var_fixture.hpp"
#include "vexa/constraint.h"
#include "vexa/model.h"
#include "vexa/sol.h"

namespace {

using namespace vexa::test;
using vexa::coeff_t;

enum class Kind { range, allowed, abs, relu };

// What the test itself knows of one declared item.
struct Declared {
    Kind kind;
    ExprPtr body;
    coeff_t lo, hi, weight;
    std::vector<std::pair<coeff_t, coeff_t>> allowed;
    uint32_t k = 2;
};

struct Problem {
    std::vector<uint32_t> vars;
    ExprPtr objective;  // plain
    std::vector<Declared> declared;
    ExprPtr free_part;  // may be null
    ExprPtr expr;       // objective plus every weighted constraint
};

coeff_t value_of(const ExprImpl *e, const std::vector<uint32_t> &vars, const std::vector<int> &bits) {
    return evaluate(
        e,
        [&](uint32_t code) {
            for (size_t i = 0; i < vars.size(); ++i) {
                if (vars[i] == code) return coeff_t(bits[i]);
            }
            ADD_FAILURE() << "unknown variable " << code;
            return coeff_t(0);
        },
        false);
}

coeff_t gap(const coeff_t &b, const coeff_t &lo, const coeff_t &hi) {
    if (b < lo) return lo - b;
    if (b > hi) return b - hi;
    return 0;
}

coeff_t distance(const Declared &s, const coeff_t &b) {
    switch (s.kind) {
        case Kind::range: return gap(b, s.lo, s.hi);
        case Kind::abs: return b < 0 ? coeff_t(-b) : b;
        case Kind::relu: return b > 0 ? b : coeff_t(0);
        case Kind::allowed: {
            coeff_t best = gap(b, s.allowed[0].first, s.allowed[0].second);
            for (const auto &[lo, hi] : s.allowed) best = std::min(best, gap(b, lo, hi));
            return best;
        }
    }
    return 0;
}

Problem random_problem(std::mt19937_64 &rng) {
    vexa_var_reset();
    Problem p;
    for (int i = 0; i < 5; ++i) p.vars.push_back(vexa_new_var(nullptr));
    p.objective.reset(vexa_expr_create());
    for (uint32_t t = 0, n = rng() % 5; t < n; ++t) {
        uint32_t lits[2] = {p.vars[rng() % 5], p.vars[rng() % 5]};
        if (rng() % 3 == 0) lits[0] |= 0x80000000u;
        vexa_expr_iadd_raw_term(p.objective.get(), In(static_cast<int>(rng() % 9) - 4).get(), lits, 1 + rng() % 2);
    }
    p.expr.reset(vexa_expr_clone(p.objective.get()));
    for (uint32_t c = 0, n = 1 + rng() % 4; c < n; ++c) {
        Declared s;
        s.kind = static_cast<Kind>(rng() % 4);
        // The model keeps shapes and allowed sets on linear bodies only.
        s.body = random_body(rng, p.vars, s.kind != Kind::range);
        s.weight = static_cast<int>(rng() % 9) - 3;
        if (s.weight == 0) s.weight = 7;
        ExprPtr cons;
        if (s.kind == Kind::range) {
            s.lo = static_cast<int>(rng() % 9) - 4;
            s.hi = s.lo + static_cast<int>(rng() % 4);
            cons.reset(vexa_cons_between(s.body.get(), In(s.lo).get(), In(s.hi).get()));
        } else if (s.kind == Kind::allowed) {
            std::vector<In> lows, highs;
            std::vector<vexa_bigint> lo_recs, hi_recs;
            for (uint32_t r = 0, m = 1 + rng() % 3; r < m; ++r) {
                const coeff_t lo = static_cast<int>(rng() % 11) - 5;
                s.allowed.emplace_back(lo, lo + static_cast<int>(rng() % 2));
                lows.emplace_back(s.allowed.back().first);
                highs.emplace_back(s.allowed.back().second);
            }
            for (size_t r = 0; r < lows.size(); ++r) {
                lo_recs.push_back(*lows[r].get());
                hi_recs.push_back(*highs[r].get());
            }
            cons.reset(vexa_cons_equal(s.body.get(), lo_recs.data(), hi_recs.data(), lo_recs.size()));
        } else {
            s.k = 1 + rng() % 2;
            cons.reset(s.kind == Kind::abs ? vexa_abs_term(s.body.get(), s.k) : vexa_relu_term(s.body.get(), s.k));
        }
        if (s.weight != 1) vexa_expr_imul_int(cons.get(), In(s.weight).get());
        vexa_expr_iadd_expr(p.expr.get(), cons.get());
        p.declared.push_back(std::move(s));
    }
    if (rng() % 2) {
        p.free_part = random_body(rng, p.vars, false);
        ExprPtr marked(vexa_cons_mark(p.free_part.get()));
        vexa_expr_iadd_expr(p.expr.get(), marked.get());
    }
    // The model takes canonical forms; the constraints come along.
    p.expr.reset(vexa_expr_simplify_as_binary(p.expr.get()));
    return p;
}

TEST(ConstraintInspection, AgreesWithAnIndependentCountAndPricing) {
    for (uint64_t seed = 1; seed <= 80; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 rng(seed);
        Problem p = random_problem(rng);
        ASSERT_TRUE(vexa_expr_is_declared(p.expr.get()));
        const uint64_t n_items = p.declared.size() + (p.free_part ? 1 : 0);
        ASSERT_EQ(vexa_cons_item_count(p.expr.get()), n_items);
        ModelPtr m(vexa_model_create(p.expr.get()));
        for (int mask = 0; mask < 32; ++mask) {
            SolPtr s(vexa_sol_create(m.get()));
            std::vector<int> bits(5);
            for (int i = 0; i < 5; ++i) {
                // A variable the model lacks reads 0 here and adds nothing there.
                if (!vexa_sol_has(s.get(), p.vars[i])) continue;
                bits[i] = (mask >> i) & 1;
                vexa_sol_set(s.get(), p.vars[i], bits[i]);
            }
            coeff_t expected = value_of(p.objective.get(), p.vars, bits);
            uint64_t broken = 0;
            for (size_t i = 0; i < p.declared.size(); ++i) {
                const Declared &item = p.declared[i];
                const coeff_t b = value_of(item.body.get(), p.vars, bits);
                const coeff_t d = distance(item, b);
                const uint32_t k = item.kind == Kind::abs || item.kind == Kind::relu ? item.k : 2;
                expected += item.weight * (k == 2 ? coeff_t(d * d) : d);
                if (d != 0 && k == 2 && (item.kind == Kind::range || item.kind == Kind::allowed)) ++broken;

                Out value, lo, hi, dist, weight;
                ASSERT_EQ(vexa_cons_item_eval(p.expr.get(), i, s.get(), &value, &lo, &hi, &dist, &weight), 1);
                EXPECT_EQ(value.value(), b) << "item " << i;
                EXPECT_EQ(dist.value(), d) << "item " << i;
                EXPECT_EQ(weight.value(), item.weight) << "item " << i;
            }
            if (p.free_part) {
                const coeff_t r = value_of(p.free_part.get(), p.vars, bits);
                expected += r;
                if (r != 0) ++broken;
                Out value, lo, hi, dist, weight;
                ASSERT_EQ(vexa_cons_item_eval(p.expr.get(), p.declared.size(), s.get(), &value, &lo, &hi, &dist, &weight),
                          1);
                EXPECT_EQ(dist.value(), r);
                EXPECT_EQ(lo.value(), 0);
                EXPECT_EQ(weight.value(), 1);
            }
            EXPECT_EQ(vexa_cons_violation_count(p.expr.get(), s.get()), broken) << "mask " << mask;
            Out with_penalties;
            vexa_sol_eval_expr(s.get(), p.expr.get(), &with_penalties);
            EXPECT_EQ(with_penalties.value(), expected) << "mask " << mask;
            EXPECT_EQ(sol_energy(s.get()), expected) << "mask " << mask;
        }
    }
}

class InspectionEdges : public ThreeVars {};

TEST_F(InspectionEdges, PlainValuesAreOneFreeFormItem) {
    ExprPtr e(vexa_expr_create_add_var_int(x, In(2).get()));
    EXPECT_EQ(vexa_cons_item_count(e.get()), 1u);
    ExprImpl *body = nullptr;
    Out weight, lo, hi;
    EXPECT_EQ(vexa_cons_item_info(e.get(), 0, &body, &weight, &lo, &hi), 0);
    ExprPtr owned(body);
    EXPECT_STREQ(vexa_expr_str(body), vexa_expr_str(e.get()));
    EXPECT_EQ(weight.value(), 1);
    EXPECT_EQ(lo.value(), 0);
    EXPECT_EQ(hi.value(), 0);
    uint32_t exponent = 9, hinge = 9;
    EXPECT_EQ(vexa_cons_item_shape(e.get(), 0, &exponent, &hinge), 0);
    EXPECT_EQ(exponent, 2u);
    EXPECT_EQ(hinge, 0u);
    EXPECT_DEATH(vexa_cons_item_info(e.get(), 1, &body, &weight, &lo, &hi),
                 "^vexa: vexa_cons_item_info: bad item index\n$");

    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    vexa_sol_set(s.get(), x, 1);
    Out value, dist, w2, lo2, hi2;
    ASSERT_EQ(vexa_cons_item_eval(e.get(), 0, s.get(), &value, &lo2, &hi2, &dist, &w2), 1);
    EXPECT_EQ(value.value(), 3);
    EXPECT_EQ(dist.value(), 3);  // a free-form penalty is its own distance
    EXPECT_DEATH(vexa_cons_item_eval(e.get(), 1, s.get(), &value, &lo2, &hi2, &dist, &w2),
                 "^vexa: vexa_cons_item_eval: bad item index\n$");
    EXPECT_DEATH(vexa_cons_violation_count(e.get(), s.get()),
                 "^vexa: cons\\(sol\\): expression carries no constraints\n$");

    // A variable the solution's model lacks adds nothing, even negated.
    ExprPtr other(vexa_expr_create_var(y | 0x80000000u));
    vexa_expr_iadd_var(other.get(), x);
    Out v;
    vexa_sol_eval_expr(s.get(), other.get(), &v);
    EXPECT_EQ(v.value(), 1);
}

TEST_F(InspectionEdges, SumItemsReportRecordsShapesAndAllowedSets) {
    ExprPtr fx(vexa_expr_create_var(x));
    ExprPtr fy(vexa_expr_create_var(y));
    const In l0(1), h0(1), l1(3), h1(4);
    const vexa_bigint lows[2] = {*l0.get(), *l1.get()};
    const vexa_bigint highs[2] = {*h0.get(), *h1.get()};
    ExprPtr e(vexa_cons_equal(fx.get(), lows, highs, 2));
    vexa_expr_imul_int(e.get(), In(100).get());
    ExprPtr shape(vexa_relu_term(fy.get(), 1));
    vexa_expr_iadd_expr(e.get(), shape.get());
    ExprPtr free_part(vexa_cons_mark(fy.get()));
    vexa_expr_iadd_expr(e.get(), free_part.get());
    ASSERT_EQ(vexa_cons_item_count(e.get()), 3u);

    vexa_bigint lo_out[1] = {{0, 0, nullptr}}, hi_out[1] = {{0, 0, nullptr}};
    EXPECT_EQ(vexa_cons_item_allowed(e.get(), 0, lo_out, hi_out, 1), 2u);  // two pairs, the first written
    Out first_lo, first_hi;
    *&first_lo = lo_out[0];
    *&first_hi = hi_out[0];
    EXPECT_EQ(first_lo.value(), 1);
    EXPECT_EQ(first_hi.value(), 1);
    EXPECT_EQ(vexa_cons_item_allowed(e.get(), 1, lo_out, hi_out, 1), 0u);
    EXPECT_EQ(vexa_cons_item_allowed(e.get(), 7, lo_out, hi_out, 1), 0u);

    uint32_t exponent = 0, hinge = 0;
    EXPECT_EQ(vexa_cons_item_shape(e.get(), 0, &exponent, &hinge), 1);
    EXPECT_EQ(exponent, 2u);
    EXPECT_EQ(hinge, 0u);
    EXPECT_EQ(vexa_cons_item_shape(e.get(), 1, &exponent, &hinge), 1);
    EXPECT_EQ(exponent, 1u);
    EXPECT_EQ(hinge, 1u);
    EXPECT_EQ(vexa_cons_item_shape(e.get(), 2, &exponent, &hinge), 0);  // the free-form part
    EXPECT_EQ(exponent, 2u);

    ExprImpl *body = nullptr;
    Out weight, lo, hi;
    ASSERT_EQ(vexa_cons_item_info(e.get(), 0, &body, &weight, &lo, &hi), 1);
    ExprPtr owned(body);
    EXPECT_STREQ(vexa_expr_str(body), "x");
    EXPECT_EQ(weight.value(), 100);
    EXPECT_EQ(lo.value(), 1);
    EXPECT_EQ(hi.value(), 4);

    // x = 0 is 1 away from {1} and {3, 4}; y = 1 costs the relu 1 and the free part 1.
    ModelPtr m(vexa_model_create(e.get()));
    SolPtr s(vexa_sol_create(m.get()));
    vexa_sol_set(s.get(), y, 1);
    EXPECT_EQ(vexa_cons_violation_count(e.get(), s.get()), 2u);
    Out v;
    vexa_sol_eval_expr(s.get(), e.get(), &v);
    EXPECT_EQ(v.value(), 100 + 1 + 1);
    vexa_sol_set(s.get(), x, 1);
    vexa_sol_set(s.get(), y, 0);
    EXPECT_EQ(vexa_cons_violation_count(e.get(), s.get()), 0u);
    vexa_sol_eval_expr(s.get(), e.get(), &v);
    EXPECT_EQ(v.value(), 0);  // satisfied at weight 100 adds nothing
}

TEST_F(InspectionEdges, ClassicConstraintsAreReadFromTheirRecord) {
    ExprPtr fx(vexa_expr_create_var(x));
    ExprPtr classic(vexa_exprexprelem_create(fx.get(), fx.get()));
    ExprImpl *body = nullptr;
    Out weight, lo, hi;
    // Without bounds: the value itself is the free-form item.
    EXPECT_EQ(vexa_cons_item_info(classic.get(), 5, &body, &weight, &lo, &hi), 0);
    vexa_expr_destroy(body);
    {
        ModelPtr m(vexa_model_create(fx.get()));
        SolPtr s(vexa_sol_create(m.get()));
        Out value, dist;
        EXPECT_DEATH(vexa_cons_item_eval(classic.get(), 0, s.get(), &value, &lo, &hi, &dist, &weight),
                     "^vexa: violations: constraint has no recorded bounds\n$");
        // Counted as nothing broken: there is nothing to break.
        EXPECT_EQ(vexa_cons_violation_count(classic.get(), s.get()), 0u);
        vexa_bigint none[1] = {{0, 0, nullptr}};
        EXPECT_EQ(vexa_cons_item_allowed(fx.get(), 0, none, none, 1), 0u);
    }
    vexa_exprexpr_set_bounds(classic.get(), In(1).get(), In(1).get());
    EXPECT_EQ(vexa_cons_item_count(classic.get()), 1u);
    EXPECT_EQ(vexa_cons_item_info(classic.get(), 5, &body, &weight, &lo, &hi), 1);  // one item whatever i says
    vexa_expr_destroy(body);
    EXPECT_EQ(lo.value(), 1);

    ModelPtr m(vexa_model_create(fx.get()));
    SolPtr s(vexa_sol_create(m.get()));
    EXPECT_EQ(vexa_cons_violation_count(classic.get(), s.get()), 1u);
    Out v;
    vexa_sol_eval_expr(s.get(), classic.get(), &v);
    EXPECT_EQ(v.value(), 0);  // a classic value is its polynomial alone
    vexa_sol_set(s.get(), x, 1);
    EXPECT_EQ(vexa_cons_violation_count(classic.get(), s.get()), 0u);
}

}  // namespace
