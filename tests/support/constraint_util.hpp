// Makes constraint-table records directly, for tests of the attr word.
#pragma once

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "constraint/attr.hpp"
#include "support/expr_util.hpp"

namespace vexa::test {

// A classic constraint lo <= body <= hi: the value is `penalty`, tagged with
// a fresh record holding a copy of `body`.
inline ExprImpl *classic(const ExprImpl *penalty, const ExprImpl *body, const coeff_t &lo, const coeff_t &hi) {
    const uint32_t id = add_exprexpr(std::make_unique<ExprImpl>(ExprImpl::plain_copy(*body)));
    set_bounds(id, lo, hi);
    ExprImpl *e = vexa_expr_clone(penalty);
    e->attr = kExprExprTag | id;
    return e;
}

// A declared constraint lo <= body <= hi: an empty value tagged with a fresh
// declared sum of one item of weight 1.
inline ExprImpl *declared(const ExprImpl *body, const coeff_t &lo, const coeff_t &hi) {
    const uint32_t id = add_exprexpr(std::make_unique<ExprImpl>(ExprImpl::plain_copy(*body)));
    set_bounds(id, lo, hi);
    ExprImpl *e = vexa_expr_create();
    e->attr = kSumTag | add_sum({SumItem{id, 1}}, nullptr, true);
    return e;
}

// A declared penalty shape |body|^k.
inline ExprImpl *shape(const ExprImpl *body, uint8_t k) {
    const uint32_t id = add_exprexpr(std::make_unique<ExprImpl>(ExprImpl::plain_copy(*body)));
    set_bounds(id, 0, 0);
    set_penalty_shape(id, k);
    ExprImpl *e = vexa_expr_create();
    e->attr = kSumTag | add_sum({SumItem{id, 1}}, nullptr, true);
    return e;
}

inline const ConstraintSumEntry &sum_of(const ExprImpl *e) {
    EXPECT_TRUE(is_sum(e->attr)) << std::hex << e->attr;
    return sum_entry(e->attr & kIndexMask);
}

inline std::vector<std::pair<uint32_t, coeff_t>> items_of(const ExprImpl *e) {
    std::vector<std::pair<uint32_t, coeff_t>> out;
    for (const SumItem &item : sum_of(e).items) out.emplace_back(item.id, item.weight);
    return out;
}

// A random body over the variables: canonical, no negated literals, linear
// when `linear`.
inline ExprPtr random_body(std::mt19937_64 &rng, const std::vector<uint32_t> &vars, bool linear) {
    ExprPtr e(vexa_expr_create_int(In(static_cast<int>(rng() % 7) - 3).get()));
    for (uint32_t t = 0, n = 1 + rng() % 4; t < n; ++t) {
        const uint32_t a = vars[rng() % vars.size()];
        const uint32_t b = vars[rng() % vars.size()];
        const In c(static_cast<int>(rng() % 7) - 3);
        if (linear || a == b || rng() % 2) {
            vexa_expr_iadd_raw_term(e.get(), c.get(), &a, 1);
        } else {
            const uint32_t two[2] = {std::min(a, b), std::max(a, b)};
            vexa_expr_iadd_raw_term(e.get(), c.get(), two, 2);
        }
    }
    return ExprPtr(vexa_expr_simplify_as_binary(e.get()));
}

}  // namespace vexa::test
