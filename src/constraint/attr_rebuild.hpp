// rebuild_attr: carries a constraint word through a transformation of the
// value (simplification, substitution).
#pragma once

#include <exception>
#include <memory>
#include <mutex>
#include <vector>

#include "constraint/attr.hpp"
#include "core/parallel.hpp"
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
    // The bodies are transformed in parallel (no record is added meanwhile,
    // so the table stays put); the new records are then added in item order,
    // so that their indices do not depend on the thread count. A transform
    // that throws (a substitution past the degree limit) throws here, after
    // the loop, with nothing added.
    std::vector<std::unique_ptr<ExprImpl>> fresh(items.size());
    std::exception_ptr failure;
    std::mutex failure_mutex;
    par_for(items.size(), [&](uint64_t k) {
        try {
            fresh[k] = std::make_unique<ExprImpl>(transform(*exprexpr_entry(items[k].id).body));
            fresh[k]->attr = kPlainAttr;
        } catch (...) {
            const std::lock_guard lock(failure_mutex);
            if (!failure) failure = std::current_exception();
        }
    });
    if (failure) std::rethrow_exception(failure);
    for (size_t k = 0; k < items.size(); ++k) {
        const uint32_t new_id = add_exprexpr(std::move(fresh[k]));
        copy_meta(items[k].id, new_id);
        items[k].id = new_id;
    }
    return kSumTag | add_sum(std::move(items), std::move(remainder), declared || force_declared);
}

}  // namespace vexa
