#include "constraint/attr.hpp"

#include <memory>

#include "core/fatal.hpp"
#include "expr/expr.hpp"

namespace vexa {

namespace {

const char *kMixMessage =
    "vexa::cons: cannot mix declared constraints with classic penalty-style constraints in one "
    "expression; wrap the classic part with vexa::cons(...) as well";

// Adds `part` to an accumulating remainder, creating it on first use.
void accumulate(std::unique_ptr<ExprImpl> &acc, const ExprImpl &part) {
    if (!acc) {
        acc = std::make_unique<ExprImpl>(ExprImpl::plain_copy(part));
    } else {
        acc->append_terms(part);
    }
}

const ExprImpl *remainder_of(uint32_t attr) {
    return is_sum(attr) ? sum_entry(attr & kIndexMask).remainder.get() : nullptr;
}

}  // namespace

bool is_live_sum(uint32_t attr) { return is_sum(attr) && sum_entry(attr & kIndexMask).declared; }

bool all_objective_only(uint32_t attr) {
    if (!is_sum(attr)) return false;
    const ConstraintSumEntry &entry = sum_entry(attr & kIndexMask);
    if (entry.remainder || entry.items.empty()) return false;
    for (const SumItem &item : entry.items) {
        if (exprexpr_entry(item.id).shape_hinge == 0) return false;
    }
    return true;
}

void mark_shared(uint32_t attr) {
    if (!is_sum(attr)) return;
    ConstraintSumSet &set = ConstraintSumSet::instance();
    std::lock_guard<std::mutex> lock(set.mutex);
    const uint32_t index = attr & kIndexMask;
    if (index < set.entries.size()) set.entries[index].shared = true;
}

void collect_items(std::vector<SumItem> &out, uint32_t attr, const coeff_t &w) {
    if (!is_constraint(attr)) return;
    if (is_exprexpr(attr)) {
        out.push_back(SumItem{attr & kIndexMask, w});
        return;
    }
    const ConstraintSumEntry &entry = sum_entry(attr & kIndexMask);
    out.reserve(out.size() + entry.items.size());
    for (const SumItem &item : entry.items) out.push_back(SumItem{item.id, item.weight * w});
}

uint32_t scale_attr(uint32_t attr, const coeff_t &k) {
    if (!is_constraint(attr)) return kPlainAttr;
    bool declared = false;
    if (is_live_sum(attr)) {
        if (k == 0) {
            if (all_objective_only(attr)) return kPlainAttr;
            fatal("vexa::cons: multiplying declared constraints by 0 would silently drop them");
        }
        declared = true;
    } else if (k <= 0) {
        // A negative or zero multiple of a penalty is no penalty.
        return kPlainAttr;
    }
    std::vector<SumItem> items;
    collect_items(items, attr, k);
    std::unique_ptr<ExprImpl> remainder;
    if (const ExprImpl *r = remainder_of(attr)) {
        remainder = std::make_unique<ExprImpl>(ExprImpl::plain_copy(*r));
        remainder->imul_int(k);
    }
    return kSumTag | add_sum(std::move(items), std::move(remainder), declared);
}

uint32_t merge_attr(uint32_t a, const ExprImpl *ea, uint32_t b, const ExprImpl *eb, bool in_place) {
    if (!is_constraint(a) && !is_constraint(b)) return kPlainAttr;
    const bool da = is_live_sum(a);
    const bool db = is_live_sum(b);
    const bool declared = da || db;
    if (declared && ((is_constraint(a) && !da) || (is_constraint(b) && !db))) fatal(kMixMessage);

    if (in_place && is_sum(a)) {
        std::vector<SumItem> items;
        collect_items(items, b, 1);
        const ExprImpl *rem = remainder_of(b);
        if (!declared && !is_constraint(b)) rem = eb;
        if (sum_append(a & kIndexMask, items, rem)) return a;
    }

    std::vector<SumItem> items;
    collect_items(items, a, 1);
    collect_items(items, b, 1);
    std::unique_ptr<ExprImpl> remainder;
    if (const ExprImpl *r = remainder_of(a)) accumulate(remainder, *r);
    if (!declared && !is_constraint(a) && ea != nullptr) accumulate(remainder, *ea);
    if (const ExprImpl *r = remainder_of(b)) accumulate(remainder, *r);
    if (!declared && !is_constraint(b) && eb != nullptr) accumulate(remainder, *eb);
    return kSumTag | add_sum(std::move(items), std::move(remainder), declared);
}

uint32_t sum_of_array(const ExprImpl *const *elements, uint64_t n) {
    bool any_declared = false;
    bool any_classic = false;
    for (uint64_t i = 0; i < n; ++i) {
        const uint32_t w = elements[i]->attr;
        if (is_live_sum(w)) {
            any_declared = true;
        } else if (is_constraint(w)) {
            any_classic = true;
        }
    }
    if (any_declared && any_classic) {
        fatal("vexa::cons: cannot sum declared and classic penalty-style constraints in one array");
    }
    if (!any_declared && !any_classic) return kPlainAttr;

    std::vector<SumItem> items;
    items.reserve(n);
    std::unique_ptr<ExprImpl> remainder;
    for (uint64_t i = 0; i < n; ++i) {
        const uint32_t w = elements[i]->attr;
        if (is_constraint(w)) {
            collect_items(items, w, 1);
            if (const ExprImpl *r = remainder_of(w)) accumulate(remainder, *r);
        } else if (any_classic) {
            accumulate(remainder, *elements[i]);
        }
    }
    return kSumTag | add_sum(std::move(items), std::move(remainder), any_declared);
}

}  // namespace vexa
