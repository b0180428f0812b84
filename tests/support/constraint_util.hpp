// Makes constraint-table records directly, for tests of the attr word.
#pragma once

#include <memory>

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

}  // namespace vexa::test
