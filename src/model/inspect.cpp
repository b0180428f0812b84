#include "model/inspect.hpp"

#include "constraint/attr.hpp"
#include "constraint/pricing.hpp"
#include "core/fatal.hpp"
#include "core/literal.hpp"

namespace vexa {

namespace {

// A literal's value on s, or false when the model has no dense index for it.
bool literal_on(const Sol &s, uint32_t code, coeff_t &value) {
    const ModelImpl &m = *s.model;
    if (literal_is_int(code)) {
        const uint32_t i = literal_int_index(code);
        if (i >= m.int_index_map.size() || m.int_index_map[i] == kNoIndex) return false;
        value = s.int_vals[m.int_index_map[i]];
        return true;
    }
    const uint32_t dense = m.dense_index(code);
    if (dense == kNoIndex) return false;
    value = bit_of(s.bits.data(), dense) != literal_negated(code) ? 1 : 0;
    return true;
}

// Weight and exponent of an item, in the form the shared pricing reads.
struct ItemPricing {
    coeff_t weight;
    uint8_t shape_exponent;
};

}  // namespace

uint64_t cons_item_count(const ExprImpl &e) {
    if (!is_sum(e.attr)) return 1;
    const ConstraintSumEntry &entry = sum_entry(e.attr & kIndexMask);
    return entry.items.size() + (entry.remainder ? 1 : 0);
}

bool cons_item(const ExprImpl &e, uint64_t i, ConsItem &out) {
    if (is_exprexpr(e.attr)) {
        out = ConsItem{&exprexpr_entry(e.attr & kIndexMask), nullptr, 1};
        return true;
    }
    if (!is_sum(e.attr)) {
        if (i != 0) return false;
        out = ConsItem{nullptr, &e, 1};
        return true;
    }
    const ConstraintSumEntry &entry = sum_entry(e.attr & kIndexMask);
    if (i < entry.items.size()) {
        out = ConsItem{&exprexpr_entry(entry.items[i].id), nullptr, entry.items[i].weight};
        return true;
    }
    if (i == entry.items.size() && entry.remainder) {
        out = ConsItem{nullptr, entry.remainder.get(), 1};
        return true;
    }
    return false;
}

coeff_t value_on(const Sol &s, const ExprImpl &e) {
    coeff_t total = e.constant;
    coeff_t v;
    for (uint64_t i = 0; i < e.term_count(); ++i) {
        const TermImpl &t = e.term(i);
        coeff_t p = t.coeff;
        bool known = true;
        for (uint32_t k = 0; k < t.vars.degree() && known; ++k) {
            known = literal_on(s, t.vars.slot[k], v);
            p *= v;
        }
        if (known) total += p;
    }
    return total;
}

coeff_t record_distance(const ExprExprEntry &record, const coeff_t &body) {
    if (!record.has_bounds && record.allowed.empty()) return 0;
    return constraint_distance(record, body);
}

uint64_t violation_count(const ExprImpl &e, const Sol &s) {
    if (!is_constraint(e.attr)) fatal("cons(sol): expression carries no constraints");
    auto broken = [&](const ExprExprEntry &record) {
        if (!record.has_bounds || record.shape_hinge != 0) return false;
        return !record_distance(record, value_on(s, *record.body)).is_zero();
    };
    if (is_exprexpr(e.attr)) return broken(exprexpr_entry(e.attr & kIndexMask)) ? 1 : 0;
    const ConstraintSumEntry &entry = sum_entry(e.attr & kIndexMask);
    uint64_t count = 0;
    for (const SumItem &item : entry.items) count += broken(exprexpr_entry(item.id)) ? 1 : 0;
    if (entry.remainder && !value_on(s, *entry.remainder).is_zero()) ++count;
    return count;
}

coeff_t sol_eval_expr(const Sol &s, const ExprImpl &e) {
    coeff_t value = value_on(s, e);
    if (!is_sum(e.attr)) return value;
    const ConstraintSumEntry &entry = sum_entry(e.attr & kIndexMask);
    if (!entry.declared) return value;
    for (const SumItem &item : entry.items) {
        const ExprExprEntry &record = exprexpr_entry(item.id);
        const ItemPricing pricing{item.weight, record.shape_exponent};
        value += penalty_of_distance(pricing, record_distance(record, value_on(s, *record.body)));
    }
    if (entry.remainder) value += value_on(s, *entry.remainder);
    return value;
}

}  // namespace vexa
