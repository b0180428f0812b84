// Exported constraint inspection: an expression's items read against a Sol.
#include "constraint/attr.hpp"
#include "core/bigint.hpp"
#include "core/fatal.hpp"
#include "model/inspect.hpp"
#include "vexa/constraint.h"

using namespace vexa;

extern "C" {

uint64_t vexa_cons_item_count(const ExprImpl *e) { return cons_item_count(*e); }

int vexa_cons_item_shape(const ExprImpl *e, uint64_t i, uint32_t *exponent, uint32_t *hinge) {
    *exponent = 2;
    *hinge = 0;
    ConsItem item;
    if (is_exprexpr(e->attr) && i != 0) return 0;
    if (!cons_item(*e, i, item) || item.record == nullptr || !item.record->has_bounds) return 0;
    *exponent = item.record->shape_exponent;
    *hinge = item.record->shape_hinge;
    return 1;
}

uint64_t vexa_cons_item_allowed(const ExprImpl *e, uint64_t i, vexa_bigint *lows, vexa_bigint *highs, uint64_t max) {
    ConsItem item;
    if (!is_constraint(e->attr) || !cons_item(*e, i, item) || item.record == nullptr) return 0;
    const auto &allowed = item.record->allowed;
    for (uint64_t k = 0; k < allowed.size() && k < max; ++k) {
        coeff_to_record(allowed[k].first, &lows[k]);
        coeff_to_record(allowed[k].second, &highs[k]);
    }
    return allowed.size();
}

int vexa_cons_item_info(const ExprImpl *e, uint64_t i, ExprImpl **body, vexa_bigint *weight, vexa_bigint *lo,
                        vexa_bigint *hi) {
    ConsItem item;
    if (!cons_item(*e, i, item)) fatal("vexa_cons_item_info: bad item index");
    if (item.record == nullptr || !item.record->has_bounds) {
        // A record without bounds reports the value itself as its free-form part.
        *body = new ExprImpl(ExprImpl::plain_copy(item.record == nullptr ? *item.free_form : *e));
        coeff_to_record(1, weight);
        coeff_to_record(0, lo);
        coeff_to_record(0, hi);
        return 0;
    }
    *body = new ExprImpl(ExprImpl::plain_copy(*item.record->body));
    coeff_to_record(item.weight, weight);
    coeff_to_record(item.record->lower, lo);
    coeff_to_record(item.record->upper, hi);
    return 1;
}

int vexa_cons_item_eval(const ExprImpl *e, uint64_t i, const Sol *s, vexa_bigint *value, vexa_bigint *lo,
                        vexa_bigint *hi, vexa_bigint *distance, vexa_bigint *weight) {
    ConsItem item;
    if (!cons_item(*e, i, item)) fatal("vexa_cons_item_eval: bad item index");
    if (item.record == nullptr) {
        // A free-form penalty is zero when satisfied: its value is its distance.
        const coeff_t v = value_on(*s, *item.free_form);
        coeff_to_record(v, value);
        coeff_to_record(0, lo);
        coeff_to_record(0, hi);
        coeff_to_record(v, distance);
        coeff_to_record(1, weight);
        return 1;
    }
    if (!item.record->has_bounds) fatal("violations: constraint has no recorded bounds");
    const coeff_t b = value_on(*s, *item.record->body);
    coeff_to_record(b, value);
    coeff_to_record(item.record->lower, lo);
    coeff_to_record(item.record->upper, hi);
    coeff_to_record(record_distance(*item.record, b), distance);
    coeff_to_record(item.weight, weight);
    return 1;
}

uint64_t vexa_cons_violation_count(const ExprImpl *e, const Sol *s) { return violation_count(*e, *s); }

void vexa_sol_eval_expr(const Sol *s, const ExprImpl *e, vexa_bigint *out) {
    coeff_to_record(sol_eval_expr(*s, *e), out);
}

}  // extern "C"
