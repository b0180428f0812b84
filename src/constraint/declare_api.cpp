// Exported making, reading and expanding of constraints.
#include <memory>

#include "constraint/attr.hpp"
#include "constraint/declare.hpp"
#include "constraint/expand.hpp"
#include "core/bigint.hpp"
#include "core/fatal.hpp"
#include "expr/expr.hpp"
#include "vexa/constraint.h"
#include "vexa/expr.h"

using namespace vexa;

namespace {

ExprImpl *fresh(ExprImpl &&value) { return new ExprImpl(std::move(value)); }

AllowedList allowed_list(const vexa_bigint *lows, const vexa_bigint *highs, uint64_t n) {
    AllowedList list;
    list.reserve(n);
    for (uint64_t i = 0; i < n; ++i) list.emplace_back(coeff_from_record(&lows[i]), coeff_from_record(&highs[i]));
    return list;
}

// The penalty of element i of a raw element list; serial, so that slack
// bits are numbered in element order.
ExprImpl between_penalty_of(const void *elements, uint32_t kind, uint64_t i, const coeff_t &lo, const coeff_t &hi) {
    switch (kind) {
        case VEXA_BETWEEN_KIND_EXPR:
            return between_penalty(*static_cast<const ExprImpl *const *>(elements)[i], lo, hi);
        case VEXA_BETWEEN_KIND_VAR:
            return between_penalty(literal_expr(1, static_cast<const uint32_t *>(elements)[i]), lo, hi);
        case VEXA_BETWEEN_KIND_TERM: {
            ExprImpl f;
            f.add_term(static_cast<const TermImpl *>(elements)[i]);
            return between_penalty(f, lo, hi);
        }
        default:
            return ExprImpl();
    }
}

}  // namespace

extern "C" {

// Constraint values are expressions: their copies and releases are the
// expression's own. X(family)
#define VEXA_EXPR_ALIAS_FAMILIES(X) \
    X(exprexprelem)                 \
    X(varintelem)
#define VEXA_EXPR_ALIAS(family)                                                         \
    ExprImpl *vexa_##family##_clone(const ExprImpl *e) { return vexa_expr_clone(e); } \
    void vexa_##family##_destroy(ExprImpl *e) { vexa_expr_destroy(e); }
VEXA_EXPR_ALIAS_FAMILIES(VEXA_EXPR_ALIAS)
#undef VEXA_EXPR_ALIAS

ExprImpl *vexa_exprexprelem_create(const ExprImpl *penalty, const ExprImpl *body) {
    return fresh(make_exprexpr(*penalty, *body));
}

void vexa_exprexpr_set_bounds(ExprImpl *e, const vexa_bigint *lo, const vexa_bigint *hi) {
    if (!is_exprexpr(e->attr)) fatal("vexa_exprexpr_set_bounds: not an ExprExpr");
    set_bounds(e->attr & kIndexMask, coeff_from_record(lo), coeff_from_record(hi));
}

int vexa_exprexpr_get_bounds(const ExprImpl *e, vexa_bigint *lo_out, vexa_bigint *hi_out) {
    coeff_t lo, hi;
    if (!is_exprexpr(e->attr) || !get_bounds(e->attr & kIndexMask, lo, hi)) return 0;
    coeff_to_record(lo, lo_out);
    coeff_to_record(hi, hi_out);
    return 1;
}

void vexa_exprexpr_set_allowed(ExprImpl *e, const vexa_bigint *lows, const vexa_bigint *highs, uint64_t n) {
    if (!is_exprexpr(e->attr)) fatal("vexa_exprexpr_set_allowed: not an ExprExpr");
    set_allowed(e->attr & kIndexMask, allowed_list(lows, highs, n));
}

const ExprImpl *vexa_exprexprelem_get_body(const ExprImpl *e) { return &constraint_body_of(*e); }

ExprImpl *vexa_cons_mark(const ExprImpl *e) { return fresh(cons_mark(*e)); }

ExprImpl *vexa_cons_between(const ExprImpl *body, const vexa_bigint *lo, const vexa_bigint *hi) {
    return fresh(cons_between(*body, coeff_from_record(lo), coeff_from_record(hi)));
}

ExprImpl *vexa_cons_equal(const ExprImpl *body, const vexa_bigint *lows, const vexa_bigint *highs, uint64_t n) {
    return fresh(cons_equal(*body, allowed_list(lows, highs, n)));
}

ExprImpl *vexa_abs_term(const ExprImpl *body, uint32_t k) { return fresh(abs_term(*body, k)); }

ExprImpl *vexa_relu_term(const ExprImpl *body, uint32_t k) { return fresh(relu_term(*body, k)); }

ExprImpl *vexa_between(const ExprImpl *f, const vexa_bigint *lo, const vexa_bigint *hi) {
    return fresh(between_penalty(*f, coeff_from_record(lo), coeff_from_record(hi)));
}

void vexa_array_between(const void *elements, uint32_t kind, const vexa_bigint *lo, const vexa_bigint *hi,
                        ExprImpl **out, uint64_t n) {
    const coeff_t lower = coeff_from_record(lo), upper = coeff_from_record(hi);
    for (uint64_t i = 0; i < n; ++i) out[i] = fresh(between_penalty_of(elements, kind, i, lower, upper));
}

ExprImpl *vexa_expr_expand_cons(const ExprImpl *e) { return fresh(expand_cons(*e)); }

ExprImpl *vexa_expr_binarize(const ExprImpl *e) { return fresh(binarize(*e)); }

}  // extern "C"
