// rebuild_attr: carries a constraint word through a transformation of the
// value (simplification, substitution).
#pragma once

#include <memory>

#include "constraint/attr.hpp"
#include "expr/expr.hpp"

namespace vexa {

template <class Transform>
uint32_t rebuild_attr(uint32_t attr, Transform &&transform, bool force_declared) {
    if (!is_constraint(attr)) return attr;
    auto rebuild_item = [&](uint32_t id) {
        const ExprImpl &body = *exprexpr_entry(id).body;
        auto fresh = std::make_unique<ExprImpl>(transform(body));
        fresh->attr = kPlainAttr;
        const uint32_t new_id = add_exprexpr(std::move(fresh));
        copy_meta(id, new_id);
        return new_id;
    };
    if (is_exprexpr(attr)) return kExprExprTag | rebuild_item(attr & kIndexMask);

    const uint32_t index = attr & kIndexMask;
    // Copy what is needed first: the table may move while records are added.
    std::vector<SumItem> items = sum_entry(index).items;
    const bool declared = sum_entry(index).declared;
    std::unique_ptr<ExprImpl> remainder;
    if (sum_entry(index).remainder) {
        remainder = std::make_unique<ExprImpl>(transform(*sum_entry(index).remainder));
        remainder->attr = kPlainAttr;
    }
    for (SumItem &item : items) item.id = rebuild_item(item.id);
    return kSumTag | add_sum(std::move(items), std::move(remainder), declared || force_declared);
}

}  // namespace vexa
