// Exported questions about the constraint tag of an expression.
#include "constraint/attr.hpp"
#include "expr/expr.hpp"
#include "vexa/constraint.h"

using namespace vexa;

extern "C" {

int vexa_expr_is_declared(const ExprImpl *e) { return is_live_sum(e->attr) ? 1 : 0; }

int vexa_expr_all_objective_only(const ExprImpl *e) {
    return is_live_sum(e->attr) && all_objective_only(e->attr) ? 1 : 0;
}

int vexa_expr_has_body(const ExprImpl *e) {
    if (is_exprexpr(e->attr)) return 1;
    if (!is_sum(e->attr)) return 0;
    const ConstraintSumEntry &entry = sum_entry(e->attr & kIndexMask);
    return entry.items.size() == 1 && !entry.remainder ? 1 : 0;
}

}  // extern "C"
